#pragma once

#include <QFont>

namespace tallywick {

/// The roles of text in the window, each with one size and weight.
enum class FontRole {
    title,     ///< of the window: 15, bold
    caption,   ///< over cards and sections, in capitals: 11, demi-bold, spaced
    body,      ///< 13
    strong,    ///< 13, demi-bold: buttons
    small,     ///< 11: the status line
    figure,    ///< of a card: 19, demi-bold
    remaining, ///< 16, demi-bold
    unit,      ///< 16: beside the big number
    miniUsage, ///< of the mini layout: 27, bold
    bigNumber, ///< of the full layout: 68, bold
};

/// The font of a role, sized in design units and without hinting, so that widths scale. "Inter"
/// where it is installed, else the desktop's own family.
QFont designFont(FontRole role);

/// The font of a role in this family. The places are measured for "Inter": letters of a wider
/// family are made smaller, until they take about as much room.
QFont designFont(FontRole role, const QString& family);

} // namespace tallywick
