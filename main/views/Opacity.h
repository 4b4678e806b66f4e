#pragma once

#include <QColor>

namespace tallywick {

/// The colour at an opacity from 0 to 1.
inline QColor withOpacity(QColor color, double opacity) {
    color.setAlphaF(static_cast<float>(opacity));
    return color;
}

} // namespace tallywick
