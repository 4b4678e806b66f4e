#include "views/Theme.h"

#include <gtest/gtest.h>

#include <QColor>

#include <optional>
#include <string>
#include <vector>

namespace tallywick {
namespace {

const QColor white(255, 255, 255);
const QColor black(0, 0, 0);

const struct {
    const char* name;
    std::optional<QColor> accent;
} accentCases[] = {
    {"our own blue", std::nullopt},
    {"white", white},
    {"black", black},
    {"middle grey", QColor(128, 128, 128)},
    {"the backdrop by day", QColor(0xf0, 0xf4, 0xf8)},
    {"the backdrop by night", QColor(0x0b, 0x10, 0x16)},
    {"yellow", QColor(250, 220, 40)},
    {"red", QColor(230, 30, 40)},
    {"navy", QColor(10, 20, 90)},
    {"translucent", QColor(255, 255, 255, 20)},
};

std::string colorName(const QColor& color) { return color.name().toStdString(); }

void expectContrast(const char* what, const QColor& color, const std::vector<QColor>& grounds,
                    double ratio) {
    for (const QColor& ground : grounds)
        EXPECT_GE(contrastRatio(color, ground), ratio)
            << what << " " << colorName(color) << " on " << colorName(ground);
}

TEST(ThemeTest, everyTextCanBeReadWithAnyAccent) {
    for (const auto& row : accentCases) {
        for (const bool light : {false, true}) {
            for (const bool highContrast : {false, true}) {
                SCOPED_TRACE(std::string(row.name) + (light ? " by day" : " by night")
                             + (highContrast ? ", high contrast" : ""));
                const Theme theme =
                    makeTheme(light, {.accent = row.accent, .highContrast = highContrast});
                const double read = highContrast ? 7 : 4.5;
                const double seen = highContrast ? 4.5 : 3;
                const std::vector<QColor> grounds{theme.backdropTop, theme.backdropBottom,
                                                  theme.card};
                const std::vector<QColor> buttons{theme.button, theme.buttonHovered,
                                                  theme.buttonPressed};
                expectContrast("text", theme.text, grounds, read);
                expectContrast("secondary text", theme.secondaryText, grounds, read);
                expectContrast("accent text", theme.accentText, grounds, read);
                expectContrast("accent text", theme.accentText, {theme.accentTint}, read);
                expectContrast("button text", theme.buttonText, buttons, read);
                expectContrast("prominent text", theme.prominentText, {theme.prominent}, read);
                expectContrast("accent", theme.accent, grounds, seen);
                expectContrast("focus", theme.focus, grounds, seen);
                expectContrast("focus", theme.focus, buttons, seen);
                expectContrast("grip", theme.grip, grounds, seen);
                for (const QColor& color : {theme.accent, theme.accentTint, theme.card,
                                            theme.prominent, theme.buttonOutline})
                    EXPECT_EQ(color.alpha(), 255) << colorName(color);
            }
        }
    }
}

TEST(ThemeTest, anAccentThatCanBeSeenStaysAsItIsAndAnotherKeepsItsHue) {
    EXPECT_EQ(makeTheme(true, {}).accent, QColor(10, 108, 255));
    EXPECT_EQ(makeTheme(false, {}).accent, QColor(46, 145, 255));
    const Theme orange = makeTheme(false, {.accent = QColor(255, 140, 0)});
    EXPECT_EQ(orange.accent, QColor(255, 140, 0));
    EXPECT_EQ(orange.grip, QColor(46, 145, 255)) << "blue by night, whatever the accent";
    EXPECT_EQ(makeTheme(false, {.accent = QColor()}), makeTheme(false, {}));

    const QColor yellow(250, 220, 40);
    const Theme moved = makeTheme(true, {.accent = yellow});
    EXPECT_LT(moved.accent.lightnessF(), yellow.lightnessF());
    EXPECT_NEAR(moved.accent.hslHue(), yellow.hslHue(), 2);
    EXPECT_EQ(moved.grip, moved.secondaryText) << "dim by day, whatever the accent";
}

TEST(ThemeTest, highContrastHasPlainBackdrops) {
    for (const bool light : {false, true}) {
        const Theme theme = makeTheme(light, {.highContrast = true});
        EXPECT_EQ(theme.backdropTop, theme.backdropBottom);
        EXPECT_GE(contrastRatio(theme.cardOutline, theme.card), 4.5);
        EXPECT_GE(contrastRatio(theme.buttonOutline, theme.button), 4.5);
    }
}

TEST(ThemeTest, contrastFollowsTheGuidelines) {
    EXPECT_DOUBLE_EQ(contrastRatio(black, white), 21);
    EXPECT_DOUBLE_EQ(contrastRatio(white, white), 1);
    EXPECT_NEAR(contrastRatio(QColor(0x77, 0x77, 0x77), white), 4.48, 0.005);
    EXPECT_NEAR(contrastRatio(white, QColor(255, 0, 0)), 4.00, 0.005);
}

} // namespace
} // namespace tallywick
