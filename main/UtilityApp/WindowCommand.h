#pragma once

#include "UtilityApp/CommandLine.h"

namespace tallywick {

/// Shows the window and runs until it is closed, the user quits, or the system asks the program to
/// end. A second copy of the same application brings the first one forward instead and ends at
/// once. Returns the program's exit status.
int runWindow(const CommandLine& commandLine, int argc, char** argv);

} // namespace tallywick
