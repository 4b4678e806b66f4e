#include "codex/TokenActivity.h"

#include <gtest/gtest.h>

#include <limits>

namespace tallywick {
namespace {

TEST(TokenActivity, takesTheLifetimeAndTheLatestDay) {
    const struct {
        const char* name;
        const char* result;
        TokenActivity expected;
    } rows[] = {
        {"an empty result", "{}", {}},
        {"a result that is no object", "null", {}},
        {"a lifetime of nothing", R"({"summary":{"lifetimeTokens":0}})", {0, {}, {}}},
        {"a negative lifetime", R"({"summary":{"lifetimeTokens":-1}})", {}},
        {"a lifetime beyond 64 bits", R"({"summary":{"lifetimeTokens":9223372036854775808}})", {}},
        {"the first entry of the latest day, wherever it stands",
         R"({"dailyUsageBuckets":[{"startDate":"2025-01-03","tokens":5},
             {"startDate":"2025-01-02","tokens":10},{"startDate":"2025-01-03","tokens":7}]})",
         {{}, "2025-01-03", 5}},
        {"days that cannot be and counts below zero are skipped",
         R"({"dailyUsageBuckets":[{"startDate":"2025-01-02","tokens":0},{"startDate":"2025-02-29",
             "tokens":1},{"startDate":"2025-01-04","tokens":-1},{"startDate":"2025-01-05"},{}]})",
         {{}, "2025-01-02", 0}},
        {"an entry that is no object voids the list and nothing else",
         R"({"summary":{"lifetimeTokens":9},
             "dailyUsageBuckets":[{"startDate":"2025-01-02","tokens":1},7]})",
         {9, {}, {}}},
        {"a list that is an object", R"({"dailyUsageBuckets":{"a":{}}})", {}},
    };
    for (const auto& row : rows) {
        const auto result = parseJson(row.result);
        ASSERT_TRUE(result) << row.name;
        EXPECT_EQ(tokenActivityFromUsage(*result), row.expected) << row.name;
    }
}

TEST(TokenActivity, knowsTheDaysOfTheCalendar) {
    for (const char* day : {"2024-02-29", "2000-02-29", "0001-01-01", "9999-12-31"})
        EXPECT_TRUE(isCalendarDay(day)) << day;
    for (const char* text : {"2024-02-30", "1900-02-29", "2024-13-01", "2024-00-01", "2024-01-00",
                             "0000-01-01", "2024-2-03", "2024-02-3x", "2024-02-3 ", "+024-02-03",
                             "2024/02/03", "2024-02-033", "20240203", "", "２024-02-3"})
        EXPECT_FALSE(isCalendarDay(text)) << text;
    EXPECT_FALSE(isCalendarDay(std::string_view("2024-02-3\0", 10)));
}

TEST(TokenActivity, writesCountsShort) {
    const struct {
        std::optional<std::int64_t> count;
        const char* expected;
    } rows[] = {
        {{}, "—"},
        {0, "0"},
        {999, "999"},
        {1000, "1.0K"},
        {1050, "1.1K"},       // 1.05 as a double lies above the half
        {1250, "1.2K"},       // an exact half goes to the even digit
        {999'950, "1000.0K"}, // the unit is chosen before rounding
        {1'000'000, "1.0M"},
        {123'456'789, "123.5M"},
        {2'500'000'000, "2.5B"},
        {std::numeric_limits<std::int64_t>::max(), "9223372036.9B"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(compactTokenCount(row.count), row.expected);
}

} // namespace
} // namespace tallywick
