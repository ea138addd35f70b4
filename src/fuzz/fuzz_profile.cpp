// libFuzzer target: arbitrary bytes as a profile, through everything that
// reads one without building a colour world: the header and its report,
// opening from bytes, the tag elements and their table records, the
// description and the description structure.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "color/colorsync.h"
#include "color/profile_header_report.h"
#include "color/profile_inspector.h"
#include "color/profile_manager.h"
#include "color/profile_tag_tables.h"
#include "platform/log.h"

using namespace slidebox::color;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // Whatever a run touches stays in a folder of its own, not in the home.
    // The engine's complaints about broken input would only slow the run.
    slidebox::platform::setLogSink([](std::string_view) {});
    char folder[] = "/tmp/slidebox_fuzz_XXXXXX";
    if (::mkdtemp(folder))
        ProfileManager::setPlaces(ProfilePlaces::underHome(folder));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::span<const std::uint8_t> bytes(data, size);
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
