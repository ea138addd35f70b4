#pragma once

#include <cerrno>
#include <filesystem>
#include <functional>
#include <vector>

#include <grp.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

namespace slidebox::testing {

/// Runs body as a user who is not root, so that mode bits deny reading as
/// they would for a user (root reads any file): run as it is when the test
/// isn't root; as root, in a child process as "nobody", after handing the
/// given paths to that user. Returns what body returned (a failing check's
/// number, 0 for none); -1 when the user could not be changed. The child
/// can't report through the test framework, hence the number.
inline int runAsUnprivilegedUser(const std::function<int()>& body,
                                 const std::vector<std::filesystem::path>& handOver = {}) {
    if (::geteuid() != 0)
        return body();
    const passwd* nobody = ::getpwnam("nobody");
    const uid_t uid = nobody ? nobody->pw_uid : 65534;
    const gid_t gid = nobody ? nobody->pw_gid : 65534;
    for (const auto& path : handOver)
        if (::lchown(path.c_str(), uid, gid) != 0)
            return -1;
    const pid_t child = ::fork();
    if (child == 0) {
        if (::setgroups(0, nullptr) != 0 || ::setgid(gid) != 0 || ::setuid(uid) != 0)
            ::_exit(255);
        ::_exit(body() & 0xFF);
    }
    int status = 0;
    while (child > 0 && ::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    for (const auto& path : handOver)
        (void)::lchown(path.c_str(), 0, 0);
    return child > 0 && WIFEXITED(status) && WEXITSTATUS(status) != 255 ? WEXITSTATUS(status) : -1;
}

} // namespace slidebox::testing
