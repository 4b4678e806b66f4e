#include "state/WindowSizing.h"

#include <algorithm>
#include <cmath>

namespace tallywick::WindowSizing {

namespace {

/// The rows for which the full layout has room at its base size.
constexpr int baseRows = 2;

/// Where something of that length has to begin in order to lie between the limits. What is too long
/// begins at the lower one.
double keptWithin(double start, double length, double low, double high) {
    return std::min(std::max(start, low), std::max(high - length, low));
}

} // namespace

int visibleVolumeRows(std::size_t volumes, double availableHeight) {
    const double spare = std::max(availableHeight - fullBaseSize.height(), 0.0);
    const double roomFor = std::floor(spare / volumeRowHeight) + baseRows;
    const auto wanted = std::min<std::size_t>(volumes, maximumVolumeRows);
    return static_cast<int>(std::min(static_cast<double>(wanted), roomFor));
}

QSizeF fullSize(std::size_t volumes, double availableHeight) {
    const int extraRows = std::max(visibleVolumeRows(volumes, availableHeight) - baseRows, 0);
    return {fullBaseSize.width(), fullBaseSize.height() + volumeRowHeight * extraRows};
}

bool isMini(double contentHeight) { return contentHeight < miniThreshold; }

QSizeF minimumContentSize(double contentHeight) {
    return {isMini(contentHeight) ? miniSize.width() : fullBaseSize.width(), miniSize.height()};
}

QSizeF miniSizeOfWidth(double contentWidth) {
    return {contentWidth, contentWidth * miniSize.height() / miniSize.width()};
}

double maximumContentHeight(std::optional<double> visibleScreenHeight,
                            std::optional<double> chromeHeight) {
    const double room = visibleScreenHeight.value_or(fallbackScreenHeight)
                        - std::max(chromeHeight.value_or(fallbackChromeHeight), 0.0);
    return std::max(room, miniSize.height());
}

QSizeF chromeSize(QSizeF frame, QSizeF content) {
    return (frame - content).expandedTo(QSizeF(0, 0));
}

QSizeF clampContentSize(QSizeF size, double screenWidth, double maximumHeight, QSizeF fullSize) {
    // In this order of arguments, max gives the limit when the other number is none.
    const double height =
        std::min({std::max(miniSize.height(), size.height()), maximumHeight, fullSize.height()});
    const double minimumWidth = isMini(height) ? miniSize.width() : fullSize.width();
    return {std::min({std::max(minimumWidth, size.width()), screenWidth, fullSize.width()}),
            height};
}

QRectF keptOnScreen(QRectF frame, QRectF visibleScreen) {
    frame.moveTo(
        keptWithin(frame.x(), frame.width(), visibleScreen.left(), visibleScreen.right()),
        keptWithin(frame.y(), frame.height(), visibleScreen.top(), visibleScreen.bottom()));
    return frame;
}

double designScale(QSizeF content, QSizeF design) {
    return std::max(std::min(content.width() / design.width(), content.height() / design.height()),
                    smallestScale);
}

} // namespace tallywick::WindowSizing
