#include "codex/Quota.h"

#include <gtest/gtest.h>

namespace tallywick {
namespace {

const std::string week = R"({"windowDurationMins":10080,"usedPercent":40,"resetsAt":1800000000})";
const Quota forty{40, 1'800'000'000};

/// The week with one of its values replaced.
std::string with(const std::string& value, const std::string& replacement) {
    return std::string(week).replace(week.find(value), value.size(), replacement);
}
std::optional<Quota> quotaOf(const std::string& result) {
    return quotaFromRateLimits(parseJson(result).value());
}

TEST(Quota, IsThatOfTheCodexLimit) {
    const std::string limits = R"({"rateLimitsByLimitId":)";
    const std::string single = R"("rateLimits":{"primary":)" + week;
    const std::string found[] = {
        "{" + single + "}}",
        "{" + single + R"(,"limitId":"codex"}})",
        "{" + single + R"(,"limitId":7}})",
        limits + "null," + single + "}}",
        limits + R"({"a":{},"codex":{"limitId":"x","secondary":)" + week + "}}}",
    };
    for (const std::string& result : found)
        EXPECT_EQ(quotaOf(result), forty) << result;
    const std::string none[] = {
        "{}",
        "[]",
        "{" + single + R"(,"limitId":"other"}})",
        limits + "{}," + single + "}}", // a map hides the single limit, whatever is in it
        limits + R"({"codex":null},)" + single + "}}",
    };
    for (const std::string& result : none)
        EXPECT_EQ(quotaOf(result), std::nullopt) << result;
}

TEST(Quota, IsTheFirstValidSevenDayWindow) {
    const auto first = [](const std::string& primary) {
        return quotaOf(R"({"rateLimits":{"primary":)" + primary + R"(,"secondary":)" + week + "}}");
    };
    EXPECT_EQ(first(with("40", "0")), (Quota{0, 1.8e9}));
    EXPECT_EQ(first(with("40", "100")), (Quota{100, 1.8e9}));
    EXPECT_EQ(first(with("1800000000", "946684800")), (Quota{40, 946'684'800}));
    EXPECT_EQ(first(with("1800000000", "32503680000")), (Quota{40, 32'503'680'000}));
    for (const char* used : {"101", "-1", "41.0", "\"41\"", "true", "null"})
        EXPECT_EQ(first(with("40", used)), forty) << used;
    for (const char* reset : {"946684799", "32503680001", "1.7e9", "18446744073709551616"})
        EXPECT_EQ(first(with("1800000000", reset)), forty) << reset;
    EXPECT_EQ(first(with("10080,\"usedPercent\":40", "300,\"usedPercent\":9")), forty);
    EXPECT_EQ(first("null"), forty);
}

TEST(Quota, CountsDownDaysHoursAndMinutes) {
    const auto countdown = [](double seconds) { return resetCountdown(1e9 + seconds, 1e9); };
    EXPECT_EQ(countdown(-7200), "0m");
    EXPECT_EQ(countdown(3599.9), "59m");
    EXPECT_EQ(countdown(3600), "1h  0m");
    EXPECT_EQ(countdown(86'399), "23h  59m");
    EXPECT_EQ(countdown(86'400), "1d  0h  0m");
}

} // namespace
} // namespace tallywick
