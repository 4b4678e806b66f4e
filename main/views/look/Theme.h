#pragma once

#include <QColor>
#include <QPalette>

#include <optional>

namespace tallywick {

/// The colours of one theme, all of them opaque. Every text colour has a contrast of at least 4.5 :
/// 1 to whatever it is drawn on: `text`, `secondaryText` and `accentText` to the backdrop and to
/// cards, `accentText` to `accentTint`, `buttonText` to buttons in every state, `prominentText` to
/// `prominent`. `accent` and `focus` can be told from the backdrop and from cards: 3 : 1.
struct Theme {
    bool light = false;
    QColor accent;     ///< lines, fills and glows
    QColor accentText; ///< the accent where it must be read
    QColor accentTint; ///< a shade of the backdrop, behind `accentText`
    QColor text;
    QColor secondaryText;
    QColor backdropTop; ///< the backdrop runs from here
    QColor backdropBottom;
    QColor card;
    QColor cardOutline;
    QColor divider;
    QColor button;
    QColor buttonHovered;
    QColor buttonPressed;
    QColor buttonOutline;
    QColor buttonText;
    QColor prominent;     ///< fill of a default button and of a checked box
    QColor prominentText; ///< on that
    QColor focus;         ///< the ring around what has the keyboard
    QColor grip;          ///< the lines of the resize grip

    bool operator==(const Theme&) const = default;
};

/// What the user has told the desktop about colours.
struct ColorPreferences {
    std::optional<QColor> accent = {}; ///< absent or invalid: the program's own blue
    bool highContrast = false;         ///< stronger outlines, texts at 7 : 1 and plain backdrops

    bool operator==(const ColorPreferences&) const = default;
};

/// The day theme (`light`) or the night theme. An accent that could not be told from the backdrop
/// keeps its hue and is made darker by day, lighter by night.
Theme makeTheme(bool light, const ColorPreferences& preferences);

/// The opaque colour that lies so far on the way from one to another: a share of 0 to 1.
QColor mixed(const QColor& from, const QColor& to, float share);

/// The contrast ratio of two opaque colours as the Web Content Accessibility Guidelines define it:
/// 1 to 21.
double contrastRatio(const QColor& one, const QColor& other);

/// The theme for what the toolkit paints itself: menus, tooltips, the file dialog, scroll bars.
QPalette paletteOf(const Theme& theme);

} // namespace tallywick
