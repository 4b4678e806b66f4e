#pragma once

#include <string>
#include <string_view>

namespace tallywick {

/// What a release must fit.
struct RunningSystem {
    /// Of the operating system, on Linux of its kernel: major.minor.patch.
    std::string version;
    /// "arm64", "x86_64" or another processor's name: the one for which this program was built.
    std::string architecture;
};

/// The system that the program runs on.
RunningSystem runningSystem();

/// The three numbers with which the name of a kernel release begins: 6.1.0 of "6.1.0-37-amd64".
/// Missing ones are 0.
std::string kernelVersion(std::string_view release);

} // namespace tallywick
