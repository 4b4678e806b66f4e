#include "codex/ConnectionIssue.h"

#include "codex/BridgeFailure.h"
#include "codex/ConnectionDetails.h"
#include "codex/RecoveryPolicy.h"
#include "codex/SignInLink.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace tallywick {
namespace {

using enum ConnectionIssue;

TEST(ConnectionIssue, saysWhatTheUserReads) {
    const char* const texts[] = {
        "missingHelper: Codex not found. Install Codex or choose its app in Settings.",
        "incompatible: This Codex helper is incompatible. Update Codex or choose another "
        "installation.",
        "signedOut: No saved Codex sign-in. Sign in through Codex or use Sign in in Browser.",
        "authentication: Codex sign-in needs attention. Retry Connection or sign in through Codex.",
        "externalSession: This session is managed by another Codex client. Refresh it there, then "
        "Retry Connection.",
        "unsupportedAccount: This account/provider does not report a ChatGPT weekly allowance.",
        "forbidden: Codex denied permission (403). Check your account or organization access.",
        "throttled: Codex is temporarily rate-limiting requests (429). Retrying with backoff.",
        "offline: Cannot reach Codex usage service. Check your connection; retrying shortly.",
        "timeout: Codex took too long to respond. Retrying shortly.",
        "stopped: Codex helper stopped. Retrying shortly.",
        "invalidResponse: Codex returned an unsupported response. Update Codex or Retry "
        "Connection."};
    int next = 0;
    for (const char* text : texts) {
        const auto issue = static_cast<ConnectionIssue>(next++);
        EXPECT_EQ(std::string(rawValue(issue)) + ": " + std::string(sentence(issue)), text);
    }
}

TEST(ConnectionIssue, isFoundForWhateverWasThrown) {
    const auto issueOf = [](auto thrown) { return classify(std::make_exception_ptr(thrown)); };
    EXPECT_EQ(issueOf(externalSession), externalSession);
    EXPECT_EQ(issueOf(BridgeFailure::protocolError("403 token expired")), invalidResponse);
    EXPECT_EQ(issueOf(BridgeFailure::invalidExecutable()), missingHelper);
    EXPECT_EQ(issueOf(BridgeFailure::closed()), stopped);
    EXPECT_EQ(issueOf(BridgeFailure::timeout()), timeout);
    EXPECT_EQ(issueOf(BridgeFailure::oversizedResponse()), invalidResponse);
    EXPECT_EQ(issueOf(std::runtime_error("timeout 403")), stopped);
    EXPECT_EQ(issueOf(7), stopped);

    const std::optional<std::int64_t> noCode;
    const struct {
        std::optional<std::int64_t> code;
        const char* message;
        ConnectionIssue expected;
    } responses[] = {{403, "", forbidden},
                     {noCode, "403", forbidden},
                     {429, "403", forbidden},
                     {noCode, "status 429 received", throttled},
                     {noCode, "(429)", throttled},
                     {noCode, "é429é", throttled},
                     {noCode, "4290", invalidResponse},
                     {noCode, "1429", invalidResponse},
                     {noCode, "4290 then 429", throttled},
                     {-32601, "", incompatible},
                     {-32601, "429", throttled},
                     {-32601, "401 token expired", incompatible},
                     {401, "network", authentication},
                     {noCode, "HTTP 401", authentication},
                     {-32600, "Token EXPIRED", authentication},
                     {noCode, "no refresh token", authentication},
                     {noCode, "Not authenticated: cannot connect", authentication},
                     {noCode, "NETWORK down", offline},
                     {noCode, "failed to Connect", offline},
                     {noCode, "DNS lookup", offline},
                     {-32603, "internal error", invalidResponse},
                     {noCode, "", invalidResponse}};
    for (const auto& row : responses)
        EXPECT_EQ(issueOf(BridgeFailure::rpcError(row.code, row.message)), row.expected)
            << row.code.value_or(0) << " " << row.message;
}

TEST(RecoveryPolicy, allowsOneAttemptInFiveMinutes) {
    RecoveryPolicy policy;
    EXPECT_TRUE(policy.claim(0));
    EXPECT_FALSE(policy.claim(299));
    EXPECT_TRUE(policy.claim(300));
    EXPECT_FALSE(policy.claim(599.9));
    EXPECT_FALSE(policy.claim(290)) << "a clock set right by seconds opens no gate";
    EXPECT_TRUE(policy.claim(-3600)) << "a clock set back by hours must not close it for hours";
    EXPECT_FALSE(policy.claim(-3301));
}

TEST(RecoveryPolicy, delaysRetriesLongerAndLonger) {
    const double delays[] = {15, 15, 30, 60, 120, 240, 300, 300};
    for (std::int64_t failures = 0; failures < 8; ++failures)
        EXPECT_EQ(retryDelay(failures), delays[failures]) << failures;
    EXPECT_EQ(retryDelay(std::numeric_limits<std::int64_t>::max()), 300);
}

TEST(SignInLink, isOpenedOnTheProvidersHostsOnly) {
    const std::string longest = "https://chatgpt.com/" + std::string(8172, 'a');
    ASSERT_EQ(longest.size(), maximumSignInLinkBytes);
    for (const std::string& link :
         {std::string("https://auth.openai.com/oauth/authorize?redirect_uri=http%3A%2F%2Flocalhost"
                      "%3A1455%2Fauth&scope=openid+email&state=a-b_c.d~e@:"),
          std::string("https://chatgpt.com"), std::string("https://Auth.OpenAI.com?a=b"), longest})
        EXPECT_EQ(signInLink(link), link);

    const std::string refused[] = {"",
                                   longest + "a",
                                   "http://auth.openai.com/",
                                   "HTTPS://auth.openai.com/",
                                   " https://auth.openai.com/",
                                   "https:auth.openai.com/",
                                   "https:///auth.openai.com/",
                                   "https://",
                                   "https://openai.com/",
                                   "https://www.chatgpt.com/",
                                   "https://auth.openai.com.evil.example/",
                                   "https://auth.openai.com./",
                                   "https://evil.example/https://auth.openai.com/",
                                   "https://evil.example?auth.openai.com",
                                   "https://auth.openai.com:443/",
                                   "https://auth.openai.com:/",
                                   "https://me@auth.openai.com/",
                                   "https://@auth.openai.com/",
                                   "https://:@auth.openai.com/",
                                   "https://auth.openai.com/#part",
                                   "https://auth.openai.com/#",
                                   "https://evil.example\\@auth.openai.com/",
                                   "https://auth.openai.com\\.evil.example/",
                                   "https://auth.openai.com/a b",
                                   "https://auth.openai.com/\n",
                                   "https://auth.openai.com/" + std::string(1, '\0'),
                                   "https://auth%2Eopenai.com/",
                                   "https://auth。openai.com/",
                                   "https://ａuth.openai.com/",
                                   "https://auth.openai.com/é",
                                   "https://auth.openai.com/%zz",
                                   "https://auth.openai.com/<x>"};
    for (const std::string& text : refused)
        EXPECT_EQ(signInLink(text), std::nullopt) << text;
}

TEST(ConnectionDetails, masksWhereTheHelperLies) {
    const char* const elsewhere = "<user-selected or IDE installation>/…/codex";
    const struct {
        const char* path;
        const char* expected;
    } rows[] = {
        {"/Applications/Codex.app/codex", "/Applications/<Codex app>/…/codex"},
        {"/home/me/Applications/Codex.app/codex", "~/Applications/<Codex app>/…/codex"},
        {"/opt/homebrew/bin/codex", "/opt/homebrew/…/codex"},
        {"/usr/local/bin/codex", "/usr/local/…/codex"},
        {"/usr/localised/codex", elsewhere},
        {"/home/me/.vscode/extensions/codex", elsewhere},
        {"/home/melanie/Applications/codex", elsewhere},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(maskedLocation(row.path, "/home/me"), row.expected) << row.path;
        EXPECT_EQ(maskedLocation(row.path, "/home/me/"), row.expected) << row.path;
    }
}

TEST(ConnectionDetails, areCopiedAsEightLines) {
    EXPECT_EQ(ConnectionDetails().copyText(std::nullopt),
              "Corvane Mac test\nCodex: not yet identified\nHelper: not found\nStage: discovery\n"
              "Result: connecting\nAuth mode: not reported\nRecovery: not needed\n"
              "Optional activity: not yet requested");
    EXPECT_EQ((ConnectionDetails{"1", "2", "3", "4", "5", "6", "7"}.copyText("0.6.0")),
              "Corvane Mac 0.6.0\nCodex: 1\nHelper: 2\nStage: 3\nResult: 4\nAuth mode: 5\n"
              "Recovery: 6\nOptional activity: 7");
}

} // namespace
} // namespace tallywick
