#include "views/ThemePalette.h"

namespace tallywick {

QPalette paletteOf(const Theme& theme) {
    QPalette palette(theme.button, theme.button);
    palette.setColor(QPalette::Base, theme.backdropBottom);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ToolTipText})
        palette.setColor(role, theme.text);
    palette.setColor(QPalette::ButtonText, theme.buttonText);
    palette.setColor(QPalette::ToolTipBase, theme.button);
    palette.setColor(QPalette::Mid, theme.buttonOutline);
    palette.setColor(QPalette::PlaceholderText, theme.secondaryText);
    palette.setColor(QPalette::Highlight, theme.prominent);
    palette.setColor(QPalette::HighlightedText, theme.prominentText);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, theme.secondaryText);
    return palette;
}

} // namespace tallywick
