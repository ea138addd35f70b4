#include "color/profile_iterate_data.h"

#include <algorithm>
#include <set>
#include <utility>

#include <sys/stat.h>

#include "platform/big_endian.h"
#include "platform/file_system.h"

namespace slidebox::color {

namespace {

using platform::DirectoryEntry;
using platform::DirectoryListing;

/// One folder of the walk: its entries, how far they have been visited, and
/// the relative path that leads to it ("" for the top).
struct Level {
    std::vector<DirectoryEntry> entries;
    std::size_t next = 0;
    std::string relative;
};

enum class EntryKind { Folder, File, Neither };

/// What an entry is, without following a link to a folder. Only regular
/// files (or links to them) count as files: a pipe or a device would block
/// or never end.
EntryKind kindOf(const std::filesystem::path& path, DirectoryEntry::Kind listed) {
    struct stat st {};
    if (listed != DirectoryEntry::Kind::Directory) {
        if (!platform::statPath(path, st, false))
            return EntryKind::Neither;
        if (S_ISDIR(st.st_mode))
            return EntryKind::Folder;
        if (S_ISLNK(st.st_mode) && !platform::statPath(path, st))
            return EntryKind::Neither; // dangling
        return S_ISREG(st.st_mode) ? EntryKind::File : EntryKind::Neither;
    }
    return EntryKind::Folder;
}

} // namespace

std::filesystem::path joinPath(const std::filesystem::path& folder, const std::string& relative) {
    std::string base = folder.native();
    while (base.size() > 1 && base.back() == '/')
        base.pop_back();
    if (base.empty() || base.back() != '/')
        base += '/';
    return base + relative;
}

void walkProfileFolder(const std::filesystem::path& folder,
                       const std::function<void(const std::string& relativePath,
                                                const std::string& fileName)>& visit) {
    std::set<std::pair<dev_t, ino_t>> seen;
    std::vector<Level> stack;
    auto enter = [&](const std::filesystem::path& path, std::string relative) {
        std::optional<DirectoryListing> listing = platform::listDirectory(path);
        if (!listing || !seen.insert({listing->device, listing->inode}).second)
            return;
        stack.push_back({std::move(listing->entries), 0, std::move(relative)});
    };
    enter(folder, "");
    while (!stack.empty()) {
        Level& level = stack.back();
        if (level.next == level.entries.size()) {
            stack.pop_back();
            continue;
        }
        const DirectoryEntry& entry = level.entries[level.next++];
        std::string relative =
            level.relative.empty() ? entry.name : level.relative + "/" + entry.name;
        std::filesystem::path full = joinPath(folder, relative);
        switch (kindOf(full, entry.kind)) {
        case EntryKind::Folder:
            enter(full, std::move(relative)); // may invalidate level
            break;
        case EntryKind::File:
            visit(relative, entry.name);
            break;
        case EntryKind::Neither:
            break;
        }
    }
}

std::optional<std::string> textDescriptionFromElement(std::span<const std::uint8_t> read) {
    if (read.size() < 4 || platform::bigEndian32(read.data()) != fourCC("desc"))
        return std::nullopt;
    if (read.size() < 12)
        return std::string();
    const std::uint32_t count = platform::bigEndian32(read.data() + 8);
    if (count == 0)
        return std::string();
    const std::size_t length = std::min<std::size_t>(count - 1, read.size() - 12);
    return std::string(reinterpret_cast<const char*>(read.data() + 12), length);
}

std::optional<std::string> catalogueDescription(const CMProfile& profile) {
    std::vector<std::uint8_t> buffer(kDescriptionBufferBytes);
    std::uint32_t size = static_cast<std::uint32_t>(buffer.size());
    if (CMGetProfileElementStart(profile, fourCC("desc"), size, buffer.data()) != noErr)
        return std::nullopt;
    if (auto text = textDescriptionFromElement(std::span(buffer.data(), size)))
        return text;
    return CMCopyProfileDescriptionString(profile);
}

std::vector<CMProfileIterateData>
iterateProfileFolders(const std::vector<std::filesystem::path>& folders) {
    std::vector<CMProfileIterateData> profiles;
    for (const std::filesystem::path& folder : folders) {
        walkProfileFolder(folder, [&](const std::string& relative, const std::string&) {
            std::filesystem::path path = joinPath(folder, relative);
            CMProfileRef profile = CMOpenProfile(path);
            if (!profile)
                return;
            auto header = CMGetProfileHeader(*profile);
            if (!header)
                return;
            CMProfileIterateData data;
            data.header = *header;
            data.name = CMCopyProfileDescriptionString(*profile).value_or("");
            if (data.name.size() > kIterateNameBytes)
                data.name.resize(kIterateNameBytes);
            data.location = std::move(path);
            profiles.push_back(std::move(data));
        });
    }
    return profiles;
}

} // namespace slidebox::color
