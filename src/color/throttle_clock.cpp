#include "color/throttle_clock.h"

#include <chrono>
#include <thread>

namespace slidebox::color {

namespace {

class SystemClock final : public ThrottleClock {
  public:
    double now() override {
        return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
            .count();
    }
    void sleepUntil(double when) override {
        const double wait = when - now();
        if (wait > 0.0)
            std::this_thread::sleep_for(std::chrono::duration<double>(wait));
    }
};

} // namespace

ThrottleClock& ThrottleClock::system() {
    static SystemClock clock;
    return clock;
}

} // namespace slidebox::color
