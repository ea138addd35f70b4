#include "platform/user_defaults.h"

#include <cstdlib>
#include <system_error>

#include "platform/file_system.h"
#include "platform/log.h"
#include "platform/plist_file.h"

namespace slidebox::platform {

UserDefaults::UserDefaults(std::filesystem::path folder)
    : folder_(std::move(folder)), file_(folder_ / "defaults.plist") {
    removeStaleTemporaries(file_);
    std::error_code ec;
    if (!std::filesystem::exists(std::filesystem::symlink_status(file_, ec)))
        return; // no file yet: an empty store
    Status why;
    constexpr PlistLimits limits = PlistLimits::ownFiles();
    if (auto bytes = readRegularFile(file_, limits.maxBytes); !bytes) {
        why = bytes.status();
    } else if (auto doc = parsePlistChecked(*bytes, limits); !doc) {
        why = doc.status();
    } else if (!doc->root.dictionary()) {
        why = Status::failure(ErrorCode::Malformed, "not a dictionary");
    } else {
        values_ = *doc->root.dictionary();
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
    if (auto it = values_.find(key); it != values_.end())
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
        auto held = values_.find(key);
        if (value.isNull()) {
            if (held != values_.end()) {
                values_.erase(held);
                changed = true;
            }
        } else if (held == values_.end()) {
            values_.emplace(key, std::move(value));
            changed = true;
        } else if (!(held->second == value)) {
            held->second = std::move(value);
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
            writePlistFile(file_, PlistValue(values_), PlistFormat::Xml, PlistLimits::ownFiles());
        !written) {
        log("The settings could not be written to " + file_.string() + ": " + written.message());
        unsaved_ = true;
        return false;
    }
    unsaved_ = false;
    return true;
}

} // namespace slidebox::platform
