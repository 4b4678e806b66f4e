#pragma once

#include "platform/linux/Descriptors.h"
#include "platform/process/ChildProcess.h"

#include <sys/types.h>

namespace tallywick {

/// A child that runs its command, and this program's ends of its three pipes, none of which blocks.
struct LaunchedChild {
    pid_t pid = -1; ///< of the child and of its process group; still to be waited for
    UniqueFd process;
    UniqueFd input;
    UniqueFd output;
    UniqueFd errors;
};

/// Starts a command in a process group of its own, with default signal handling and no descriptor
/// but its pipes. The child dies with the thread that calls this. Throws std::system_error when the
/// command cannot be executed; nothing is left to be waited for then.
LaunchedChild launchChild(const ChildCommand& command);

} // namespace tallywick
