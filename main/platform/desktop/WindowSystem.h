#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tallywick {

// The window system that the toolkit shows the window on, where a session has more than one.

/// The value of an environment variable, empty when it is not set.
using EnvironmentReader = std::function<std::string(const char* name)>;

/// The toolkit's own arguments by which it takes the window system that lets a window choose its
/// place and stay above others, and the other one where that cannot be reached. None where there is
/// nothing to choose, or where the user has chosen. Nothing of it reaches other programs.
std::vector<std::string> windowSystemArguments(const EnvironmentReader& environment);

/// As above, in the environment of this program.
std::vector<std::string> windowSystemArguments();

/// Starts the toolkit by `start`, and sees to it that it never loads a graphics driver: all that we
/// show is drawn in memory. Before the program has another thread; what the toolkit says meanwhile
/// of what it has not loaded is meant for nobody.
void startWithoutGraphicsDriver(const std::function<void()>& start);

/// Whether the window system lets windows choose their place and stay above others. Main thread
/// only, once the toolkit runs.
bool windowsCanBePlaced();

} // namespace tallywick
