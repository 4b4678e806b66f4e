#include "views/look/Theme.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace tallywick {

namespace {

const QColor white(255, 255, 255);
const QColor black(0, 0, 0);

/// The program's own accents.
const QColor dayBlue(10, 108, 255);
const QColor nightBlue = QColor::fromRgbF(0.18F, 0.57F, 1.0F);

/// Contrast of texts, and of what must be seen but not read.
struct Ratios {
    double text;
    double shape;
};
constexpr Ratios ordinaryRatios{4.5, 3};
constexpr Ratios strongRatios{7, 4.5};

using Grounds = std::vector<QColor>;

/// One channel's part of the luminance, as the guidelines define it for sRGB.
double linear(float channel) {
    const auto value = static_cast<double>(channel);
    return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
}

double luminance(const QColor& color) {
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF())
           + 0.0722 * linear(color.blueF());
}

/// What the screen shows of a colour: eight bits a channel, opaque.
QColor asShown(const QColor& color) { return QColor(color.rgb()); }

bool hasContrast(const QColor& color, const Grounds& grounds, double ratio) {
    return std::ranges::all_of(
        grounds, [&](const QColor& ground) { return contrastRatio(color, ground) >= ratio; });
}

/// The colour, with its hue kept, moved towards black or white until it has the contrast to every
/// ground; black or white itself where nothing else has it.
QColor withContrast(const QColor& color, const Grounds& grounds, double ratio, bool darker) {
    constexpr int steps = 200;
    float hue = 0;
    float saturation = 0;
    float lightness = 0;
    color.getHslF(&hue, &saturation, &lightness);
    const float end = darker ? 0.0F : 1.0F;
    for (int step = 0; step < steps; ++step) {
        const float share = static_cast<float>(step) / steps;
        const QColor moved = asShown(
            QColor::fromHslF(hue, saturation, lightness + (end - lightness) * share).toRgb());
        if (hasContrast(moved, grounds, ratio))
            return moved;
    }
    return darker ? black : white;
}

/// The accent as a fill with a text on it: a bright one carries dark text, any other is made dark
/// enough for white.
void setProminent(Theme& theme, double ratio) {
    constexpr double brightEnough = 9; // for dark text to look at home
    const QColor dark(11, 18, 32);
    if (contrastRatio(theme.accent, dark) >= brightEnough) {
        theme.prominent = theme.accent;
        theme.prominentText = dark;
    } else {
        theme.prominent = withContrast(theme.accent, {white}, ratio, true);
        theme.prominentText = white;
    }
}

/// The colours as they are meant, before the contrasts are seen to.
Theme dayColors() {
    Theme theme;
    theme.light = true;
    theme.text = QColor(0x11, 0x18, 0x27);
    theme.secondaryText = QColor(0x53, 0x5d, 0x6c);
    theme.backdropTop = QColor(0xf8, 0xfa, 0xfc);
    theme.backdropBottom = QColor(0xe8, 0xed, 0xf3);
    theme.card = white;
    theme.cardOutline = QColor(0xd6, 0xdb, 0xe2);
    theme.divider = QColor(0xd2, 0xd7, 0xdc);
    theme.button = white;
    theme.buttonHovered = QColor(0xf1, 0xf5, 0xfa);
    theme.buttonPressed = QColor(0xdf, 0xe6, 0xef);
    theme.buttonOutline = QColor(0xc6, 0xcd, 0xd6);
    return theme;
}

Theme nightColors(const QColor& accent) {
    Theme theme;
    theme.text = QColor(0xf2, 0xf6, 0xfc);
    theme.secondaryText = QColor(0x93, 0xa0, 0xb2);
    theme.backdropTop = QColor(0x12, 0x25, 0x3b);
    theme.backdropBottom = QColor(0x08, 0x0b, 0x10);
    theme.card = QColor(0x16, 0x1b, 0x22);
    theme.cardOutline = mixed(theme.card, accent, 0.14F);
    theme.divider = mixed(theme.backdropBottom, accent, 0.42F);
    theme.button = mixed(theme.backdropBottom, accent, 0.12F);
    theme.buttonHovered = mixed(theme.backdropBottom, accent, 0.19F);
    theme.buttonPressed = mixed(theme.backdropBottom, accent, 0.28F);
    theme.buttonOutline = mixed(theme.backdropBottom, accent, 0.38F);
    return theme;
}

/// Plain grounds, and outlines that are seen.
void strengthen(Theme& theme) {
    const QColor ground = theme.light ? white : black;
    theme.text = theme.light ? black : white;
    for (QColor* plain : {&theme.backdropTop, &theme.backdropBottom, &theme.card, &theme.button})
        *plain = ground;
    theme.buttonHovered = mixed(ground, theme.text, 0.10F);
    theme.buttonPressed = mixed(ground, theme.text, 0.18F);
    for (QColor* line : {&theme.cardOutline, &theme.divider, &theme.buttonOutline})
        *line = mixed(ground, theme.text, 0.7F);
}

} // namespace

QColor mixed(const QColor& from, const QColor& to, float share) {
    const auto channel = [share](float a, float b) { return a + (b - a) * share; };
    return asShown(QColor::fromRgbF(channel(from.redF(), to.redF()),
                                    channel(from.greenF(), to.greenF()),
                                    channel(from.blueF(), to.blueF())));
}

double contrastRatio(const QColor& one, const QColor& other) {
    const auto [darker, lighter] = std::minmax({luminance(one), luminance(other)});
    return (lighter + 0.05) / (darker + 0.05);
}

Theme makeTheme(bool light, const ColorPreferences& preferences) {
    const Ratios ratios = preferences.highContrast ? strongRatios : ordinaryRatios;
    const bool hasAccent = preferences.accent && preferences.accent->isValid();
    const QColor wanted = hasAccent ? asShown(*preferences.accent) : light ? dayBlue : nightBlue;

    Theme theme = light ? dayColors() : nightColors(wanted);
    if (preferences.highContrast)
        strengthen(theme);
    const Grounds grounds{theme.backdropTop, theme.backdropBottom, theme.card};
    const Grounds buttons{theme.button, theme.buttonHovered, theme.buttonPressed};

    theme.accent = withContrast(wanted, grounds, ratios.shape, light);
    theme.accentTint =
        preferences.highContrast ? theme.card : mixed(theme.backdropTop, theme.accent, 0.16F);
    Grounds underAccent = grounds;
    underAccent.push_back(theme.accentTint);
    theme.accentText = withContrast(theme.accent, underAccent, ratios.text, light);
    theme.text = withContrast(theme.text, grounds, ratios.text, light);
    theme.secondaryText = withContrast(theme.secondaryText, grounds, ratios.text, light);
    theme.buttonText = withContrast(theme.text, buttons, ratios.text, light);
    Grounds underFocus = grounds;
    underFocus.insert(underFocus.end(), buttons.begin(), buttons.end());
    theme.focus = withContrast(theme.accent, underFocus, ratios.shape, light);
    theme.grip = light ? theme.secondaryText : asShown(nightBlue);
    setProminent(theme, ratios.text);
    return theme;
}

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
