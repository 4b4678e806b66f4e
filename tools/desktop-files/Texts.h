#pragma once

#include <string>

// What a package has beside the program, made of the program's own list of options.

namespace tallywick::desktopFiles {

/// The page of the manual, for man(7).
std::string manualPage();

/// What a shell offers behind the command.
std::string bashCompletions();
std::string zshCompletions();
std::string fishCompletions();

} // namespace tallywick::desktopFiles
