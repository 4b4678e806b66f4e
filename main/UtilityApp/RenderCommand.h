#pragma once

#include "UtilityApp/CommandLine.h"

namespace tallywick {

/// Draws the window, or a sheet, into a PNG file without any display: with made-up values, or with
/// those that the helper and this machine give within 20 seconds. Returns the program's exit
/// status.
int runRender(const CommandLine& commandLine, int argc, char** argv);

} // namespace tallywick
