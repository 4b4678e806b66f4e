#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tallywick {

/// A process of this user whose executable is that of an application bundle.
struct RunningApplication {
    int processId = 0;
    std::filesystem::path bundle;
    std::vector<std::string> arguments = {}; ///< without the program's own name

    bool operator==(const RunningApplication&) const = default;
};

/// The applications with one of these bundle identifiers that run now, this program included, by
/// ascending process id. A bundle that was moved meanwhile is given where it lies now. What ends
/// or cannot be examined while the list is made is left out. Reads an information dictionary for
/// every bundle that has a process; any thread.
std::vector<RunningApplication>
runningApplications(const std::vector<std::string>& bundleIdentifiers);

} // namespace tallywick
