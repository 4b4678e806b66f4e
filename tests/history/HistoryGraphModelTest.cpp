#include "history/HistoryGraphModel.h"

#include <gmock/gmock.h>

#include <limits>

namespace tallywick::HistoryGraphModel {
namespace {

using ::testing::ElementsAre;

constexpr Timestamp reset = 1'750'600'000;
constexpr Timestamp start = reset - 604'800;
constexpr Timestamp now = reset - 86'400;
constexpr double none = std::numeric_limits<double>::quiet_NaN();

TEST(HistoryGraphModel, ShowsTheSamplesOfTheCurrentWeek) {
    const struct {
        const char* description;
        UsageSample sample;
        bool isShown;
        bool isShownWithoutReset; ///< in the seven days before `now`
    } cases[] = {{"in the week", {now - 60, 40, reset, "a", {}}, true, true},
                 {"now", {now, 40, reset, "a", {}}, true, true},
                 {"after now", {now + 1, 40, reset, "a", {}}, false, false},
                 {"at the start", {start, 40, reset, "a", {}}, true, true},
                 {"before the start", {start - 1, 40, reset, "a", {}}, false, true},
                 {"seven days before now", {now - 604'800, 40, reset, "a", {}}, false, true},
                 {"of a reset nearby", {now, 40, reset + 0.5, "a", {}}, true, true},
                 {"of another reset", {now, 40, reset + 1, "a", {}}, false, true},
                 {"more than all", {now, 100.1, reset, "a", {}}, false, false},
                 {"less than nothing", {now, -0.1, reset, "a", {}}, false, false},
                 {"no number", {now, none, reset, "a", {}}, false, false},
                 {"at no time", {none, 40, reset, "a", {}}, false, false}};
    for (const auto& row : cases) {
        const std::vector samples{row.sample};
        EXPECT_EQ(weekSamples(samples, now, reset).size(), row.isShown) << row.description;
        EXPECT_EQ(weekSamples(samples, now, std::nullopt).size(), row.isShownWithoutReset)
            << row.description;
    }
    // A week that has ended shows nothing newer than its end.
    const std::vector samples{UsageSample{reset + 1, 40, reset, "a", {}}};
    EXPECT_TRUE(weekSamples(samples, reset + 60, reset).empty());
}

TEST(HistoryGraphModel, SortsThemAndKeepsTheOrderOfEqualTimes) {
    const std::vector<UsageSample> samples{{now, 3, reset, "a", {}},
                                           {now - 60, 1, reset, "b", {}},
                                           {now - 60, 2, reset, "a", {}},
                                           {start, 0, reset, "a", {}}};
    EXPECT_THAT(weekSamples(samples, now, reset),
                ElementsAre(samples[3], samples[1], samples[2], samples[0]));
}

TEST(HistoryGraphModel, PutsThemWhereTimeAndUsageSay) {
    const std::vector<UsageSample> samples{{start, 0, reset, "a", {}},
                                           {start + 302'400, 50, reset, "a", {}},
                                           {reset, 100, reset, "a", {}}};
    const struct {
        QSizeF area;
        std::vector<QPointF> locations;
    } cases[] = {{{206, 36}, {{3, 33}, {103, 18}, {203, 3}}}, {{5, 0}, {{3, 3}, {3, 3}, {3, 3}}}};
    for (const auto& row : cases) {
        std::vector<QPointF> locations;
        for (const HistoryGraphPoint& point : points(samples, reset, reset, row.area))
            locations.push_back(point.location);
        EXPECT_EQ(locations, row.locations) << row.area.width();
    }
    // Without a reset the seven days before now are shown.
    const auto shown = points(std::span(samples).first(1), start, std::nullopt, {206, 36});
    ASSERT_EQ(shown.size(), 1U);
    EXPECT_EQ(shown[0].location, QPointF(203, 33));
    EXPECT_TRUE(points({}, now, reset, {206, 36}).empty());
}

TEST(HistoryGraphModel, JoinsOnlyWhatWasObservedInOnePiece) {
    const UsageSample first{now - 3'600, 40, reset, "a", true};
    const struct {
        const char* description;
        UsageSample next;
        bool startsSegment;
    } cases[] = {{"soon after", {now - 3'540, 40, reset, "a", {}}, false},
                 {"said to start one", {now - 3'540, 41, reset, "a", true}, true},
                 {"half an hour after", {now - 1'800, 41, reset, "a", {}}, false},
                 {"a second later", {now - 1'799, 41, reset, "a", {}}, true},
                 {"used less", {now - 3'540, 39.9, reset, "a", {}}, true},
                 {"of a reset nearby", {now - 3'540, 41, reset + 0.5, "a", {}}, false},
                 {"of another reset", {now - 3'540, 41, reset + 1, "a", {}}, true},
                 {"of another account", {now - 3'540, 41, reset, "b", {}}, true}};
    for (const auto& row : cases) {
        const std::vector samples{first, row.next};
        const auto shown = points(samples, now, std::nullopt, {206, 36});
        ASSERT_EQ(shown.size(), 2U) << row.description;
        EXPECT_TRUE(shown[0].startsSegment) << row.description;
        EXPECT_EQ(shown[1].startsSegment, row.startsSegment) << row.description;
    }
}

} // namespace
} // namespace tallywick::HistoryGraphModel
