#pragma once

#include <QRectF>
#include <QSizeF>

#include <cstddef>
#include <optional>

/// Sizes of the window's content in points, and what they mean. Pure functions.
///
/// The decoration of the window, which is its frame without its content, is called its chrome. An
/// available height is the most that the content may take on its screen: `maximumContentHeight`.
namespace tallywick::WindowSizing {

/// The mini layout, which is also the smallest content.
inline constexpr QSizeF miniSize{500, 225};
/// The full layout with at most two volume rows.
inline constexpr QSizeF fullBaseSize{520, 635};
inline constexpr double volumeRowHeight = 24; ///< of each row beyond the second
inline constexpr int maximumVolumeRows = 7;

/// A lower content shows the mini layout.
inline constexpr double miniThreshold = 600;

inline constexpr double fallbackScreenHeight = 900; ///< without a screen
inline constexpr double fallbackChromeHeight = 28;  ///< without a window
inline constexpr double smallestScale = 0.1;

/// How many volume rows are shown of so many volumes.
int visibleVolumeRows(std::size_t volumes, double availableHeight);

/// The size of the full layout. It may be higher than the available height.
QSizeF fullSize(std::size_t volumes, double availableHeight);

/// Whether a content of this height shows the mini layout.
bool isMini(double contentHeight);

/// The smallest content in the layout that a content of this height shows.
QSizeF minimumContentSize(double contentHeight);

/// The mini layout of this width in its own proportions.
QSizeF miniSizeOfWidth(double contentWidth);

/// The most height a content may take on a screen of that visible height, under a chrome of that
/// height; the fallbacks stand for what is absent. Never less than the mini layout needs.
double maximumContentHeight(std::optional<double> visibleScreenHeight,
                            std::optional<double> chromeHeight);

/// Frame minus content, each side at least 0.
QSizeF chromeSize(QSizeF frame, QSizeF content);

/// The nearest size that a content may have, given the width of the screen, the available height
/// and the full layout. A number that is none counts as too small.
QSizeF clampContentSize(QSizeF size, double screenWidth, double maximumHeight, QSizeF fullSize);

/// The frame, moved by no more than needed into the visible part of its screen; its top left corner
/// stays inside when it is larger.
QRectF keptOnScreen(QRectF frame, QRectF visibleScreen);

/// The scale at which a layout of that design size fits into a content.
double designScale(QSizeF content, QSizeF design = miniSize);

} // namespace tallywick::WindowSizing
