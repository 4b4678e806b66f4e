#pragma once

#include "platform/linux/Descriptors.h"

#include <filesystem>
#include <string>
#include <vector>

namespace tallywick {

// How a program that was started by another copy of it tells that copy that it shows its window: by
// a byte in a pipe that it has inherited. The environment names it, as "DESCRIPTOR:INODE", so that
// no other descriptor is taken for it by a process that has inherited the variable alone.

inline constexpr const char* launchWordVariable = "TALLYWICK_WINDOW_SHOWN";

/// Starts a program that outlives this one. What comes of it can be read there, without blocking:
/// its word, or the end of the stream when it ends before. Throws std::system_error when it cannot
/// be started. Any thread; waits for the disk that the program lies on.
UniqueFd launchForWord(const std::filesystem::path& executable,
                       const std::vector<std::string>& arguments);

} // namespace tallywick
