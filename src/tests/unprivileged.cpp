#include "tests/unprivileged.h"

#include <cerrno>

#include <grp.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

namespace slidebox::testing {

int runAsUnprivilegedUser(const std::function<int()>& body,
                          const std::vector<std::filesystem::path>& handOver) {
    if (::geteuid() != 0)
        return body();
    const passwd* nobody = ::getpwnam("nobody");
    const uid_t uid = nobody ? nobody->pw_uid : 65534;
    const gid_t gid = nobody ? nobody->pw_gid : 65534;
    for (const auto& path : handOver)
        if (::lchown(path.c_str(), uid, gid) != 0)
            return -1;
    const pid_t child = ::fork();
    if (child < 0)
        return -1;
    if (child == 0) {
        if (::setgroups(0, nullptr) != 0 || ::setgid(gid) != 0 || ::setuid(uid) != 0 ||
            ::geteuid() == 0)
            ::_exit(255);
        ::_exit(body() & 0xFF);
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0)
        if (errno != EINTR)
            return -1;
    for (const auto& path : handOver)
        (void)::lchown(path.c_str(), 0, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) == 255)
        return -1;
    return WEXITSTATUS(status);
}

} // namespace slidebox::testing
