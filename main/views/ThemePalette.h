#pragma once

#include "views/Theme.h"

#include <QPalette>

namespace tallywick {

/// The theme for what the toolkit paints itself: menus, tooltips, the file dialog, scroll bars.
QPalette paletteOf(const Theme& theme);

} // namespace tallywick
