#include "codex/ConnectionIssue.h"

#include "codex/AccountTransport.h"

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>

namespace tallywick {
namespace {

using enum ConnectionIssue;

TEST(ConnectionIssue, IsFoundForWhateverWasThrown) {
    const auto issueOf = [](auto thrown) { return classify(std::make_exception_ptr(thrown)); };
    EXPECT_EQ(issueOf(externalSession), externalSession);
    EXPECT_EQ(issueOf(std::runtime_error("timeout 403")), stopped);
    EXPECT_EQ(issueOf(7), stopped);

    const auto error = BridgeFailure::rpcError;
    const std::optional<std::int64_t> noCode;
    const std::pair<BridgeFailure, ConnectionIssue> failures[] = {
        {BridgeFailure::protocolError("403 token expired"), invalidResponse},
        {BridgeFailure::invalidExecutable(), missingHelper},
        {BridgeFailure::closed(), stopped},
        {BridgeFailure::timeout(), timeout},
        {BridgeFailure::oversizedResponse(), invalidResponse},
        {error(429, "403"), forbidden},
        {error(noCode, "1429, 4290"), invalidResponse},
        {error(noCode, "4290 then 429"), throttled},
        {error(-32601, "429"), throttled},
        {error(-32601, "401 token expired"), incompatible},
        {error(401, "network"), authentication},
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
    EXPECT_TRUE(policy.claim(0));
    EXPECT_FALSE(policy.claim(299));
    EXPECT_TRUE(policy.claim(300));
    EXPECT_FALSE(policy.claim(290)) << "a clock set right by seconds opens no gate";
    EXPECT_TRUE(policy.claim(-3600)) << "a clock set back by hours must not close it for hours";

    const double delays[] = {15, 15, 30, 60, 120, 240, 300, 300};
    for (std::int64_t failures = 0; failures < 8; ++failures)
        EXPECT_EQ(retryDelay(failures), delays[failures]) << failures;
    EXPECT_EQ(retryDelay(std::numeric_limits<std::int64_t>::max()), 300);
}

TEST(ConnectionDetails, MaskWhereTheHelperLies) {
    const auto masked = [](const char* path) { return maskedLocation(path, "/home/me"); };
    EXPECT_EQ(masked("/Applications/Codex.app/codex"), "/Applications/<Codex app>/…/codex");
    EXPECT_EQ(masked("/home/me/Applications/A.app/codex"), "~/Applications/<Codex app>/…/codex");
    EXPECT_EQ(masked("/opt/homebrew/bin/codex"), "/opt/homebrew/…/codex");
    EXPECT_EQ(masked("/usr/local/bin/codex"), "/usr/local/…/codex");
    for (const char* path : {"/usr/localised/codex", "/home/melanie/Applications/codex"})
        EXPECT_EQ(masked(path), "<user-selected or IDE installation>/…/codex");
    EXPECT_EQ((ConnectionDetails{"1", "2", "3", "4", "5", "6", "7"}.copyText("0.6.0")),
              "Corvane Mac 0.6.0\nCodex: 1\nHelper: 2\nStage: 3\nResult: 4\nAuth mode: 5\n"
              "Recovery: 6\nOptional activity: 7");
}

} // namespace
} // namespace tallywick
