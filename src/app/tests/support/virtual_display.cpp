#include "support/virtual_display.h"

#include <unistd.h>

#include "tests/child_process.h"
#include "tests/temp_dir.h"

namespace slidebox::testing::x11 {

std::optional<std::string> runOnDisplay(const std::vector<std::string>& command,
                                        const std::string& display,
                                        const std::filesystem::path& out) {
    std::filesystem::remove(out);
    const pid_t pid = startChild(command, {"DISPLAY=" + display}, out);
    if (pid < 0 || waitChild(pid, std::chrono::seconds(20)) != 0)
        return std::nullopt;
    std::string text = readFile(out);
    while (!text.empty() && (text.back() == '\n' || text.back() == ' '))
        text.pop_back();
    return text;
}

VirtualDisplay::VirtualDisplay(const std::filesystem::path& log) {
    int fds[2];
    if (::pipe(fds) != 0)
        return;
    pid_ = startChild({"Xvfb", "-displayfd", std::to_string(fds[1]), "-screen", "0", "1280x800x24",
                       "-nolisten", "tcp"},
                      {}, log, fds[1]);
    ::close(fds[1]);
    std::string number;
    char c;
    while (::read(fds[0], &c, 1) == 1 && c != '\n')
        number += c;
    ::close(fds[0]);
    if (!number.empty())
        display_ = ":" + number;
}

VirtualDisplay::~VirtualDisplay() {
    endChild(pid_);
}

} // namespace slidebox::testing::x11
