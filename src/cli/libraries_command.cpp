// slidebox-cli libraries: discovery and the thumbnail list of the model.
#include <QCoreApplication>

#include "cli/command.h"
#include "library/iphoto_album_manager.h"
#include "platform/file_system.h"

namespace slidebox::cli {

namespace {

int find(const std::vector<std::string>& folders) {
    if (folders.empty())
        return usageError("libraries find needs at least one folder");
    int status = Done;
    for (const std::string& folder : folders) {
        if (!platform::fileExistsAtPath(folder)) {
            status = failure("no such folder: " + folder);
            continue;
        }
        for (const auto& path : iPhotoAlbumManager::iPhotoLibrariesPathsInFolder(folder))
            printLine(path.native());
    }
    return status;
}

int images(const std::vector<std::string>& args) {
    if (args.size() != 1)
        return usageError("libraries images takes one library folder");
    if (!platform::fileExistsAtPath(args[0]))
        return failure("no such folder: " + args[0]);
    // The record watches its library on a timer; it needs the event loop's
    // thread data even though no tick will run here.
    int argc = 1;
    char name[] = "slidebox-cli";
    char* argv[] = {name, nullptr};
    QCoreApplication app(argc, argv);
    auto paths = iPhotoAlbumManager::initWithAlbumPath(args[0]);
    paths->stopLookAtModificationDate();
    for (const auto& path : paths->imagePaths().value_or(iPhotoAlbumManager::PathList{}))
        printLine(path.native());
    return Done;
}

int run(const std::vector<std::string>& args) {
    if (args.empty())
        return usageError("libraries needs a subcommand: find or images");
    std::vector<std::string> rest(args.begin() + 1, args.end());
    if (args[0] == "find")
        return find(rest);
    if (args[0] == "images")
        return images(rest);
    return usageError("unknown libraries subcommand '" + args[0] + "'");
}

const CommandGroup group{
    "libraries",
    "  libraries find DIR...      the photo libraries in or below each DIR, one path a line\n"
    "  libraries images LIBRARY   the thumbnail images of a library, in walk order\n",
    run};

} // namespace

} // namespace slidebox::cli
