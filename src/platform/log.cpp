#include "platform/log.h"

#include <cstdio>
#include <ctime>
#include <mutex>
#include <string>

#include <unistd.h>

extern char* program_invocation_short_name;

namespace slidebox::platform {

namespace {
std::mutex& sinkMutex() {
    static std::mutex m;
    return m;
}
std::function<void(std::string_view)>& sink() {
    static std::function<void(std::string_view)> s;
    return s;
}
} // namespace

void setLogSink(std::function<void(std::string_view)> newSink) {
    std::lock_guard lock(sinkMutex());
    sink() = std::move(newSink);
}

void log(std::string_view text) {
    {
        // The switch thread logs too, so the sink is guarded.
        std::lock_guard lock(sinkMutex());
        if (sink()) {
            sink()(text);
            return;
        }
    }
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    tm parts{};
    localtime_r(&ts.tv_sec, &parts);
    char stamp[40];
    std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &parts);
    std::string line = std::string(stamp) + "." +
                       std::to_string(ts.tv_nsec / 1'000'000 + 1000).substr(1) + " " +
                       program_invocation_short_name + "[" + std::to_string(getpid()) + "] ";
    for (char c : text)
        line += (c == '\n') ? ' ' : c;
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
}

} // namespace slidebox::platform
