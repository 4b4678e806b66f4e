#pragma once

#include "base/Time.h"

#include <algorithm>

namespace tallywick {

/// A time that is waited for, with the length of the wait. Starts out due.
class DueTime {
  public:
    bool isDue(Timestamp now) const { return now >= at; }
    void makeDue() { at = distantPast; }

    void set(Timestamp from, double seconds) {
        wait = seconds;
        at = from + seconds;
    }

    /// No wait lasts longer than it was set for: where it would, the clock was set back, and the
    /// wait begins anew.
    void limit(Timestamp now) { at = std::min(at, now + wait); }

    Timestamp time() const { return at; }

  private:
    double wait = 0;
    Timestamp at = distantPast;
};

} // namespace tallywick
