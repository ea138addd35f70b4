// libFuzzer target over the property-list reader and the one-key rewrite of
// the photo application's preference: any bytes, parsed within the bounds
// (binary ones also as the settings are read, mapped, with long lists read
// when used), written back in both formats, and rewritten with one string
// set. A
// refusal is a fine outcome; a crash, a hang past the bounds, or a rewrite
// that does not hold the value it was asked to set is not.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include <fstream>

#include <unistd.h>

#include "platform/mapped_file.h"
#include "platform/plist_file.h"

using namespace slidebox::platform;

namespace {

// Reads every list left in the file, as the program does when it uses it.
void readStored(const PlistValue& value) {
    if (const PlistStoredStrings* stored = value.stored()) {
        std::size_t n = 0;
        stored->forEach([&](std::string_view) { ++n; });
        if (n > stored->size())
            std::abort();
    } else if (const PlistArray* array = value.array()) {
        for (const PlistValue& item : *array)
            readStored(item);
    } else if (const PlistDictionary* dictionary = value.dictionary()) {
        for (const auto& [key, item] : *dictionary)
            readStored(item);
    }
}

// A file of this process's own, removed when it ends.
struct ScratchFile {
    std::string path = "/tmp/fuzz-plist-" + std::to_string(::getpid());
    ~ScratchFile() { ::unlink(path.c_str()); }
};

void readMapped(std::string_view bytes) {
    static const ScratchFile file;
    {
        std::ofstream out(file.path, std::ios::binary | std::ios::trunc);
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        if (!out)
            return;
    }
    auto mapped = MappedFile::open(file.path, PlistLimits::ownFiles().maxBytes);
    if (!mapped)
        return;
    if (auto value = parseBinaryPlistMapped(*mapped, PlistLimits::ownFiles())) {
        readStored(*value);
        // What a save would write must read back.
        const std::string written = serializePlist(*value, PlistFormat::Binary);
        if (!written.empty() && !parsePlistChecked(written, PlistLimits::ownFiles()))
            std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    if (auto document = parsePlistChecked(bytes)) {
        for (const PlistFormat format : {PlistFormat::Xml, PlistFormat::Binary})
            if (!parsePlist(serializePlist(document->root, format)))
                std::abort(); // what was written must read back
    }
    if (bytes.starts_with("bplist"))
        readMapped(bytes);
    const std::string library = "/home/ann/Pictures/Caf\xc3\xa9";
    if (auto rewritten = plistWithString(bytes, "RootDirectory", library)) {
        // Read back the way the program reads that file.
        const auto value = stringInPlist(*rewritten, "RootDirectory");
        if (!value || *value != library)
            std::abort();
    }
    return 0;
}
