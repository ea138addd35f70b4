// slidebox-cli switch: the steps of one switch of the photo application to a
// library, on this thread, as the application's switch thread runs them.
#include <system_error>

#include "cli/command.h"
#include "library/iphoto_album_manager.h"
#include "library/iphoto_application.h"
#include "platform/file_system.h"

namespace slidebox::cli {

namespace {

int run(const std::vector<std::string>& args) {
    bool testLibrary = true;
    std::vector<std::string> paths;
    for (const std::string& arg : args) {
        if (arg == "--no-test" && paths.empty() && testLibrary)
            testLibrary = false;
        else if (arg.rfind("--", 0) == 0)
            return usageError("unknown switch option '" + arg + "'");
        else
            paths.push_back(arg);
    }
    if (paths.size() != 1)
        return usageError("switch takes one library folder");

    // The preference holds an absolute, lexically normal path: "." and ".."
    // are resolved by name (links are left as they are), and no trailing "/".
    std::error_code ec;
    std::filesystem::path library = std::filesystem::absolute(paths[0], ec).lexically_normal();
    if (!library.has_filename() && library.has_relative_path())
        library = library.parent_path();
    if (ec || !platform::fileExistsAtPath(library))
        return failure("no such folder: " + paths[0]);
    if (testLibrary && !iPhotoAlbumManager::isiPhotoLibrary(library))
        return failure("not a photo library: " + paths[0] + " (--no-test switches all the same)");

    const iPhotoApplication application;
    if (platform::Status status = application.threadSwitchAlbum(library.native()); !status)
        return failure("the preference file " + application.preferenceFilePath().native() +
                       " was not changed: " + status.message());
    return Done;
}

const CommandGroup group{
    "switch",
    "  switch [--no-test] LIBRARY   quit iPhoto if it runs, set its library to LIBRARY, start it\n",
    run};

} // namespace

} // namespace slidebox::cli
