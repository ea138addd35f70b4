// A stand-in for the photo application, for tests. As far as Slidebox can
// see it behaves like the real one:
//   - it reads "RootDirectory" from $HOME/Library/Preferences/com.apple.iPhoto.plist
//     (default $HOME/Pictures/iPhoto Library), makes that folder if needed and opens it;
//   - an empty folder becomes a library: marker file "Library6.iPhoto" and a "Data" folder;
//   - SIGTERM (or SIGINT, SIGHUP) quits: after a short moment it writes its own
//     preference file back (binary), with the library it had open, and exits. A
//     rewrite of the file done before it has ended is thereby lost, as with the real one.
// It ends by itself after 30 seconds, so a test never leaves it running. What it does goes, one
// line each, to $HOME/Library/Logs/iPhoto stand-in.log as "<pid> <event> [<path>]".
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>
#include <utility>

#include <plist/plist.h>

namespace fs = std::filesystem;

namespace {

const fs::path home = [] {
    const char* h = std::getenv("HOME");
    return h && *h ? fs::path(h) : fs::path("/tmp");
}();

void record(const std::string& event, const std::string& path = {}) {
    const fs::path logFile = home / "Library" / "Logs" / "iPhoto stand-in.log";
    std::error_code ec;
    fs::create_directories(logFile.parent_path(), ec);
    const std::string line =
        std::to_string(::getpid()) + " " + event + (path.empty() ? "" : " " + path) + "\n";
    const int fd = ::open(logFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd >= 0) {
        (void)!::write(fd, line.data(), line.size()); // one write: lines never mix
        ::close(fd);
    }
}

} // namespace

int main() {
    sigset_t signals;
    sigemptyset(&signals);
    for (int s : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&signals, s);
    sigprocmask(SIG_BLOCK, &signals, nullptr);

    const fs::path preferenceFile = home / "Library" / "Preferences" / "com.apple.iPhoto.plist";
    std::ifstream in(preferenceFile, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    plist_t dict = nullptr;
    plist_from_memory(bytes.data(), static_cast<uint32_t>(bytes.size()), &dict);
    if (dict && plist_get_node_type(dict) != PLIST_DICT)
        plist_free(std::exchange(dict, nullptr));
    if (!dict)
        dict = plist_new_dict();
    fs::path library = home / "Pictures" / "iPhoto Library";
    if (plist_t root = plist_dict_get_item(dict, "RootDirectory");
        root && plist_get_node_type(root) == PLIST_STRING) {
        char* value = nullptr;
        plist_get_string_val(root, &value);
        library = value ? value : "";
        std::free(value);
    }

    std::error_code ec;
    fs::create_directories(library, ec);
    if (::chdir(library.c_str()) != 0)
        return 1;
    record("opened", library);
    if (fs::is_empty(library, ec)) {
        std::ofstream(library / "Library6.iPhoto") << "stand-in library\n";
        fs::create_directory(library / "Data", ec);
        record("made-library", library);
    }

    // One quit signal, or the end of the lifetime.
    const timespec wait{30, 0};
    int s;
    while ((s = sigtimedwait(&signals, nullptr, &wait)) < 0 && errno == EINTR) {
    }
    if (s < 0) {
        record("timed-out");
        return 0;
    }
    const timespec moment{0, 300'000'000}; // between being asked to quit and the write
    nanosleep(&moment, nullptr);
    plist_dict_set_item(dict, "RootDirectory", plist_new_string(library.c_str()));
    char* out = nullptr;
    uint32_t length = 0;
    plist_to_bin(dict, &out, &length);
    fs::create_directories(preferenceFile.parent_path(), ec);
    std::ofstream(preferenceFile.string() + ".stand-in", std::ios::binary).write(out, length);
    fs::rename(preferenceFile.string() + ".stand-in", preferenceFile, ec);
    std::free(out);
    record("quit", library);
    return 0;
}
