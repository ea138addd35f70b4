#pragma once

namespace slidebox::color {

/// The time a throttled profile test reads and waits on. The system's
/// clock by default; tests put in a clock of their own so that slices and
/// pauses can be measured without waiting.
class ThrottleClock {
  public:
    virtual ~ThrottleClock() = default;
    /// Now, in seconds from any fixed origin.
    virtual double now() = 0;
    /// Blocks the calling thread until the moment `when` (same origin as
    /// now()); a moment already past returns at once.
    virtual void sleepUntil(double when) = 0;

    /// The steady clock of the system. Lives as long as the process.
    static ThrottleClock& system();
};

} // namespace slidebox::color
