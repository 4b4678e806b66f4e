#pragma once

#include <QSizeF>

#include <cstddef>

/// Sizes of the window's content in points.
namespace tallywick::WindowSizing {

/// The full layout with at most two volume rows.
inline constexpr QSizeF fullBaseSize{520, 635};
inline constexpr double volumeRowHeight = 24; ///< of each row beyond the second
inline constexpr int maximumVolumeRows = 7;

/// How many volume rows are shown of so many volumes, in a window that may become so high.
int visibleVolumeRows(std::size_t volumes, double availableHeight);

/// The size of the full layout.
QSizeF fullSize(std::size_t volumes, double availableHeight);

} // namespace tallywick::WindowSizing
