#include "history/HistoryGraphModel.h"

#include <gmock/gmock.h>

#include <limits>

namespace tallywick::HistoryGraphModel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr Timestamp reset = 1'750'600'000;
constexpr Timestamp start = reset - 604'800;
constexpr Timestamp now = reset - 86'400;
constexpr double none = std::numeric_limits<double>::quiet_NaN();

UsageSample at(Timestamp time, double used = 40, Timestamp weekEnd = reset,
               const char* account = "a") {
    return {time, used, weekEnd, account, {}};
}

TEST(HistoryGraphModel, ShowsTheSamplesOfTheCurrentWeekInTheirOrder) {
    // The file has them in the order of their times; those of one time keep theirs.
    const std::vector<UsageSample> samples{at(now, 3), at(now - 60, 1), at(now - 60, 2),
                                           at(start, 0), at(now, 4, reset + 0.5),
                                           // not shown
                                           at(now + 1), at(start - 1), at(now, 40, reset + 1),
                                           at(now, 100.1), at(now, -0.1), at(now, none), at(none)};
    EXPECT_THAT(weekSamples(samples, now, reset),
                ElementsAre(samples[3], samples[1], samples[2], samples[0], samples[4]));
    EXPECT_THAT(weekSamples(std::vector{at(reset + 1)}, reset + 60, reset), IsEmpty());
    // Without a reset, those of the last seven days.
    EXPECT_THAT(
        weekSamples(std::vector{at(now - 604'801), at(now - 604'800), at(now + 1)}, now, {}),
        ElementsAre(at(now - 604'800)));
}

TEST(HistoryGraphModel, PutsThemWhereTimeAndUsageSay) {
    const auto location = [](const UsageSample& sample, std::optional<Timestamp> end, QSizeF area) {
        return points(graph(std::vector{sample}, sample.timestamp, end), area).at(0).location;
    };
    EXPECT_EQ(location(at(start, 0), reset, {206, 36}), QPointF(3, 33));
    EXPECT_EQ(location(at(start + 302'400, 50), reset, {206, 36}), QPointF(103, 18));
    EXPECT_EQ(location(at(reset, 100), reset, {206, 36}), QPointF(203, 3));
    EXPECT_EQ(location(at(reset, 100), reset, {5, 0}), QPointF(3, 3));
    EXPECT_EQ(location(at(start, 0), {}, {206, 36}), QPointF(203, 33));
}

TEST(HistoryGraphModel, JoinsOnlyWhatWasObservedInOnePiece) {
    const auto isJoined = [](const UsageSample& next) {
        const auto shown = graph(std::vector{at(now - 3'600), next}, now, {}).points;
        EXPECT_TRUE(shown.at(0).startsSegment);
        return !shown.at(1).startsSegment;
    };
    EXPECT_TRUE(isJoined(at(now - 1'800, 40, reset + 0.5)));
    EXPECT_FALSE(isJoined(at(now - 1'799)));
    EXPECT_FALSE(isJoined(at(now - 1'800, 39.9)));
    EXPECT_FALSE(isJoined(at(now - 1'800, 40, reset + 1)));
    EXPECT_FALSE(isJoined(at(now - 1'800, 40, reset, "b")));
    EXPECT_FALSE(isJoined({now - 1'800, 40, reset, "a", true}));
}

} // namespace
} // namespace tallywick::HistoryGraphModel
