#pragma once

#include "base/Time.h"

#include <algorithm>

namespace tallywick {

/// A time that is waited for, with the length of the wait. Starts out due.
///
/// No wait lasts longer than it was set for, counted from when it is looked at: where it would, the
/// clock was set back, and the wait begins anew.
class DueTime {
  public:
    /// Ticks do not come to the millisecond. What is due after so many of them must not wait for
    /// one more because this one comes a moment too early.
    static constexpr double tolerance = 0.5; // seconds

    /// For what is done again and again, tick by tick.
    bool isDue(Timestamp now) { return now >= limited(now) - tolerance; }
    /// For a deadline, which has its whole time.
    bool hasPassed(Timestamp now) { return now >= limited(now); }
    void makeDue() { at = distantPast; }

    void set(Timestamp from, double seconds) {
        wait = seconds;
        at = from + seconds;
    }

  private:
    Timestamp limited(Timestamp now) {
        at = std::min(at, now + wait);
        return at;
    }

    double wait = 0;
    Timestamp at = distantPast;
};

} // namespace tallywick
