#include "views/look/Theme.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace tallywick {
namespace {

void expectReadable(const Theme& theme, bool highContrast) {
    const double read = highContrast ? 7 : 4.5;
    const double seen = highContrast ? 4.5 : 3;
    const std::vector<QColor> grounds{theme.backdropTop, theme.backdropBottom, theme.card};
    const std::vector<QColor> buttons{theme.button, theme.buttonHovered, theme.buttonPressed};
    const struct {
        const char* what;
        QColor color;
        std::vector<QColor> grounds;
        double ratio;
    } pairs[] = {{"text", theme.text, grounds, read},
                 {"secondary text", theme.secondaryText, grounds, read},
                 {"accent text", theme.accentText, grounds, read},
                 {"accent text on its tint", theme.accentText, {theme.accentTint}, read},
                 {"button text", theme.buttonText, buttons, read},
                 {"prominent text", theme.prominentText, {theme.prominent}, read},
                 {"accent", theme.accent, grounds, seen},
                 {"focus", theme.focus, grounds, seen},
                 {"focus on a button", theme.focus, buttons, seen},
                 {"grip", theme.grip, grounds, seen},
                 {"outline", theme.buttonOutline, {theme.button}, highContrast ? seen : 1}};
    for (const auto& [what, color, under, ratio] : pairs) {
        EXPECT_EQ(color.alpha(), 255) << what;
        for (const QColor& ground : under)
            EXPECT_GE(contrastRatio(color, ground), ratio) << what;
    }
}

TEST(Theme, EveryTextCanBeReadWithAnyAccent) {
    const std::optional<QColor> accents[] = {
        std::nullopt,          QColor(Qt::white),   QColor(Qt::black),  QColor(128, 128, 128),
        QColor(240, 244, 248), QColor(11, 16, 22), // like the backdrops
        QColor(250, 220, 40),  QColor(230, 30, 40), QColor(10, 20, 90), QColor(255, 255, 255, 20)};
    for (const auto& accent : accents)
        for (const bool light : {false, true})
            for (const bool highContrast : {false, true}) {
                SCOPED_TRACE((accent ? accent->name().toStdString() : "our own blue")
                             + (light ? " by day" : " by night")
                             + (highContrast ? ", high contrast" : ""));
                expectReadable(makeTheme(light, {accent, highContrast}), highContrast);
            }
}

TEST(Theme, AnAccentThatCanBeSeenStaysAsItIsAndAnotherKeepsItsHue) {
    const QColor yellow(250, 220, 40);
    EXPECT_EQ(makeTheme(false, {.accent = yellow}).accent, yellow);
    EXPECT_EQ(makeTheme(false, {.accent = QColor()}), makeTheme(false, {}));
    const QColor moved = makeTheme(true, {.accent = yellow}).accent;
    EXPECT_LT(moved.lightnessF(), yellow.lightnessF());
    EXPECT_NEAR(moved.hslHue(), yellow.hslHue(), 2);
}

TEST(Theme, ContrastFollowsTheGuidelines) {
    EXPECT_DOUBLE_EQ(contrastRatio(Qt::black, Qt::white), 21);
    EXPECT_DOUBLE_EQ(contrastRatio(Qt::white, Qt::white), 1);
    EXPECT_NEAR(contrastRatio(QColor(0x77, 0x77, 0x77), Qt::white), 4.48, 0.005);
    EXPECT_NEAR(contrastRatio(Qt::white, QColor(255, 0, 0)), 4.00, 0.005);
}

} // namespace
} // namespace tallywick
