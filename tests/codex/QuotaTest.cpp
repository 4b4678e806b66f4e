#include "codex/Quota.h"

#include <gtest/gtest.h>

namespace tallywick {
namespace {

/// A window whose members are JSON texts; an empty text leaves the member out.
std::string window(const std::string& used, const std::string& resetsAt = "1800000000",
                   const std::string& minutes = "10080") {
    return R"({"windowDurationMins":)" + minutes + R"(,"usedPercent":)" + used + R"(,"resetsAt":)"
           + resetsAt + "}";
}

std::string single(const std::string& members) { return R"({"rateLimits":{)" + members + "}}"; }

std::string primary(const std::string& text) { return single(R"("primary":)" + text); }

std::string both(const std::string& first, const std::string& second) {
    return single(R"("primary":)" + first + R"(,"secondary":)" + second);
}

TEST(Quota, isTheFirstValidSevenDayWindowOfTheCodexLimit) {
    const std::optional<Quota> none;
    const Quota forty{40, 1'800'000'000};
    const std::string week = window("40");
    const struct {
        const char* name;
        std::string result;
        std::optional<Quota> expected;
    } rows[] = {
        {"an empty result", "{}", none},
        {"a result that is no object", "[]", none},
        {"an unnamed single limit", primary(week), forty},
        {"a single limit named codex", single(R"("limitId":"codex","primary":)" + week), forty},
        {"a single limit whose id is no string", single(R"("limitId":7,"primary":)" + week), forty},
        {"a single limit of another name", single(R"("limitId":"other","primary":)" + week), none},
        {"the codex limit among several",
         R"({"rateLimitsByLimitId":{"a":{"primary":)" + window("1") + R"(},"codex":{"limitId":"x",)"
             + R"("secondary":)" + week + "}}}",
         forty},
        {"a map without codex hides the single limit",
         R"({"rateLimitsByLimitId":{},"rateLimits":{"primary":)" + week + "}}", none},
        {"a map whose codex is null hides the single limit",
         R"({"rateLimitsByLimitId":{"codex":null},"rateLimits":{"primary":)" + week + "}}", none},
        {"a map that is null does not",
         R"({"rateLimitsByLimitId":null,"rateLimits":{"primary":)" + week + "}}", forty},
        {"the primary window wins", both(week, window("41")), forty},
        {"a five-hour window is passed over", both(window("9", "1800000000", "300"), week), forty},
        {"a null window is passed over", both("null", week), forty},
        {"more than all used is passed over", both(window("101"), week), forty},
        {"less than nothing used is passed over", both(window("-1"), week), forty},
        {"a fraction is not rounded", both(window("42.0"), week), forty},
        {"a string is not a number", both(window("\"42\""), week), forty},
        {"a boolean is not a number", both(window("true"), week), forty},
        {"an unknown percentage is not zero", both(window("null"), week), forty},
        {"nothing used", primary(window("0")), Quota{0, 1'800'000'000}},
        {"all used", primary(window("100")), Quota{100, 1'800'000'000}},
        {"a reset before 2000", primary(window("1", "946684799")), none},
        {"a reset as 2000 begins", primary(window("1", "946684800")), Quota{1, 946'684'800}},
        {"a reset as 3000 begins", primary(window("1", "32503680000")), Quota{1, 32'503'680'000}},
        {"a reset after that", primary(window("1", "32503680001")), none},
        {"a reset with an exponent", primary(window("1", "1.7e9")), none},
        {"a reset beyond 64 bits", primary(window("1", "18446744073709551616")), none},
    };
    for (const auto& row : rows) {
        const auto result = parseJson(row.result);
        ASSERT_TRUE(result) << row.name;
        EXPECT_EQ(quotaFromRateLimits(*result), row.expected) << row.name;
    }
}

TEST(Quota, countdownShowsDaysHoursAndMinutes) {
    const struct {
        double reset;
        const char* expected;
    } rows[] = {
        {59, "0m"},           {3599.9, "59m"},          {3600, "1h  0m"},
        {86'399, "23h  59m"}, {90'061, "1d  1h  1m"},   {86'400, "1d  0h  0m"},
        {-7200, "0m"},        {191'580, "2d  5h  13m"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(resetCountdown(1e9 + row.reset, 1e9), row.expected) << row.reset;
}

} // namespace
} // namespace tallywick
