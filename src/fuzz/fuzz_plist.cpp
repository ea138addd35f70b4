// libFuzzer target over the property-list reader and the one-key rewrite of
// the photo application's preference: any bytes, parsed within the bounds,
// written back in both formats, and rewritten with one string set. A
// refusal is a fine outcome; a crash, a hang past the bounds, or a rewrite
// that does not hold the value it was asked to set is not.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/plist_file.h"

using namespace slidebox::platform;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    if (auto document = parsePlistChecked(bytes)) {
        for (const PlistFormat format : {PlistFormat::Xml, PlistFormat::Binary})
            if (!parsePlist(serializePlist(document->root, format)))
                std::abort(); // what was written must read back
    }
    const std::string library = "/home/ann/Pictures/Caf\xc3\xa9";
    if (auto rewritten = plistWithString(bytes, "RootDirectory", library)) {
        // Read back the way the program reads that file.
        const auto value = stringInPlist(*rewritten, "RootDirectory");
        if (!value || *value != library)
            std::abort();
    }
    return 0;
}
