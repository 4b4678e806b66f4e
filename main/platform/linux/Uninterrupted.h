#pragma once

#include <cerrno>

namespace tallywick {

/// Repeats a system call for as long as a signal interrupts it. Returns its result and keeps errno.
template <typename Call>
auto uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

} // namespace tallywick
