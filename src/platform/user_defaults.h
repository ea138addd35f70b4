#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/plist_value.h"

namespace slidebox::platform {

/// The application's settings: property-list values by key, kept in one
/// file, "defaults.plist" (a binary property list; one in XML, as earlier
/// versions wrote it, is read and written in binary at the next save) in the
/// given folder, by default $XDG_CONFIG_HOME/slidebox/ (~/.config/slidebox/).
///
/// Registered defaults answer for keys the file doesn't hold and are never
/// written. Every set that changes something writes the whole file
/// atomically (a set of the value already held writes nothing); values the program
/// doesn't own come back as they were read. A file that exists but can't be
/// read or parsed (unreadable, not a regular file, too large, broken) is
/// renamed aside ("defaults.plist.broken-<seconds>"), kept, logged, and the
/// store starts empty. When it can't be moved aside, the store runs without
/// saving for its whole life (it never writes over a file it couldn't read)
/// and the log says why. Temporaries a killed save left are removed at load.
///
/// The file is mapped, and a list of 256 items or more that starts with a
/// string stays in it until it is used (PlistStoredStrings): the libraries'
/// image paths are read for the library on show only. Such a list reads as
/// its strings; an item that is no string is left out. Once another program
/// has changed the file in place, those lists read as empty and nothing is
/// written any more, so that its file stays as it wrote it.
class UserDefaults {
  public:
    /// Opens the store of the folder and loads its file, if any.
    explicit UserDefaults(std::filesystem::path folder);

    /// $XDG_CONFIG_HOME/slidebox, or ~/.config/slidebox.
    static std::filesystem::path defaultFolder();

    /// The path of the file this store reads and writes.
    const std::filesystem::path& filePath() const { return file_; }

    /// Values for keys the file doesn't hold; they are not written.
    void registerDefaults(const PlistDictionary& defaults);

    /// The stored value, else the registered one, else an absent value.
    const PlistValue& objectForKey(const std::string& key) const;

    /// intValue of objectForKey: 0 when absent.
    int integerForKey(const std::string& key) const;
    bool boolForKey(const std::string& key) const;

    /// Stores and writes. An absent value removes the key. False when the
    /// file could not be written (the value is still held in memory).
    bool setObject(const std::string& key, PlistValue value);
    bool removeObjectForKey(const std::string& key);
    /// Several setObject in one write.
    bool setObjects(std::vector<std::pair<std::string, PlistValue>> values);

    /// Writes everything held now; false on failure.
    bool synchronize() const;

    /// False when the file could be neither read nor moved aside: nothing is
    /// written, and notSavingReason() says why.
    bool isSaving() const { return notSavingReason_.empty(); }
    const std::string& notSavingReason() const { return notSavingReason_; }

    /// Where a broken file was moved at load, if one was.
    const std::optional<std::filesystem::path>& movedAsideFile() const { return movedAside_; }

  private:
    std::filesystem::path folder_;
    std::filesystem::path file_;
    // What the file holds: a dictionary, kept as a value so that it is
    // written without a copy.
    PlistValue values_ = PlistValue(PlistDictionary());
    PlistDictionary& held() { return *values_.dictionary(); }
    const PlistDictionary& held() const { return *values_.dictionary(); }
    PlistDictionary registered_;
    std::optional<std::filesystem::path> movedAside_;
    std::string notSavingReason_;
    /// The file is behind: the last write failed, or it is in the old XML form.
    mutable bool unsaved_ = false;
};

} // namespace slidebox::platform
