// A stand-in for the photo application, for tests. As far as Slidebox can
// see it behaves like the real one:
//   - it reads "RootDirectory" from $HOME/Library/Preferences/com.apple.iPhoto.plist
//     (default $HOME/Pictures/iPhoto Library), makes that folder if needed and opens it;
//   - an empty folder becomes a library: marker file "Library6.iPhoto" and a "Data" folder;
//   - SIGTERM (or SIGINT, SIGHUP) quits: after a short moment it writes its own
//     preference file back, with the library it had open, and exits. A rewrite
//     of the file done before it has ended is thereby lost, as with the real one.
// It ends by itself after $IPHOTO_STAND_IN_LIFETIME seconds (default 60), so a
// test never leaves it running. What it does goes, one line each, to
// $HOME/Library/Logs/iPhoto stand-in.log as "<pid> <event> [<path>]".
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <signal.h>
#include <string>
#include <unistd.h>

#include <plist/plist.h>

namespace fs = std::filesystem;

namespace {

constexpr const char* kRootDirectoryKey = "RootDirectory";
constexpr long kQuitMoment =
    300'000'000; // ns between being asked to quit and writing the preferences

fs::path home() {
    const char* h = std::getenv("HOME");
    return h && *h ? fs::path(h) : fs::path("/tmp");
}

void record(const std::string& event, const std::string& path = {}) {
    const fs::path logFile = home() / "Library" / "Logs" / "iPhoto stand-in.log";
    std::error_code ec;
    fs::create_directories(logFile.parent_path(), ec);
    std::string line =
        std::to_string(::getpid()) + " " + event + (path.empty() ? "" : " " + path) + "\n";
    int fd = ::open(logFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0)
        return;
    [[maybe_unused]] ssize_t written =
        ::write(fd, line.data(), line.size()); // one write: lines never mix
    ::close(fd);
}

struct Preferences {
    plist_t dict = nullptr;
    bool binary = true;
};

Preferences readPreferences(const fs::path& file) {
    Preferences prefs;
    std::ifstream in(file, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (!bytes.empty()) {
        plist_from_memory(bytes.data(), static_cast<uint32_t>(bytes.size()), &prefs.dict);
        prefs.binary = plist_is_binary(bytes.data(), static_cast<uint32_t>(bytes.size()));
    }
    if (prefs.dict && plist_get_node_type(prefs.dict) != PLIST_DICT) {
        plist_free(prefs.dict);
        prefs.dict = nullptr;
    }
    if (!prefs.dict)
        prefs.dict = plist_new_dict();
    return prefs;
}

std::optional<std::string> stringEntry(plist_t dict, const char* key) {
    plist_t item = plist_dict_get_item(dict, key);
    if (!item || plist_get_node_type(item) != PLIST_STRING)
        return std::nullopt;
    char* value = nullptr;
    plist_get_string_val(item, &value);
    std::string result = value ? value : "";
    std::free(value);
    return result;
}

void writePreferences(const fs::path& file, const Preferences& prefs) {
    char* out = nullptr;
    uint32_t length = 0;
    if (prefs.binary)
        plist_to_bin(prefs.dict, &out, &length);
    else
        plist_to_xml(prefs.dict, &out, &length);
    if (!out)
        return;
    std::error_code ec;
    fs::create_directories(file.parent_path(), ec);
    const fs::path temporary = file.string() + ".stand-in";
    {
        std::ofstream os(temporary, std::ios::binary | std::ios::trunc);
        os.write(out, length);
    }
    fs::rename(temporary, file, ec);
    std::free(out);
}

long lifetimeSeconds() {
    const char* text = std::getenv("IPHOTO_STAND_IN_LIFETIME");
    long seconds = text ? std::strtol(text, nullptr, 10) : 60;
    return (seconds >= 1 && seconds <= 600) ? seconds : 60;
}

} // namespace

int main() {
    sigset_t signals;
    sigemptyset(&signals);
    for (int s : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&signals, s);
    sigprocmask(SIG_BLOCK, &signals, nullptr);

    const fs::path preferenceFile = home() / "Library" / "Preferences" / "com.apple.iPhoto.plist";
    Preferences prefs = readPreferences(preferenceFile);
    const fs::path library = stringEntry(prefs.dict, kRootDirectoryKey)
                                 .value_or((home() / "Pictures" / "iPhoto Library").string());

    std::error_code ec;
    fs::create_directories(library, ec);
    if (!fs::is_directory(library, ec) || ::chdir(library.c_str()) != 0) {
        record("cannot-open", library.string());
        plist_free(prefs.dict);
        return 1;
    }
    record("opened", library.string());
    if (fs::is_empty(library, ec)) {
        std::ofstream(library / "Library6.iPhoto") << "stand-in library\n";
        fs::create_directory(library / "Data", ec);
        record("made-library", library.string());
    }

    // One quit signal, or the end of the lifetime.
    const timespec lifetime{lifetimeSeconds(), 0};
    int s;
    while ((s = sigtimedwait(&signals, nullptr, &lifetime)) < 0 && errno == EINTR) {
    }
    if (s < 0) {
        record("timed-out");
    } else {
        const timespec moment{0, kQuitMoment};
        nanosleep(&moment, nullptr);
        plist_dict_set_item(prefs.dict, kRootDirectoryKey, plist_new_string(library.c_str()));
        writePreferences(preferenceFile, prefs);
        record("quit", library.string());
    }
    plist_free(prefs.dict);
    return 0;
}
