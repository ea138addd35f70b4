// Writes the generic profiles into a folder at build time:
//     make_generic_profiles FOLDER
// Exit status 0 when every file was written.
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "color/engine/lcms.h"
#include "color/generic_profile_names.h"

using namespace slidebox::color;

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_generic_profiles FOLDER\n");
        return 2;
    }
    const std::filesystem::path folder = argv[1];
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    cmsContext ctx = cmsCreateContext(nullptr, nullptr);
    int status = ctx ? 0 : 1;
    for (const GenericProfileName& generic : kGenericProfileNames) {
        engine::Handle h = engine::makeGenericProfile(ctx, generic.space);
        const std::filesystem::path path = folder / generic.fileName;
        // Saved straight to the file: the engine's save to memory is the
        // library's, and this tool links nothing but the engine.
        if (!h || !cmsSaveProfileToFile(h.get(), path.c_str()) ||
            !std::filesystem::is_regular_file(path)) {
            std::fprintf(stderr, "make_generic_profiles: can't write %s\n", path.c_str());
            status = 1;
        }
    }
    if (ctx)
        cmsDeleteContext(ctx);
    return status;
}
