// libFuzzer target: arbitrary bytes as a profile, through everything that
// reads one without building a colour world: the header and its report,
// opening from bytes, the tag elements and their table records, the
// description and the description structure; and the catalogue of a folder
// holding those bytes as its one file (the walk, the 'desc' element read
// into the catalogue's buffer, the rows as text).
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <span>

#include "color/colorsync.h"
#include "color/profile_header_report.h"
#include "color/profile_inspector.h"
#include "color/profile_manager.h"
#include "color/profile_tag_tables.h"
#include "platform/log.h"

using namespace slidebox::color;

namespace {
std::filesystem::path catalogueFolder;

/// The bytes as the one file of a folder, listed as a catalogue would.
void listAsCatalogue(std::span<const std::uint8_t> bytes) {
    if (catalogueFolder.empty())
        return;
    {
        std::ofstream file(catalogueFolder / "p.icc", std::ios::binary | std::ios::trunc);
        file.write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
    }
    (void)iterateProfileFolders({catalogueFolder});
    auto catalogue = ProfileManager::initWithUse(0x7F, 0x3F, true, catalogueFolder);
    if (!catalogue)
        return;
    for (std::int32_t row = 0; row < catalogue->count(); ++row)
        for (const char* key : {"name", "colorSpace", "kindOfUse", "pcs", "profilCreator",
                                "creationDate", "headerInfos"})
            (void)catalogue->objectValueForTableColumn(key, row);
}
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // Whatever a run touches stays in a folder of its own, not in the home.
    // The engine's complaints about broken input would only slow the run.
    slidebox::platform::setLogSink([](std::string_view) {});
    char folder[] = "/tmp/slidebox_fuzz_XXXXXX";
    if (::mkdtemp(folder)) {
        ProfileManager::setPlaces(ProfilePlaces::underHome(folder));
        catalogueFolder = std::filesystem::path(folder) / "catalogue";
        std::error_code ignored;
        if (!std::filesystem::create_directory(catalogueFolder, ignored))
            catalogueFolder.clear();
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::span<const std::uint8_t> bytes(data, size);
    (void)textDescriptionFromElement(bytes.first(std::min(size, kDescriptionBufferBytes)));
    listAsCatalogue(bytes);
    if (auto header = headerFromBytes(bytes)) {
        (void)headerInfos(*header);
        (void)creationDateText(*header);
    }
    auto inspector = ProfileInspector::profileInspectorWithProfileData(bytes, -1);
    if (!inspector)
        return 0;
    (void)inspector->profileName();
    (void)inspector->dateTimeAsString();
    (void)inspector->nbComponents();
    (void)inspector->profileDescriptionStructureData();
    (void)inspector->DeviceToPCSNbGridPoints();
    (void)inspector->availableRenderingIntent(2);
    (void)headerInfos(inspector->profileHeader());
    // The ink measures through the profile's own worlds: within their
    // ranges (or their defaults) whatever the tables hold.
    if (auto measured =
            ProfileInspector::profileInspectorWithProfilePath(inspector->profilePath(), 1)) {
        (void)measured->dotGainOfCyanChanel();
        const std::int32_t total = measured->PCSToDeviceTotalInkMax();
        const std::int32_t black = measured->PCSToDeviceBlackMax();
        (void)measured->PCSToDeviceLuminanceOfStartBlack();
        (void)measured->characteristicProfilePoints();
        if (black < 0 || black > 100 || total < black || total > 400)
            __builtin_trap();
    }
    if (auto profile = ProfileManager::profileRefForPath(inspector->profilePath())) {
        for (std::int32_t intent : {0, 1, 2}) {
            TabInfos a, b;
            GetProfileDatas(*profile, intent, inspector->profileHeader(), &a, &b);
        }
        for (OSType tag : {fourCC("desc"), fourCC("tech"), fourCC("wtpt"), fourCC("rXYZ")}) {
            std::optional<ElementBlock> element;
            std::uint32_t elementSize = 0;
            GetElement(*profile, tag, &element, &elementSize);
        }
    }
    return 0;
}
