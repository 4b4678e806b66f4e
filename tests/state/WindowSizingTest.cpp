#include "state/WindowSizing.h"

#include <gtest/gtest.h>

#include <QDebug>

#include <limits>

namespace tallywick::WindowSizing {
namespace {

constexpr double none = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

TEST(WindowSizing, TheFullLayoutHasRoomForTheVolumesThatTheScreenHolds) {
    const struct {
        std::size_t volumes;
        double available;
        int rows;
        double height;
    } cases[] = {{0, 900, 0, 635}, {2, 600, 2, 635},   {3, 900, 3, 659},      {9, 900, 7, 755},
                 {3, 600, 2, 635}, {3, 658.9, 2, 635}, {5, 683, 4, 635 + 48}, {4, 0, 2, 635}};
    for (const auto& row : cases) {
        EXPECT_EQ(visibleVolumeRows(row.volumes, row.available), row.rows) << row.volumes;
        EXPECT_EQ(fullSize(row.volumes, row.available), QSizeF(520, row.height)) << row.volumes;
    }
}

TEST(WindowSizing, AContentIsHeldWithinItsLimits) {
    const QSizeF full(520, 659);
    const struct {
        const char* description;
        QSizeF asked;
        double screenWidth, maximumHeight;
        QSizeF given;
    } cases[] = {{"a mini layout", {510, 229.5}, 1600, 900, {510, 229.5}},
                 {"the smallest", {1, 1}, 1600, 900, {500, 225}},
                 {"just full, which is wider", {500, 600}, 1600, 900, {520, 600}},
                 {"a low screen, still full", {520, 635}, 1600, 600, {520, 600}},
                 {"a lower screen: mini after all", {505, 635}, 1600, 599, {505, 599}},
                 {"a narrow screen", {520, 225}, 480, 900, {480, 225}},
                 {"no number", {none, none}, 1600, 900, {500, 225}},
                 {"without end", {infinity, infinity}, 1600, 900, {520, 659}}};
    for (const auto& row : cases)
        EXPECT_EQ(clampContentSize(row.asked, row.screenWidth, row.maximumHeight, full), row.given)
            << row.description;
    EXPECT_EQ(miniSizeOfWidth(510), QSizeF(510, 229.5));
}

TEST(WindowSizing, TheAvailableHeightFallsBackToUsualOnes) {
    EXPECT_EQ(maximumContentHeight(1000, 40), 960);
    EXPECT_EQ(maximumContentHeight(std::nullopt, 40), 860);
    EXPECT_EQ(maximumContentHeight(1000, std::nullopt), 972);
    EXPECT_EQ(maximumContentHeight(std::nullopt, std::nullopt), 872);
    EXPECT_EQ(maximumContentHeight(200, 40), 225) << "the mini layout needs as much";
    EXPECT_EQ(maximumContentHeight(1000, -40), 1000);
    EXPECT_EQ(chromeSize({502, 260}, {500, 225}), QSizeF(2, 35));
    EXPECT_EQ(chromeSize({502, 200}, {510, 225}), QSizeF(0, 0));
}

TEST(WindowSizing, AFrameIsMovedOntoItsScreen) {
    const QRectF screen(100, 30, 1000, 700); // right of another one, below a panel
    const struct {
        const char* description;
        QRectF frame;
        QPointF place;
    } cases[] = {{"inside", {200, 50, 520, 635}, {200, 50}},
                 {"beyond the bottom right", {581, 96, 520, 635}, {580, 95}},
                 {"far away", {5000, -5000, 520, 635}, {580, 30}},
                 {"larger than the screen", {580, 95, 1200, 900}, {100, 30}}};
    for (const auto& row : cases)
        EXPECT_EQ(keptOnScreen(row.frame, screen), QRectF(row.place, row.frame.size()))
            << row.description;
}

} // namespace
} // namespace tallywick::WindowSizing
