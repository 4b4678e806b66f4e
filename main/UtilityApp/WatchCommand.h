#pragma once

#include "UtilityApp/CommandLine.h"

namespace tallywick {

/// Runs the whole utility without a window until it is asked to end (SIGTERM, SIGINT, SIGHUP) or
/// nobody reads its lines any more. Writes a line to standard output whenever the status or the
/// reading changes. Returns the program's exit status.
int runWatch(const CommandLine& commandLine, int argc, char** argv);

} // namespace tallywick
