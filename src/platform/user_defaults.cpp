#include "platform/user_defaults.h"

#include <cstdlib>
#include <system_error>

#include "platform/file_system.h"
#include "platform/log.h"
#include "platform/mapped_file.h"
#include "platform/plist_file.h"

namespace slidebox::platform {

namespace {

// The file parsed where it lies in the page cache: the settings may be tens
// of megabytes, and a copy would fill as much fresh memory page by page.
// The long lists of image paths in it stay in the mapping until a library
// is shown; the program replaces the file by renaming a new one in, so the
// mapped one does not change under them.
Result<PlistDocument> parseFile(const std::filesystem::path& file, const PlistLimits& limits) {
    auto mapped = MappedFile::open(file, limits.maxBytes);
    if (mapped && (*mapped)->bytes().starts_with("bplist")) {
        auto value = parseBinaryPlistMapped(std::move(*mapped), limits);
        if (!value)
            return value.status();
        return PlistDocument{std::move(*value), PlistFormat::Binary};
    }
    if (!mapped && mapped.status().code() != ErrorCode::Truncated)
        return mapped.status();
    // The XML of earlier versions (and an empty file) is read once, from a
    // copy that ends in a NUL.
    auto copy = readRegularFile(file, limits.maxBytes);
    if (!copy)
        return copy.status();
    return parsePlistChecked(*copy, limits);
}

} // namespace

UserDefaults::UserDefaults(std::filesystem::path folder)
    : folder_(std::move(folder)), file_(folder_ / "defaults.plist") {
    removeStaleTemporaries(file_);
    std::error_code ec;
    if (!std::filesystem::exists(std::filesystem::symlink_status(file_, ec)))
        return; // no file yet: an empty store
    Status why;
    constexpr PlistLimits limits = PlistLimits::ownFiles();
    if (auto doc = parseFile(file_, limits); !doc) {
        why = doc.status();
    } else if (!doc->root.dictionary()) {
        why = Status::failure(ErrorCode::Malformed, "not a dictionary");
    } else {
        values_ = std::move(doc->root);
        // A file of the XML days is written in binary at the next save,
        // whether or not a value changed.
        unsaved_ = doc->format != PlistFormat::Binary;
        return;
    }
    // Never write over what the user had: keep the file beside the new one.
    std::filesystem::path aside = file_;
    aside += ".broken-" + std::to_string(Date::now().seconds);
    std::filesystem::rename(file_, aside, ec);
    if (ec) {
        notSavingReason_ = "the settings file " + file_.string() + " could not be read (" +
                           why.message() + ") nor kept aside (" + ec.message() + ")";
        log("The settings file " + file_.string() + " could not be read (" + why.message() +
            ") and could not be moved aside (" + ec.message() +
            "); the settings start empty and will not be saved.");
        return;
    }
    movedAside_ = aside;
    log("The settings file " + file_.string() + " could not be read (" + why.message() +
        "); it was kept as " + aside.string() + " and the settings start empty.");
}

std::filesystem::path UserDefaults::defaultFolder() {
    const char* xdg = std::getenv("XDG_CONFIG_HOME");
    std::filesystem::path base =
        (xdg && *xdg == '/') ? std::filesystem::path(xdg) : homeDirectory() / ".config";
    return base / "slidebox";
}

void UserDefaults::registerDefaults(const PlistDictionary& defaults) {
    for (const auto& [key, value] : defaults)
        registered_[key] = value;
}

const PlistValue& UserDefaults::objectForKey(const std::string& key) const {
    static const PlistValue absent;
    if (auto it = held().find(key); it != held().end())
        return it->second;
    if (auto it = registered_.find(key); it != registered_.end())
        return it->second;
    return absent;
}

int UserDefaults::integerForKey(const std::string& key) const {
    return objectForKey(key).intValue();
}

bool UserDefaults::boolForKey(const std::string& key) const {
    return objectForKey(key).intValue() != 0;
}

bool UserDefaults::setObject(const std::string& key, PlistValue value) {
    std::vector<std::pair<std::string, PlistValue>> one;
    one.emplace_back(key, std::move(value));
    return setObjects(std::move(one));
}

bool UserDefaults::setObjects(std::vector<std::pair<std::string, PlistValue>> values) {
    bool changed = false;
    for (auto& [key, value] : values) {
        auto entry = held().find(key);
        if (value.isNull()) {
            if (entry != held().end()) {
                held().erase(entry);
                changed = true;
            }
        } else if (entry == held().end()) {
            held().emplace(key, std::move(value));
            changed = true;
        } else if (!(entry->second == value)) {
            entry->second = std::move(value);
            changed = true;
        }
    }
    // The list of libraries can be tens of megabytes: a save that changes
    // nothing is not written again.
    if (!changed && !unsaved_)
        return isSaving();
    return synchronize();
}

bool UserDefaults::removeObjectForKey(const std::string& key) {
    return setObject(key, PlistValue());
}

bool UserDefaults::synchronize() const {
    if (!isSaving())
        return false;
    std::error_code ec;
    std::filesystem::create_directories(folder_, ec);
    if (Status written =
            writePlistFile(file_, values_, PlistFormat::Binary, PlistLimits::ownFiles());
        !written) {
        log("The settings could not be written to " + file_.string() + ": " + written.message());
        unsaved_ = true;
        return false;
    }
    unsaved_ = false;
    return true;
}

} // namespace slidebox::platform
