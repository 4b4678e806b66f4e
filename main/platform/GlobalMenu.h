#pragma once

namespace tallywick {

/// Whether the desktop shows the menus of applications itself, outside their windows. Main thread
/// only; asks the session bus, which answers at once.
bool desktopShowsMenus();

} // namespace tallywick
