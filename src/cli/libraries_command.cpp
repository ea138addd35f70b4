// slidebox-cli libraries: discovery and the thumbnail list of the model.
#include <cstdio>

#include <QCoreApplication>

#include "cli/command.h"
#include "library/iphoto_album_manager.h"
#include "platform/file_system.h"

namespace slidebox::cli {

namespace {

// Each path, then a newline or (with -0) a NUL: a name may hold a newline.
struct PathPrinter {
    bool nul = false;
    void operator()(const std::string& path) const {
        if (!nul)
            return printLine(path);
        std::fwrite(path.data(), 1, path.size(), stdout);
        std::fputc('\0', stdout);
    }
};

// Takes -0 / --null off the front of the arguments ("--" ends the options).
std::vector<std::string> takeOptions(const std::vector<std::string>& args, PathPrinter& print,
                                     std::string& unknown) {
    std::vector<std::string> rest;
    bool options = true;
    for (const std::string& arg : args) {
        if (options && (arg == "-0" || arg == "--null"))
            print.nul = true;
        else if (options && arg == "--")
            options = false;
        else if (options && arg.size() > 1 && arg[0] == '-' && unknown.empty())
            unknown = arg;
        else
            rest.push_back(arg);
    }
    return rest;
}

int find(const std::vector<std::string>& folders, const PathPrinter& print) {
    if (folders.empty())
        return usageError("libraries find needs at least one folder");
    int status = Done;
    for (const std::string& folder : folders) {
        if (!platform::fileExistsAtPath(folder)) {
            status = failure("no such folder: " + folder);
            continue;
        }
        for (const auto& path : iPhotoAlbumManager::iPhotoLibrariesPathsInFolder(folder))
            print(path.native());
    }
    return status;
}

int images(const std::vector<std::string>& args, const PathPrinter& print) {
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
        print(path.native());
    return Done;
}

int run(const std::vector<std::string>& args) {
    if (args.empty())
        return usageError("libraries needs a subcommand: find or images");
    PathPrinter print;
    std::string unknown;
    std::vector<std::string> rest = takeOptions({args.begin() + 1, args.end()}, print, unknown);
    if (!unknown.empty())
        return usageError("unknown libraries option '" + unknown + "'");
    if (args[0] == "find")
        return find(rest, print);
    if (args[0] == "images")
        return images(rest, print);
    return usageError("unknown libraries subcommand '" + args[0] + "'");
}

const CommandGroup group{
    "libraries",
    "  libraries find [-0] DIR...      the photo libraries in or below each DIR, one path a line\n"
    "  libraries images [-0] LIBRARY   the thumbnail images of a library, in walk order\n"
    "                                  (-0, --null: a NUL after each path instead of a newline)\n",
    run};

} // namespace

} // namespace slidebox::cli
