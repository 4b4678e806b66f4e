#include "StateHarness.h"

#include <gtest/gtest.h>

namespace tallywick::testing {
namespace {

const std::string preparing = "CONNECTING · Preparing your requested browser sign-in…";
const std::string waiting = "CONNECTING · Complete sign-in in your browser (up to 10 minutes).";
const std::string cancelled = "Sign-in cancelled. Your Codex account was not logged out.";
const std::string refused =
    "That helper did not complete initialization. Your previous selection is unchanged.";

/// A state without a reading whose sign-in waits for the user.
struct PendingSignIn : StateHarness {
    PendingSignIn() {
        account = fails(ConnectionIssue::signedOut);
        start();
        takeLines();
        state->startSignIn();
        EXPECT_EQ(fields().status, preparing);
        waitUntil([this] { return fields().status != preparing; });
    }
};

TEST(SignIn, OpensTheBrowserAndReadsTheAccountWhenItIsDone) {
    for (const bool success : {true, false}) {
        PendingSignIn harness;
        EXPECT_EQ(harness.fields().status, waiting);
        EXPECT_EQ(harness.workspace.opened, "https://auth.openai.com/x");
        harness.state->startSignIn(); // there is one
        harness.state->chooseHelper();
        harness.state->reloadConnection();
        harness.powerEvents.handlers.willSleep();
        harness.powerEvents.handlers.didWake();
        harness.pass(300);
        EXPECT_EQ(harness.takeRefreshes(), std::vector<int>()) << "nothing disturbs it";

        harness.account = gives(json(R"({"account":{"type":"chatgpt"}})"));
        harness.helper->emit(LoginCompleted{"L1", success});
        harness.waitUntil([&] { return !harness.fields().loginPending; });
        harness.settle();
        EXPECT_EQ(harness.fields().settingsStatus,
                  success ? "Sign-in completed. Reading usage…"
                          : "Sign-in did not complete. You can retry.");
        EXPECT_EQ(harness.fields().status, "LIVE · Synced 14:05");
    }
}

TEST(SignIn, IsReadOnceMoreWhenTheHelpersReportCrossesTheReading) {
    for (const int crossings : {1, 2}) {
        PendingSignIn harness;
        std::atomic<int> reads = 0;
        harness.account = [&](FakeTransport& helper) {
            if (++reads <= crossings)
                helper.changeAccount();
            return json(R"({"account":{"type":"chatgpt"}})");
        };
        harness.takeLines();
        harness.helper->emit(LoginCompleted{"L1", true});
        harness.waitUntil([&] { return !harness.fields().loginPending; });
        harness.settle();
        EXPECT_EQ(harness.fields().status,
                  crossings == 1 ? "LIVE · Synced 14:00" : sentence(ConnectionIssue::stopped));
        EXPECT_EQ(harness.takeLines().find("stopped") == std::string::npos, crossings == 1);
    }
}

TEST(SignIn, EndsAfterTenMinutes) {
    PendingSignIn harness;
    harness.pass(595);
    EXPECT_EQ(harness.fields().status, waiting);
    harness.pass(5);
    EXPECT_EQ(harness.fields().status, cancelled);
    EXPECT_EQ(harness.fields().settingsStatus, "Browser sign-in timed out. You can try again.");
    harness.pass(20);
    EXPECT_EQ(harness.takeRefreshes(), std::vector<int>{615});
}

TEST(SignIn, EndsWhenItCannotGoOn) {
    const struct {
        const char* description;
        std::function<void(StateHarness&)> prepare;
        std::string status, settingsStatus;
    } cases[] = {
        {"the browser does not open", [](auto& harness) { harness.workspace.browserWorks = false; },
         cancelled, "The browser could not open. Sign in through Codex, then retry."},
        {"the helper refuses",
         [](auto& harness) { harness.login = fails(ConnectionIssue::offline); },
         std::string(sentence(ConnectionIssue::offline)), ""},
        {"there is no helper",
         [](auto& harness) {
             harness.candidates.clear();
             harness.state->reloadConnection();
         },
         std::string(sentence(ConnectionIssue::missingHelper)), ""},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.description);
        StateHarness harness;
        harness.start();
        row.prepare(harness);
        harness.state->startSignIn();
        harness.waitUntil([&] { return !harness.fields().loginPending; });
        EXPECT_EQ(harness.fields().status, row.status);
        EXPECT_EQ(harness.fields().settingsStatus, row.settingsStatus);
    }
}

TEST(SignIn, CancellingSilencesTheHelper) {
    PendingSignIn harness;
    harness.helper->emit(LoginCompleted{"L1", true}); // too late
    harness.state->cancelSignIn();
    harness.settle();
    EXPECT_EQ(harness.fields().status, cancelled);
    EXPECT_EQ(harness.fields().settingsStatus, "");
    harness.state->cancelSignIn(); // there is none
    harness.pass(15);
    EXPECT_EQ(harness.fields().status, sentence(ConnectionIssue::signedOut));
    harness.state->cancelSignIn();
    EXPECT_EQ(harness.fields().status, sentence(ConnectionIssue::signedOut));
}

TEST(SignIn, AnotherIdentityClearsTheReadingAndNothingElse) {
    StateHarness harness;
    harness.start();
    harness.state->startSignIn();
    harness.waitUntil([&] { return harness.fields().status == waiting; });
    harness.helper->changeAccount();
    harness.waitUntil([&] { return !harness.fields().quota; });
    EXPECT_TRUE(harness.fields().loginPending);
    EXPECT_EQ(harness.fields().status, waiting);
    EXPECT_EQ(harness.launches(), 1);
}

TEST(HelperChoice, IsKeptOnlyAfterTheHandshake) {
    const struct {
        const char* description;
        std::optional<std::filesystem::path> choice;
        Answer initialize;
        std::string settingsStatus;
        bool kept;
    } cases[] = {
        {"a helper", "/home/me/codex", gives({}), "Validated Codex helper selected.", true},
        {"no helper", "/home/me/notes", gives({}),
         "That selection does not contain an executable Codex helper.", false},
        {"a helper that fails", "/home/me/codex", fails(BridgeFailure::timeout()), refused, false},
        {"nothing", std::nullopt, gives({}), "", false},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.description);
        StateHarness harness;
        harness.start();
        harness.openPanel.choice = row.choice;
        harness.initialize = row.initialize;
        harness.state->chooseHelper();
        harness.settle();
        EXPECT_EQ(harness.fields().settingsStatus, row.settingsStatus);
        EXPECT_EQ(harness.preferences.stringValue("codexPath"),
                  row.kept ? std::optional<std::string>("/home/me/codex") : std::nullopt);
        EXPECT_EQ(harness.preferred.has_value(), row.kept);
        EXPECT_EQ(harness.launches(), row.kept ? 3 : row.settingsStatus == refused ? 2 : 1);
        EXPECT_EQ(harness.fields().status, "LIVE · Synced 14:00");
    }
}

TEST(HelperChoice, IsNeverLeftUnanswered) {
    const struct {
        const char* description;
        std::function<void(StateHarness&)> interrupt;
    } cases[] = {
        {"sleep", [](auto& harness) { harness.powerEvents.handlers.willSleep(); }},
        {"an installation", [](auto& harness) { harness.state->enterMaintenance(); }},
        {"a helper that hangs",
         [](auto& harness) {
             harness.state->setShowingInstaller(true); // no refresh
             harness.now = harness.now + 5;
             harness.state->tick();
         }},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.description);
        StateHarness harness;
        harness.start();
        harness.openPanel.choice = "/home/me/codex";
        harness.initialize = hangs();
        harness.state->chooseHelper();
        EXPECT_TRUE(harness.fields().validatingHelper);
        harness.now = harness.now + 295;
        harness.state->tick();
        EXPECT_FALSE(harness.fields().accountBusy) << "refreshes wait for the answer";
        EXPECT_EQ(harness.fields().settingsStatus, "Checking the selected helper's protocol…");
        row.interrupt(harness);
        EXPECT_FALSE(harness.fields().validatingHelper);
        EXPECT_EQ(harness.fields().settingsStatus, refused);
        EXPECT_EQ(harness.preferences.stringValue("codexPath"), std::nullopt);
    }
}

TEST(HelperChoice, ARefreshThatBeganMeanwhileComesFirst) {
    StateHarness harness;
    harness.start();
    harness.openPanel.choice = "/home/me/codex";
    harness.openPanel.whileOpen = [&] { harness.state->refreshNow(); };
    harness.state->chooseHelper();
    EXPECT_TRUE(harness.fields().accountBusy && harness.fields().validatingHelper);
    harness.settle();
    EXPECT_EQ(harness.fields().settingsStatus, "Validated Codex helper selected.");

    harness.openPanel.whileOpen = [&] { harness.state.reset(); };
    harness.state->chooseHelper(); // does not outlive the program's end
}

TEST(HelperChoice, AChangeOfIdentityMeanwhileIsSeenToAfterwards) {
    StateHarness harness;
    harness.start();
    harness.openPanel.choice = "/home/me/codex";
    std::promise<void> mayFail;
    harness.initialize = [&](FakeTransport&) -> Json {
        mayFail.get_future().wait();
        throw BridgeFailure::closed();
    };
    const auto polled = harness.helper;
    harness.allowance = gives(allowanceOf("A2", 8));
    harness.state->chooseHelper();
    polled->changeAccount();
    mayFail.set_value();
    harness.settle();
    EXPECT_FALSE(harness.fields().quota);
    EXPECT_EQ(harness.fields().status, "CONNECTING · Reloading saved Codex sign-in…");
    harness.initialize = gives({});
    harness.pass(5);
    EXPECT_EQ(harness.fields().quota->used, 8);
}

TEST(HelperChoice, CanBeForgotten) {
    StateHarness harness;
    harness.preferences.setString("codexPath", "/home/me/codex");
    harness.start();
    harness.state->useAutomaticDiscovery();
    EXPECT_EQ(harness.fields().settingsStatus, "Automatic Codex discovery is active.");
    EXPECT_EQ(harness.fields().status, "CONNECTING · Reloading saved Codex sign-in…");
    EXPECT_EQ(harness.preferences.stringValue("codexPath"), std::nullopt);
    harness.settle();
    EXPECT_EQ(harness.launches(), 2);
    EXPECT_EQ(harness.preferred, std::nullopt);
    harness.candidates.clear();
    harness.state->useAutomaticDiscovery();
    EXPECT_EQ(harness.fields().settingsStatus, "Codex was not found automatically.");
    EXPECT_EQ(harness.fields().status, "Codex not found · Choose it in Settings");
}

} // namespace
} // namespace tallywick::testing
