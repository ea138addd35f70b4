#pragma once

#include <cstdint>
#include <optional>

#include <linux/magic.h>
#include <sys/statfs.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace slidebox::testing {

/// The dirty pages of bytes [offset, offset + length) of the open file fd:
/// written by a program and not yet handed to the disk. Empty where the
/// kernel can't tell (before Linux 6.5) or the file system has no disk to
/// write to (tmpfs).
inline std::optional<std::uint64_t> dirtyPages(int fd, std::uint64_t offset, std::uint64_t length) {
    struct statfs where {};
    if (::fstatfs(fd, &where) != 0 || where.f_type == TMPFS_MAGIC)
        return std::nullopt;
    struct {
        std::uint64_t offset, length;
    } range{offset, length};
    struct {
        std::uint64_t cached, dirty, writeback, evicted, recentlyEvicted;
    } counts{};
    constexpr long kCachestat = 451; // cachestat(2)
    if (::syscall(kCachestat, fd, &range, &counts, 0) != 0)
        return std::nullopt;
    return counts.dirty;
}

} // namespace slidebox::testing
