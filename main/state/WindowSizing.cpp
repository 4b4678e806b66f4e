#include "state/WindowSizing.h"

#include <algorithm>
#include <cmath>

namespace tallywick::WindowSizing {

namespace {

/// The rows for which the full layout has room at its base size.
constexpr int baseRows = 2;

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

} // namespace tallywick::WindowSizing
