#pragma once

#include <chrono>
#include <functional>

#include <QPointer>
#include <QTimer>

namespace slidebox::platform {

/// A repeating timer on the calling thread's Qt event loop. Whatever the tick
/// function captures lives as long as the timer runs, as a scheduled timer
/// holds its target. invalidate() may be called from inside a tick, and the
/// object may even end there: the Qt timer is deleted once control is back in
/// the event loop. When the application object ends, its timers end with it
/// and let go of what they hold, as a run loop's timers do when it goes.
class RepeatingTimer {
  public:
    RepeatingTimer(std::chrono::milliseconds interval, std::function<void()> tick);
    ~RepeatingTimer();
    RepeatingTimer(const RepeatingTimer&) = delete;
    RepeatingTimer& operator=(const RepeatingTimer&) = delete;

    /// Stops the timer and lets go of the tick function (and what it holds).
    /// Harmless when already invalid.
    void invalidate();
    bool isValid() const { return !timer_.isNull(); }

  private:
    // Owned by the application object on the main thread (by nobody on
    // another thread); deleted with deleteLater by invalidate().
    QPointer<QTimer> timer_;
};

/// Calls fn once on the main event loop after the delay; returns at once.
void performAfterDelay(std::chrono::milliseconds delay, std::function<void()> fn);

} // namespace slidebox::platform
