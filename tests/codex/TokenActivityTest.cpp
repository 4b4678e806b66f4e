#include "codex/TokenActivity.h"

#include <gtest/gtest.h>

namespace tallywick {
namespace {

TEST(TokenActivity, TakesTheLifetimeAndTheLatestDay) {
    const auto activity = [](const char* result) {
        return tokenActivityFromUsage(parseJson(result).value());
    };
    EXPECT_EQ(activity(R"({"summary":{"lifetimeTokens":0}})"), (TokenActivity{0, {}, {}}));
    for (const char* result :
         {"null", R"({"summary":{"lifetimeTokens":-1}})", R"({"dailyUsageBuckets":{"a":{}}})",
          R"({"summary":{"lifetimeTokens":9223372036854775808}})"})
        EXPECT_EQ(activity(result), TokenActivity()) << result;
    EXPECT_EQ(activity(R"({"dailyUsageBuckets":[{"startDate":"2025-01-03","tokens":5},
                  {"startDate":"2025-01-02","tokens":10},{"startDate":"2025-01-03","tokens":7}]})"),
              (TokenActivity{{}, "2025-01-03", 5}))
        << "the first entry of the latest day, wherever it stands";
    EXPECT_EQ(activity(R"({"dailyUsageBuckets":[{"startDate":"2025-01-02","tokens":0},{},
                  {"startDate":"2025-02-29","tokens":1},{"startDate":"2025-01-04","tokens":-1}]})"),
              (TokenActivity{{}, "2025-01-02", 0}))
        << "days that cannot be and counts below zero are skipped";
    EXPECT_EQ(activity(R"({"summary":{"lifetimeTokens":9},
                  "dailyUsageBuckets":[{"startDate":"2025-01-02","tokens":1},7]})"),
              (TokenActivity{9, {}, {}}))
        << "an entry that is no object voids the list and nothing else";
}

TEST(TokenActivity, KnowsTheDaysOfTheCalendar) {
    for (const char* day : {"2024-02-29", "2000-02-29", "0001-01-01", "9999-12-31"})
        EXPECT_TRUE(isCalendarDay(day)) << day;
    for (const char* text :
         {"2024-02-30", "1900-02-29", "2024-13-01", "2024-00-01", "2024-01-00", "0000-01-01",
          "2024-2-03", "2024-02-3x", "+024-02-03", "2024/02/03", "2024-02-033", "", "２024-02-3"})
        EXPECT_FALSE(isCalendarDay(text)) << text;
}

TEST(TokenActivity, WritesCountsShort) {
    EXPECT_EQ(compactTokenCount({}), "—");
    EXPECT_EQ(compactTokenCount(999), "999");
    EXPECT_EQ(compactTokenCount(1000), "1.0K");
    EXPECT_EQ(compactTokenCount(1250), "1.2K") << "an exact half goes to the even digit";
    EXPECT_EQ(compactTokenCount(999'950), "1000.0K") << "the unit is chosen before rounding";
    EXPECT_EQ(compactTokenCount(1'000'000), "1.0M");
    EXPECT_EQ(compactTokenCount(2'500'000'000), "2.5B");
}

} // namespace
} // namespace tallywick
