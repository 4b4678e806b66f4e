#pragma once

#include <cstdlib>
#include <string_view>

namespace tallywick::fuzzing {

/// What each fuzzer defines: hands one input to a reader, and requires of the result what the
/// reader's header promises. Called in a loop on one thread.
void examine(std::string_view input);

/// Ends the run when a promise is broken; libFuzzer then keeps the input.
inline void require(bool kept) {
    if (!kept)
        std::abort();
}

} // namespace tallywick::fuzzing
