#pragma once

#include "platform/linux/Descriptors.h"
#include "platform/process/ChildProcess.h"

#include <sys/types.h>

#include <string>

namespace tallywick {

struct Pipe {
    UniqueFd readEnd;
    UniqueFd writeEnd;
};

/// Both ends are closed on exec and stay clear of 0, 1 and 2, which a child's own streams take.
/// Throws std::system_error.
Pipe makePipe();
void makeNonBlocking(const UniqueFd& fd);

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

/// Starts a program that has nothing more to do with this one, and outlives it: in a session of its
/// own, with default signal handling and no descriptor but /dev/null as its three streams and
/// `inherited` under the number that it has here, which is above theirs. `setting`, "NAME=value",
/// takes the place of that variable in its environment. Returns when it runs; throws
/// std::system_error when the command cannot be executed. Nothing is left to be waited for.
void launchDetached(const ChildCommand& command, const UniqueFd& inherited,
                    const std::string& setting);

/// From now on a write to a pipe that nobody reads is an error, not a signal that ends the program.
void ignoreBrokenPipes();

} // namespace tallywick
