// What is said to a helper, what it answers, and what is made of it.

#include "codex/AccountAnswers.h"
#include "codex/ConnectionIssue.h"
#include "codex/HelperProtocol.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <stdexcept>

namespace tallywick {
namespace {

using enum ConnectionIssue;
using namespace std::string_literals;

Json json(const std::string& text) { return parseJson(text).value(); }

const std::string longestId(128, 'l'); // of a sign-in

TEST(HelperProtocol, AllowsSixRequestsAndNoOthers) {
    const auto isAllowed = [](const std::string& method, const Json& params = Json::object()) {
        try {
            requireAllowed(method, params);
            return true;
        } catch (const BridgeFailure&) {
            return false;
        }
    };
    for (const char* method :
         {"initialize", "account/read", "account/rateLimits/read", "account/usage/read"})
        EXPECT_TRUE(isAllowed(method)) << method;
    EXPECT_FALSE(isAllowed("account/logout"));
    const struct {
        const char* method;
        Json params;
        bool allowed;
    } rows[] = {
        {"account/login/start", {{"type", "chatgpt"}}, true},
        {"account/login/start", {{"type", "apikey"}}, false},
        {"account/login/start", {{"type", "chatgpt"}, {"more", 1}}, false},
        {"account/login/cancel", {{"loginId", longestId}}, true},
        {"account/login/cancel", {{"loginId", ""}}, false},
        {"account/login/cancel", {{"loginId", "l"}, {"more", 1}}, false},
    };
    for (const auto& [method, params, allowed] : rows)
        EXPECT_EQ(isAllowed(method, params), allowed) << params;
}

TEST(HelperProtocol, ReadsAnswers) {
    const std::pair<std::string, std::string> rows[] = {
        {R"({"error":"x","result":{"a":1}})", R"({"a":1})"},
        {R"({"result":[]})", "Codex response error: missing result"},
        {R"({"error":{"message":"x"},"result":{}})", "Codex error: x"},
        {R"({"error":{"code":429.0,"message":1}})", "Codex error: Request failed"},
        {R"({"error":{"message":"é)" + std::string(1000, 'm') + "\"}}",
         "Codex error: é" + std::string(399, 'm')},
    };
    for (const auto& [response, expected] : rows) {
        const HelperAnswer answer = answerIn(json(response));
        EXPECT_EQ(answer ? writeJson(*answer) : answer.error().description(), expected);
    }
    const std::pair<Json, std::string> versions[] = {
        {"1.2 0.169. 1..2.3 codex/4.55.6-b", "4.55.6"},
        {"1.2." + std::string(40, '3'), "1.2." + std::string(28, '3')},
        {"codex/1.2", "none"},
        {1.5, "none"},
    };
    for (const auto& [userAgent, version] : versions)
        EXPECT_EQ(helperVersion({{"userAgent", userAgent}}).value_or("none"), version);
}

TEST(HelperProtocol, ReadsWhatTheHelperAnnounces) {
    const std::string ofAccount = "account/updated";
    const std::string ofLogin = "account/login/completed";
    const struct {
        std::string method;
        std::string params;
        std::optional<BridgeEvent> event = {};
    } rows[] = {
        {ofAccount, R"({"authMode":"apikey"})", AccountChanged{"apikey"}},
        {ofAccount, R"({"authMode":"other"})", AccountChanged{}},
        {ofAccount, "[]", AccountChanged{}},
        {ofLogin, R"({"loginId":"L","success":true})", LoginCompleted{"L", true}},
        {ofLogin, R"({"loginId":"L","success":1})", LoginCompleted{"L", false}},
        {ofLogin, R"({"loginId":"l)" + longestId + "\"}"},
        {ofLogin, "null"},
        {"account/chatgptAuthTokens/refresh", "{}"}, // no request
    };
    for (const auto& row : rows)
        EXPECT_EQ(announcementIn(row.method, {{"params", json(row.params)}}), row.event)
            << row.params;
}

TEST(Quota, IsTheFirstSevenDayWindowOfTheCodexLimit) {
    const std::optional<Quota> forty = Quota{40, 1'800'000'000};
    const std::string week =
        R"({"windowDurationMins":10080,"usedPercent":40,"resetsAt":1800000000})";
    const std::string single = R"("rateLimits":{"primary":)" + week;
    const std::string limits = R"({"rateLimitsByLimitId":)";
    // With a value of the first window replaced.
    const auto with = [&](const std::string& value, const std::string& replacement) {
        std::string result = "{" + single + R"(,"secondary":)" + week + "}}";
        return result.replace(result.find(value), value.size(), replacement);
    };
    const std::pair<std::string, std::optional<Quota>> rows[] = {
        {"{" + single + "}}", forty},
        {"{" + single + R"(,"limitId":"codex"}})", forty},
        {"{" + single + R"(,"limitId":"other"}})", {}},
        {limits + "null," + single + "}}", forty},
        {limits + R"({"codex":null},)" + single + "}}", {}}, // a map hides the single limit
        {limits + R"({"a":{},"codex":{"limitId":"x","secondary":)" + week + "}}}", forty},
        {"{}", {}},
        {with("40", "0"), Quota{0, 1.8e9}},
        {with("40", "100"), Quota{100, 1.8e9}},
        {with("40", "101"), forty},
        {with("40", "-1"), forty},
        {with("40", "41.0"), forty},
        {with("1800000000", "946684800"), Quota{40, 946'684'800}},
        {with("1800000000", "946684799"), forty},
        {with("10080,\"usedPercent\":40", "300,\"usedPercent\":9"),
         Quota{40, 1.8e9, ShorterWindow{300, 9, 1.8e9}}},
        {with("10080", "0"), forty},
        {with("10080", "10081"), forty},
    };
    for (const auto& [result, quota] : rows)
        EXPECT_EQ(quotaFromRateLimits(json(result)), quota) << result;

    for (const auto& [seconds, countdown] :
         {std::pair(-7200.0, "0m"), {3599.9, "59m"}, {86'399, "23h  59m"}, {86'400, "1d  0h  0m"}})
        EXPECT_EQ(resetCountdown(1e9 + seconds, 1e9), countdown);
}

TEST(TokenActivity, TakesTheLifetimeAndTheLatestDay) {
    const std::pair<const char*, TokenActivity> rows[] = {
        {"null", {}},
        {R"({"summary":{"lifetimeTokens":0}})", {0, {}, {}}},
        {R"({"summary":{"lifetimeTokens":-1}})", {}},
        // Of the latest day the first entry, wherever it stands.
        {R"({"dailyUsageBuckets":[{"startDate":"2025-01-03","tokens":5},
             {"startDate":"2025-01-02","tokens":9},{"startDate":"2025-01-03","tokens":7}]})",
         {{}, "2025-01-03", 5}},
        // Days that cannot be and counts below zero are skipped.
        {R"({"dailyUsageBuckets":[{"startDate":"2025-01-02","tokens":0},{},
             {"startDate":"2025-02-29","tokens":1},{"startDate":"2025-01-04","tokens":-1}]})",
         {{}, "2025-01-02", 0}},
        // An entry that is no object voids the list and nothing else.
        {R"({"summary":{"lifetimeTokens":9},
             "dailyUsageBuckets":[{"startDate":"2025-01-02","tokens":1},7]})",
         {9, {}, {}}},
    };
    for (const auto& [result, activity] : rows)
        EXPECT_EQ(tokenActivityFromUsage(json(result)), activity) << result;

    const auto isTaken = [](const char* day) {
        const Json bucket{{"startDate", day}, {"tokens", 1}};
        return tokenActivityFromUsage({{"dailyUsageBuckets", {bucket}}}).latestDay.has_value();
    };
    EXPECT_TRUE(isTaken("2024-02-29"));
    for (const char* text : {"1900-02-29", "0000-01-01", "2024-2-03", "2024-02-3x", "2024/02-03",
                             "2024-02/03", "2024-02-033"})
        EXPECT_FALSE(isTaken(text)) << text;
}

TEST(SignInStart, IsTrustedWholeAndOnTheProvidersHostsOnly) {
    const auto opened = [](const std::string& link, const std::string& id = "L") {
        const auto start = signInStart({{"loginId", id}, {"authUrl", link}});
        return start && start->id == id ? start->link : "none";
    };
    const std::string auth = "https://auth.openai.com/";
    const std::string longest = auth + std::string(8192 - auth.size(), 'a');
    const std::string usual = auth + "a?redirect_uri=http%3A%2F%2Flocalhost%3A1&s=b_c.d~e@:";
    for (const std::string& link : {usual, "https://chatgpt.com"s, "https://Auth.OpenAI.com?a=b"s})
        EXPECT_EQ(opened(link), link);
    EXPECT_EQ(opened(longest, longestId), longest);

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
        EXPECT_EQ(opened(link), "none");
    for (const std::string& link : {longest + "a", " " + auth, auth + "\n", auth + '\0'})
        EXPECT_EQ(opened(link), "none") << link;
    for (const std::string& id : {""s, longestId + "l"})
        EXPECT_EQ(opened(auth, id), "none") << id;
    EXPECT_FALSE(signInStart({{"loginId", "L"}}) || signInStart({{"authUrl", auth}}));
}

TEST(SignedInAccount, IsOneWithAWeeklyAllowance) {
    const std::pair<const char*, ConnectionIssue> rows[] = {
        {R"({"account":{"type":["chatgpt"]}})", unsupportedAccount},
        {R"({"account":{"type":"apikey"}})", unsupportedAccount},
        {R"({"account":null,"requiresOpenaiAuth":false})", unsupportedAccount},
        {R"({"account":"chatgpt","requiresOpenaiAuth":0})", signedOut},
    };
    for (const auto& [result, issue] : rows)
        try {
            signedInAccount(json(result));
            ADD_FAILURE() << result;
        } catch (ConnectionIssue thrown) {
            EXPECT_EQ(thrown, issue) << result;
        }
}

TEST(AccountIdentity, IsTheAccountsIdOrItsAddress) {
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {R"({"email":"me@x"})", R"({"accountId":"A"})", "A"},
        {R"({"email":"ME@Ä"})", R"({"accountId":"","workspaceId":""})", "me@ä"},
        {R"({"email":"m"})", R"({"accountId":1,"workspaceId":"w"})", "m|workspace:w"},
        {R"({"email":""})", R"({"workspaceId":"w"})", "nobody"},
    };
    for (const auto& [account, allowance, identity] : rows)
        EXPECT_EQ(accountIdentity(json(account), json(allowance)).value_or("nobody"), identity);
    // By this the readings in every history are found again.
    EXPECT_EQ(accountHash("A1|workspace:W9"),
              "b4a6cae284a62278a92f47c96d6101281f426d801b7bcdbc729e15323219e5a8");
}

TEST(ConnectionIssue, IsFoundForWhateverWasThrown) {
    const auto issueOf = [](auto thrown) { return classify(std::make_exception_ptr(thrown)); };
    EXPECT_EQ(issueOf(externalSession), externalSession);
    EXPECT_EQ(issueOf(std::runtime_error("timeout 403")), stopped);

    const auto error = BridgeFailure::rpcError;
    const std::optional<std::int64_t> noCode;
    const std::pair<BridgeFailure, ConnectionIssue> failures[] = {
        {BridgeFailure::protocolError("403 token expired"), invalidResponse},
        {BridgeFailure::invalidExecutable(), missingHelper},
        {error(429, "403"), forbidden},
        {error(noCode, "1429, 4290"), invalidResponse},
        {error(-32601, "401 token expired"), incompatible},
        {error(-32600, "Token EXPIRED"), authentication},
        {error(noCode, "no refresh token"), authentication},
        {error(noCode, "Not authenticated: cannot connect"), authentication},
        {error(noCode, "NETWORK down"), offline},
        {error(noCode, "DNS lookup"), offline},
        // What helpers really say. A number in an address is no answer of the service.
        {error(-32603, "workspace routing discovery timed out"), offline},
        {error(-32603, "Error sending request for url (https://x.example/401/403)"), offline},
        {error(noCode, "refresh token: request could not be sent (429)"), offline},
        {error(noCode, "connection to 192.0.2.401 timed out"), offline},
        {error(403, "error sending request"), forbidden},
        {error(noCode, "the reading timed out: 401"), authentication},
    };
    for (const auto& [failure, issue] : failures)
        EXPECT_EQ(issueOf(failure), issue) << failure.description();

    std::set<std::string_view> texts;
    for (int i = 0; i < 12; ++i)
        for (const auto text : {rawValue(ConnectionIssue{i}), sentence(ConnectionIssue{i})})
            EXPECT_TRUE(!text.empty() && texts.insert(text).second) << "no text of its own: " << i;
}

TEST(RecoveryPolicy, SparesAServiceThatFails) {
    RecoveryPolicy policy;
    for (const auto& [time, isFree] : {std::pair(0, true), {299, false}, {300, true}, {290, false}})
        EXPECT_EQ(policy.claim(time), isFree) << time;
    EXPECT_TRUE(policy.claim(-3600)) << "a clock set back by hours must not close it for hours";
}

TEST(ConnectionDetails, MaskWhereTheHelperLies) {
    const std::string elsewhere = "<user-selected or IDE installation>/";
    const std::pair<const char*, std::string> rows[] = {
        {"/Applications/Codex.app/codex", "/Applications/<Codex app>/"},
        {"/home/me/Applications/A.app/codex", "~/Applications/<Codex app>/"},
        {"/opt/homebrew/bin/codex", "/opt/homebrew/"},
        {"/usr/local/bin/codex", "/usr/local/"},
        {"/usr/localised/codex", elsewhere},
        {"/home/melanie/Applications/codex", elsewhere},
    };
    for (const auto& [path, masked] : rows)
        EXPECT_EQ(maskedLocation(path, "/home/me"), masked + "…/codex");
    EXPECT_EQ((ConnectionDetails{"1", "2", "3", "4", "5", "6", "7"}.copyText("0.6.0")),
              "Corvane Mac 0.6.0\nCodex: 1\nHelper: 2\nStage: 3\nResult: 4\nAuth mode: 5\n"
              "Recovery: 6\nOptional activity: 7");
}

} // namespace
} // namespace tallywick
