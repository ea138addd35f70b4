#include "platform/running_applications.h"

#include <cstdlib>

#include <unistd.h>

#include "platform/file_system.h"

namespace slidebox::platform {

namespace {
// A process that has ended but whose parent hasn't collected it yet (a
// zombie) keeps its name in the process folder; it runs no more. Its state
// is the field after the parenthesised name in "stat".
bool hasEnded(const std::filesystem::path& processFolder) {
    auto stat = readWholeFile(processFolder / "stat");
    if (!stat)
        return false;
    const size_t close = stat->rfind(')');
    if (close == std::string::npos || close + 2 >= stat->size())
        return false;
    const char state = (*stat)[close + 2];
    return state == 'Z' || state == 'X';
}

// Whether the process runs with this process's effective user: the second
// number of the "Uid:" line of its status.
bool isOwnProcess(const std::filesystem::path& processFolder) {
    auto status = readWholeFile(processFolder / "status");
    if (!status)
        return false;
    const size_t at = status->find("\nUid:");
    if (at == std::string::npos)
        return false;
    char* end = nullptr;
    std::strtoul(status->c_str() + at + 5, &end, 10); // real
    const unsigned long effective = std::strtoul(end, nullptr, 10);
    return effective == ::geteuid();
}
} // namespace

std::vector<pid_t> processesNamed(std::string_view name, const std::filesystem::path& procRoot) {
    std::vector<pid_t> pids;
    for (const std::string& entry : directoryContentsAtPath(procRoot)) {
        if (entry.empty() || entry.find_first_not_of("0123456789") != std::string::npos)
            continue;
        auto comm = readWholeFile(procRoot / entry / "comm");
        if (!comm)
            continue; // the process ended while we looked
        if (!comm->empty() && comm->back() == '\n')
            comm->pop_back();
        if (*comm == name && !hasEnded(procRoot / entry) && isOwnProcess(procRoot / entry))
            pids.push_back(static_cast<pid_t>(std::strtol(entry.c_str(), nullptr, 10)));
    }
    return pids;
}

bool isApplicationRunning(std::string_view name, const std::filesystem::path& procRoot) {
    return !processesNamed(name, procRoot).empty();
}

} // namespace slidebox::platform
