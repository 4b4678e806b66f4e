#include "base/Time.h"

#include <chrono>

namespace tallywick {

Timestamp systemNow() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

} // namespace tallywick
