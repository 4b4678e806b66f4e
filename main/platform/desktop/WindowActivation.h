#pragma once

#include <string>

class QWindow;

namespace tallywick {

/// What the desktop gave this process at its launch, so that its window may come to the front;
/// empty when it gave nothing. To be read before the toolkit starts, which takes it away.
std::string launchToken();

/// Asks the desktop to bring a window to the front, from whichever workspace it is on, and to give
/// it the keyboard. `token` is the `launchToken` of the process that asks for it. Main thread only.
void bringToFront(QWindow& window, const std::string& token);

} // namespace tallywick
