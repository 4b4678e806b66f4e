#pragma once

#include <QByteArray>
#include <QImage>

namespace tallywick::icons {

/// The application's icon, drawn for this very size in pixels: a dark tile with a ring that shows a
/// part used, and a tally inside it. The small sizes leave out what would blur.
QImage applicationIcon(int size);

/// The same as an SVG, for every other size: as it is from 128 pixels on.
QByteArray scalableIcon();

/// The maker's mark: a blue tile with an open ring, the letter C.
QImage logo(int size);

} // namespace tallywick::icons
