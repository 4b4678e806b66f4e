#pragma once

#include "UtilityApp/CommandLine.h"

namespace tallywick {

/// Polls the account once and writes the report to standard output; a poll that fails writes its
/// sentence to standard error. Returns the program's exit status: 0 or 1. Stores nothing, and
/// leaves no helper behind.
int runReport(const CommandLine& commandLine);

/// Writes the masked location of each helper that would be tried, best first. Returns the program's
/// exit status: 1 when there is none. Starts nothing.
int runLocate(const CommandLine& commandLine);

} // namespace tallywick
