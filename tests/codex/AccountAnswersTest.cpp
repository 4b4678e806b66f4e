#include "codex/AccountAnswers.h"

#include "codex/ConnectionIssue.h"

#include <gtest/gtest.h>

#include <sstream>

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
    const auto isTaken = [](const std::string& day) {
        const Json bucket{{"startDate", day}, {"tokens", 1}};
        return tokenActivityFromUsage({{"dailyUsageBuckets", Json::array({bucket})}}).latestDay
               == day;
    };
    for (const char* day : {"2024-02-29", "2000-02-29", "0001-01-01", "9999-12-31"})
        EXPECT_TRUE(isTaken(day)) << day;
    for (const char* text :
         {"2024-02-30", "1900-02-29", "2024-13-01", "2024-00-01", "2024-01-00", "0000-01-01",
          "2024-2-03", "2024-02-3x", "+024-02-03", "2024/02/03", "2024-02-033", "", "２024-02-3"})
        EXPECT_FALSE(isTaken(text)) << text;
}

TEST(SignInLink, IsOpenedOnTheProvidersHostsOnly) {
    const std::string auth = "https://auth.openai.com/";
    const std::string longest = auth + std::string(8192 - auth.size(), 'a');
    for (const std::string& link :
         {auth
              + "a?redirect_uri=http%3A%2F%2Flocalhost%3A1455%2Fauth&scope=openid+email&s=b_c.d~e@"
                ":",
          std::string("https://chatgpt.com"), std::string("https://Auth.OpenAI.com?a=b"), longest})
        EXPECT_EQ(signInLink(link), link);

    std::istringstream refused(R"(
        http://auth.openai.com/ HTTPS://auth.openai.com/ https:auth.openai.com/ https://
        https:///auth.openai.com/ https://openai.com/ https://www.chatgpt.com/
        https://auth.openai.com.evil.example/ https://auth.openai.com./ https://me@auth.openai.com/
        https://evil.example?auth.openai.com https://evil.example/https://auth.openai.com/
        https://auth.openai.com:443/ https://auth.openai.com:/ https://@auth.openai.com/
        https://auth.openai.com/# https://evil.example\@auth.openai.com/ https://auth%2Eopenai.com/
        https://auth。openai.com/ https://auth.openai.com/é https://auth.openai.com/%zz
        https://auth.openai.com/<x>)");
    for (std::string link; refused >> link;)
        EXPECT_EQ(signInLink(link), std::nullopt) << link;
    for (const std::string& link : {std::string(), longest + "a", " " + auth, auth + "a b",
                                    auth + "\n", auth + std::string(1, '\0')})
        EXPECT_EQ(signInLink(link), std::nullopt) << link;
}

TEST(SignInStart, IsTrustedWhole) {
    const auto link = [](const Json& result) {
        const auto start = signInStart(result);
        return start ? start->id + " " + start->link : "none";
    };
    const std::string url = "https://auth.openai.com/x";
    const std::string longest(128, 'x');
    EXPECT_EQ(link({{"loginId", longest}, {"authUrl", url}}), longest + " " + url);
    for (const Json& untrusted :
         {Json{{"loginId", "L"}}, Json{{"loginId", "L"}, {"authUrl", "https://evil.example/"}},
          Json{{"authUrl", url}}, Json{{"loginId", ""}, {"authUrl", url}},
          Json{{"loginId", longest + "x"}, {"authUrl", url}}})
        EXPECT_EQ(link(untrusted), "none") << untrusted;
}

TEST(SignedInAccount, IsOneWithAWeeklyAllowance) {
    const std::pair<const char*, ConnectionIssue> refused[] = {
        {R"({"account":{"type":"apikey"}})", ConnectionIssue::unsupportedAccount},
        {R"({"account":{"type":["chatgpt"]},"requiresOpenaiAuth":true})",
         ConnectionIssue::unsupportedAccount},
        {R"({"account":null,"requiresOpenaiAuth":false})", ConnectionIssue::unsupportedAccount},
        {R"({"account":"chatgpt","requiresOpenaiAuth":0})", ConnectionIssue::signedOut},
    };
    for (const auto& [result, issue] : refused)
        try {
            signedInAccount(parseJson(result).value());
            ADD_FAILURE() << result;
        } catch (ConnectionIssue thrown) {
            EXPECT_EQ(thrown, issue) << result;
        }
}

TEST(AccountIdentity, IsTheAccountsIdOrItsAddress) {
    const auto identity = [](const char* whose, const char* reading) {
        return accountIdentity(parseJson(whose).value(), parseJson(reading).value())
            .value_or("nobody");
    };
    EXPECT_EQ(identity(R"({"email":"me@x"})", R"({"accountId":"A"})"), "A");
    EXPECT_EQ(identity(R"({"email":"ME@Ä"})", R"({"accountId":"","workspaceId":""})"), "me@ä");
    EXPECT_EQ(identity(R"({"email":"m"})", R"({"accountId":1,"workspaceId":"w"})"),
              "m|workspace:w");
    EXPECT_EQ(identity(R"({"email":""})", R"({"workspaceId":"w"})"), "nobody");
    // By this the readings in every history are found again.
    EXPECT_EQ(accountHash("A1|workspace:W9"),
              "b4a6cae284a62278a92f47c96d6101281f426d801b7bcdbc729e15323219e5a8");
}

} // namespace
} // namespace tallywick
