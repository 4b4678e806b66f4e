#include "StateHarness.h"

#include "codex/AccountIdentity.h"

#include <gtest/gtest.h>

#include <QCoreApplication>

namespace tallywick::testing {
namespace {

using Times = std::vector<int>;

std::string sentenceOf(ConnectionIssue issue) { return std::string(sentence(issue)); }

TEST(UtilityState, RefreshesAccountAndActivityInTheirTurn) {
    StateHarness harness;
    int activities = 0;
    harness.usage = [&](FakeTransport&) {
        ++activities;
        return json(R"({"summary":{"lifetimeTokens":9000}})");
    };
    harness.start();
    EXPECT_EQ(harness.fields().displayedHelperPath, "/opt/tools/codex");
    EXPECT_EQ(harness.fields().tokenStatus, "ACCOUNT-REPORTED ACTIVITY");
    EXPECT_EQ(harness.fields().history.size(), 1U);
    harness.pass(300);
    EXPECT_EQ(harness.takeRefreshes(), (Times{60, 120, 180, 240, 300}));
    EXPECT_EQ(activities, 2);
    EXPECT_EQ(harness.launches(), 1);
    EXPECT_TRUE(harness.takeLines().starts_with(
        "0 [CONNECTING] Finding Codex…\n0 [LIVE] LIVE · Synced 14:00 | 40% used, 60% remaining | "
        "resets 2025-06-22 13:46"));
}

TEST(UtilityState, WaitsLongerAfterEachFailureUntilASuccess) {
    StateHarness harness;
    harness.allowance = fails(ConnectionIssue::throttled);
    harness.start();
    harness.pass(1100);
    EXPECT_EQ(harness.takeRefreshes(), (Times{15, 45, 105, 225, 465, 765, 1065}));
    harness.allowance = gives(allowanceOf("A1"));
    harness.pass(300);
    EXPECT_EQ(harness.takeRefreshes(), Times{1365});
    harness.allowance = fails(ConnectionIssue::throttled);
    harness.pass(100);
    EXPECT_EQ(harness.takeRefreshes(), (Times{1425, 1440, 1470}));
}

TEST(UtilityState, AFailureKeepsTheReadingUnlessTheAccountIsInQuestion) {
    for (int i = 0; i <= static_cast<int>(ConnectionIssue::invalidResponse); ++i) {
        const auto issue = static_cast<ConnectionIssue>(i);
        SCOPED_TRACE(sentenceOf(issue));
        const bool aboutAccount = issue == ConnectionIssue::signedOut
                                  || issue == ConnectionIssue::authentication
                                  || issue == ConnectionIssue::externalSession
                                  || issue == ConnectionIssue::unsupportedAccount;
        StateHarness harness;
        harness.start();
        harness.account = fails(issue);
        harness.pass(60);
        const UtilityFields& fields = harness.fields();
        EXPECT_EQ(fields.status, aboutAccount ? sentenceOf(issue)
                                              : "STALE · Last synced 14:00 · " + sentenceOf(issue));
        EXPECT_EQ(fields.quota.has_value(), !aboutAccount);
        EXPECT_EQ(fields.tokens.lifetime.has_value(), !aboutAccount);
        EXPECT_EQ(fields.history.empty(), aboutAccount);
        EXPECT_EQ(fields.tokenStatus,
                  aboutAccount ? "NOT YET REPORTED" : "ACCOUNT-REPORTED ACTIVITY");
    }
}

TEST(UtilityState, ReadingsOfAnotherAccountReplaceEverything) {
    StateHarness harness;
    harness.start();
    harness.pass(60);
    harness.allowance = gives(allowanceOf("A2", 7));
    harness.pass(60); // without activity, which is not due yet
    const UtilityFields& fields = harness.fields();
    EXPECT_EQ(fields.quota->used, 7);
    EXPECT_EQ(fields.tokens, TokenActivity());
    ASSERT_EQ(fields.history.size(), 1U);
    EXPECT_EQ(fields.history[0].accountHash, accountHash("A2"));

    harness.allowance = gives(json(R"({"accountId":"A2"})"));
    harness.pass(60);
    EXPECT_EQ(fields.status, "Connected · Weekly allowance unavailable");
    EXPECT_FALSE(fields.quota);
    EXPECT_TRUE(fields.history.empty());
}

TEST(UtilityState, ActivityThatFailsIsTold) {
    StateHarness harness;
    harness.usage = fails(ConnectionIssue::throttled);
    harness.start();
    EXPECT_EQ(harness.fields().tokenStatus, "ACTIVITY UNAVAILABLE");
    harness.usage = gives(json("{}"));
    harness.pass(300);
    EXPECT_EQ(harness.fields().tokenStatus, "NOT REPORTED");
    harness.usage = gives(json(R"({"summary":{"lifetimeTokens":9}})"));
    harness.pass(300);
    harness.usage = fails(ConnectionIssue::throttled);
    harness.pass(300);
    EXPECT_EQ(harness.fields().tokenStatus, "ACTIVITY STALE");
    EXPECT_EQ(harness.fields().tokens.lifetime, 9);
    EXPECT_EQ(harness.fields().status, "LIVE · Synced 14:15");
}

TEST(UtilityState, WithoutAHelperItLooksAgainEachMinute) {
    StateHarness harness;
    harness.candidates.clear();
    harness.preferences.setString("codexPath", "/home/me/codex");
    harness.start();
    EXPECT_EQ(harness.fields().status, "Codex not found · Choose it in Settings");
    EXPECT_EQ(harness.fields().displayedHelperPath, "Codex was not found");
    EXPECT_EQ(harness.preferred, "/home/me/codex");
    harness.candidates = {"/opt/b\xE9ta/codex"};
    harness.pass(60);
    EXPECT_EQ(harness.takeRefreshes(), Times{60});
    EXPECT_EQ(harness.fields().displayedHelperPath, "/opt/b\uFFFDta/codex");
}

TEST(UtilityState, AReadingGrowsStaleWithTheClock) {
    StateHarness harness;
    UtilityState& state = harness.start();
    state.setShowingInstaller(true); // no refresh
    harness.now = harness.now + 120;
    state.tick();
    EXPECT_EQ(harness.fields().status, "LIVE · Synced 14:00");
    harness.now = harness.now + 1;
    state.tick();
    EXPECT_EQ(harness.fields().status, "STALE · Last synced 14:00");
}

TEST(UtilityState, AClockThatIsSetBackHoldsNothingUp) {
    StateHarness harness;
    harness.start();
    harness.now = harness.now - 86'400;
    harness.pass(5);
    EXPECT_EQ(harness.fields().status, "STALE · Last synced 14:00");
    harness.pass(65);
    EXPECT_EQ(harness.fields().status, "LIVE · Synced 14:01");
    harness.pass(300);
    EXPECT_EQ(harness.takeRefreshes().size(), 6U);

    harness.allowance = fails(ConnectionIssue::offline);
    harness.pass(65);
    EXPECT_EQ(harness.takeRefreshes().size(), 1U);
    harness.now = harness.now - 86'400;
    harness.pass(20);
    EXPECT_EQ(harness.takeRefreshes().size(), 1U) << "the wait of 15 seconds begins anew";
}

TEST(UtilityState, ARequestInMidRefreshIsHonouredAfterIt) {
    StateHarness harness;
    UtilityState& state = harness.start();
    std::promise<void> asked;
    std::promise<void> mayAnswer;
    int answers = 0;
    harness.allowance = [&](FakeTransport&) {
        if (++answers == 1) {
            asked.set_value();
            mayAnswer.get_future().wait();
        }
        return allowanceOf("A1", answers);
    };
    state.refreshNow();
    asked.get_future().wait();
    state.refreshNow();
    state.refreshNow();
    mayAnswer.set_value();
    harness.settle();
    EXPECT_EQ(harness.fields().quota->used, 2);
    EXPECT_EQ(answers, 2);
    EXPECT_EQ(harness.launches(), 1) << "the running refresh is not disturbed";
}

TEST(UtilityState, SleepSilencesARefreshAndWakeBeginsAnother) {
    StateHarness harness;
    harness.start();
    std::promise<void> asked;
    harness.allowance = gives(allowanceOf("A1", 99));
    harness.usage = [&](FakeTransport& helper) {
        asked.set_value(); // so the reading is on its way
        return hangs()(helper);
    };
    harness.now = harness.now + 300;
    harness.state->refreshNow();
    asked.get_future().wait();
    harness.state->refreshNow();
    harness.powerEvents.handlers.willSleep();
    EXPECT_FALSE(harness.fields().accountBusy);
    harness.pass(120);
    EXPECT_EQ(harness.takeRefreshes(), Times()) << "not while asleep";
    EXPECT_EQ(harness.fields().quota->used, 40);
    EXPECT_EQ(harness.fields().status, "STALE · Last synced 14:00");

    harness.usage = gives(json("{}"));
    harness.powerEvents.handlers.didWake();
    EXPECT_TRUE(harness.fields().accountBusy);
    harness.settle();
    EXPECT_EQ(harness.fields().quota->used, 99);
    EXPECT_EQ(harness.launches(), 2);
    harness.pass(55);
    EXPECT_EQ(harness.takeRefreshes(), Times()) << "what was asked for before the sleep is done";
}

TEST(UtilityState, ARefreshWithoutEndIsGivenUp) {
    StateHarness harness;
    harness.start();
    harness.takeLines();
    harness.allowance = hangs();
    harness.state->refreshNow();
    harness.now = harness.now + 279;
    harness.state->tick();
    EXPECT_TRUE(harness.fields().accountBusy);
    harness.now = harness.now + 1;
    harness.state->tick();
    EXPECT_FALSE(harness.fields().accountBusy);
    EXPECT_EQ(harness.fields().status,
              "STALE · Last synced 14:00 · " + sentenceOf(ConnectionIssue::timeout));
    harness.allowance = gives(allowanceOf("A1"));
    harness.pass(15);
    EXPECT_EQ(harness.takeRefreshes(), Times{295});
    EXPECT_EQ(harness.fields().status, "LIVE · Synced 14:04");
    EXPECT_EQ(harness.launches(), 2);
}

TEST(UtilityState, AReadingStaysLiveWhenOnlyTheActivityHangs) {
    StateHarness harness;
    harness.usage = hangs();
    harness.start(false);
    harness.waitUntil([&] { return harness.fields().quota.has_value(); });
    harness.now = harness.now + 100;
    harness.state->setShowingInstaller(true); // no further refresh
    harness.state->tick();
    EXPECT_TRUE(harness.fields().accountBusy);
    harness.now = harness.now - 86'400; // nor does the clock hold the deadline up
    harness.state->tick();
    harness.now = harness.now + 280;
    harness.state->tick();
    EXPECT_FALSE(harness.fields().accountBusy);
    EXPECT_EQ(harness.fields().status, "STALE · Last synced 14:00");
}

TEST(UtilityState, AHelperThatAsksForTokensAtEachStartIsNotRestartedAllTheTime) {
    StateHarness harness;
    harness.account = [](FakeTransport& helper) -> Json {
        helper.emit(ExternalRefreshRequested{});
        throw ConnectionIssue::externalSession;
    };
    harness.start();
    harness.settle(); // the first reload
    EXPECT_EQ(harness.takeLines(),
              "0 [CONNECTING] Finding Codex…\n0 [CONNECTING] CONNECTING · Reloading saved Codex "
              "sign-in…\n0 [STATUS] "
                  + sentenceOf(ConnectionIssue::externalSession) + "\n");
    harness.pass(1100);
    EXPECT_EQ(harness.takeRefreshes(), (Times{15, 45, 105, 225, 465, 765, 1065}));
    EXPECT_EQ(harness.launches(), 9);
    EXPECT_EQ(harness.takeLines(), "") << "its sentence stays";

    harness.state->reloadConnection(); // the user's own word
    EXPECT_EQ(harness.fields().status, "CONNECTING · Reloading saved Codex sign-in…");
    harness.settle();
    EXPECT_EQ(harness.launches(), 10);

    harness.account = gives(json(R"({"account":{"type":"chatgpt"}})"));
    harness.pass(15);
    EXPECT_EQ(harness.takeRefreshes(), Times{1115});
    EXPECT_EQ(harness.fields().status, "LIVE · Synced 14:18");
    harness.pass(60);
    EXPECT_EQ(harness.launches(), 11) << "the helper of the reading stays";
}

TEST(UtilityState, AChangeOfIdentityReloadsAtOnceIfTheReadingHasLasted) {
    StateHarness harness;
    harness.start();
    const auto changeAccount = [&](const char* next) {
        harness.allowance = gives(allowanceOf(next));
        harness.helper->changeAccount();
        harness.settle();
    };
    changeAccount("A2");
    EXPECT_EQ(harness.launches(), 2);
    EXPECT_EQ(harness.fields().status, "LIVE · Synced 14:00");

    changeAccount("A3"); // too soon after
    EXPECT_EQ(harness.fields().status, "CONNECTING · Reloading saved Codex sign-in…");
    EXPECT_FALSE(harness.fields().quota);
    harness.pass(15);
    EXPECT_EQ(harness.takeRefreshes(), Times{15});
    EXPECT_EQ(harness.launches(), 3);
    EXPECT_EQ(harness.fields().status, "LIVE · Synced 14:00");

    harness.pass(60);
    changeAccount("A4");
    EXPECT_EQ(harness.launches(), 4);
    EXPECT_EQ(harness.fields().history.front().accountHash, accountHash("A4"));
}

TEST(UtilityState, AReadingFromBeforeAChangeOfIdentityIsNotShown) {
    StateHarness harness;
    harness.start();
    harness.helper->changeAccount(); // so that the next one waits
    harness.settle();
    std::promise<void> read;
    harness.allowance = [](FakeTransport& helper) {
        helper.emit(ExternalRefreshRequested{});
        return allowanceOf("A1", 99);
    };
    harness.usage = [&](FakeTransport&) {
        read.set_value();
        return Json::object();
    };
    harness.state->refreshNow();
    read.get_future().wait(); // both are on their way
    harness.now = harness.now + 1;
    harness.settle();
    EXPECT_FALSE(harness.fields().quota);
    EXPECT_EQ(harness.fields().status, "CONNECTING · Reloading saved Codex sign-in…");
    harness.allowance = gives(allowanceOf("A2", 2));
    harness.usage = gives(Json::object());
    harness.pass(15);
    EXPECT_EQ(harness.fields().quota->used, 2);
}

TEST(UtilityState, OnlyAWayToTheInternetThatComesBackRefreshes) {
    constexpr auto satisfied = NetworkPathStatus::satisfied;
    constexpr auto unsatisfied = NetworkPathStatus::unsatisfied;
    const struct {
        std::vector<NetworkPathStatus> updates;
        int refreshes;
    } cases[] = {{{satisfied}, 0},
                 {{satisfied, satisfied}, 0},
                 {{unsatisfied, satisfied}, 1},
                 {{satisfied, unsatisfied, satisfied, unsatisfied, satisfied}, 2}};
    for (const auto& [updates, refreshes] : cases) {
        StateHarness harness;
        harness.start();
        int reads = 0;
        harness.allowance = [&](FakeTransport&) {
            ++reads;
            return allowanceOf("A1");
        };
        for (const NetworkPathStatus update : updates) {
            harness.networkPath.update(update);
            harness.settle();
        }
        EXPECT_EQ(reads, refreshes) << ::testing::PrintToString(updates.size()) << " updates";
    }
}

TEST(UtilityState, MeasuresTheMachineOnlyForAFullViewThatIsSeen) {
    const struct {
        const char* description;
        bool mini, window, visible, minimised, asleep, measures;
    } cases[] = {
        {"full view", false, true, true, false, false, true},
        {"mini view", true, true, true, false, false, false},
        {"no window", false, false, true, false, false, false},
        {"hidden window", false, true, false, false, false, false},
        {"minimised window", false, true, true, true, false, false},
        {"asleep", false, true, true, false, true, false},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.description);
        StateHarness harness;
        harness.preferences.setBool("mini", row.mini);
        UtilityState& state = harness.start();
        harness.window.visible = row.visible;
        harness.window.minimised = row.minimised;
        harness.showWindow();
        if (!row.window)
            state.attachWindow(nullptr);
        if (row.asleep)
            harness.powerEvents.handlers.willSleep();
        for (int i = 1; i <= 7; ++i) { // half a minute
            harness.now = harness.now + 5;
            state.tick();
            if (row.measures)
                harness.waitUntil([&] { return harness.fields().memoryPercent == i; });
        }
        if (row.measures)
            harness.waitUntil([&] { return harness.machine.listings == 2; });
        EXPECT_EQ(harness.machine.samples, row.measures ? 7 : 0);
        EXPECT_EQ(harness.machine.listings, row.measures ? 2 : 0);
        EXPECT_EQ(harness.fields().cpuPercent, row.measures ? std::optional(50.0) : std::nullopt);
    }
}

TEST(UtilityState, TheFullWindowFollowsTheNumberOfVolumes) {
    const struct {
        const char* description;
        bool mini, dragged;
        int volumes;
        double available;
        std::vector<double> heights; ///< the first for three volumes
    } cases[] = {{"one more", false, false, 4, 900, {659, 683}},
                 {"more than are shown", false, false, 9, 900, {659, 755}},
                 {"more than the screen holds", false, false, 7, 682.9, {659}},
                 {"fewer", false, false, 1, 900, {659, 635}},
                 {"mini view by now", true, false, 4, 900, {659, 225}},
                 {"grip in hand", false, true, 4, 900, {659}}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.description);
        StateHarness harness;
        UtilityState& state = harness.start();
        harness.window.screen->setHeight(row.available + harness.window.chrome.height());
        harness.showWindow();
        harness.machine.volumes = 3;
        state.refreshNow();
        harness.waitUntil([&] { return harness.fields().volumes.size() == 3; });

        harness.machine.volumes = row.volumes;
        state.applicationDidUnhide(); // makes it due
        state.tick();
        if (row.mini)
            state.toggleLayout();
        if (row.dragged)
            state.resizeBy(0, 0);
        harness.waitUntil([&] {
            return harness.fields().volumes.size() == static_cast<std::size_t>(row.volumes);
        });
        EXPECT_EQ(harness.window.heights, row.heights);
        EXPECT_TRUE(harness.window.screen->contains(harness.window.frame()));
    }
}

TEST(UtilityState, MaintenancePausesEverythingAndIsSurvived) {
    StateHarness harness;
    UtilityState& state = harness.start();
    harness.showWindow();
    harness.allowance = hangs();
    state.refreshNow(); // measures, too
    harness.machine.listings.wait(0);
    state.enterMaintenance();
    QCoreApplication::processEvents(); // the sample comes and is dropped
    EXPECT_FALSE(harness.fields().accountBusy);
    EXPECT_FALSE(harness.fields().memoryPercent);
    EXPECT_TRUE(accountActionsBusy(harness.fields()));

    harness.pass(300);
    state.refreshNow();
    state.reloadConnection();
    state.startSignIn();
    state.chooseHelper();
    EXPECT_FALSE(harness.fields().accountBusy);
    EXPECT_EQ(harness.fields().status, "LIVE · Synced 14:00");

    harness.allowance = gives(allowanceOf("A1", 50));
    state.leaveMaintenance();
    harness.settle();
    EXPECT_EQ(harness.fields().quota->used, 50);
    harness.waitUntil([&] { return harness.fields().memoryPercent == 2; });
    harness.now = harness.now + 30;
    state.tick();
    harness.waitUntil([&] { return harness.machine.listings >= 2; });
}

TEST(UtilityState, StopIsSilentAndFinal) {
    StateHarness harness;
    UtilityState& state = harness.start();
    std::promise<void> asked;
    harness.allowance = gives(allowanceOf("A1", 99));
    harness.usage = [&](FakeTransport& helper) {
        asked.set_value();
        return hangs()(helper);
    };
    harness.now = harness.now + 300;
    state.refreshNow();
    asked.get_future().wait();
    state.stop();
    EXPECT_FALSE(harness.fields().accountBusy);
    EXPECT_FALSE(harness.powerEvents.handlers.didWake);
    EXPECT_FALSE(harness.networkPath.update);
    state.stop();
    state.refreshNow();
    state.reloadConnection();
    state.startSignIn();
    state.chooseHelper();
    state.useAutomaticDiscovery();
    state.enterMaintenance();
    QCoreApplication::processEvents();
    EXPECT_FALSE(accountActionsBusy(harness.fields()));
    EXPECT_EQ(harness.fields().quota->used, 40);
    EXPECT_EQ(harness.launches(), 1);
}

TEST(UtilityState, StartsWithTheUsersChoicesAndKeepsThem) {
    StateHarness harness;
    harness.preferences.setBool("mini", true);
    harness.preferences.setDouble("light", 1);
    harness.preferences.setString("pinned", "true");
    UtilityState& state = harness.start();
    EXPECT_TRUE(harness.fields().mini);
    EXPECT_FALSE(harness.fields().light || harness.fields().pinned) << "values of another type";
    harness.showWindow();
    const auto saved = [&](std::string_view key) { return harness.preferences.boolValue(key); };
    state.toggleTheme();
    EXPECT_EQ(saved("light"), true);
    EXPECT_EQ(saved("pinned"), false);
    state.choosePinned(true);
    EXPECT_EQ(saved("pinned"), true);
    EXPECT_TRUE(harness.window.floating);
    state.choosePinned(false);
    EXPECT_FALSE(harness.window.floating);
}

TEST(UtilityState, ACopyThatIsNotInstalledOffersToInstallFirst) {
    StateHarness harness;
    std::promise<void> mayAnswer;
    harness.bundle = {"0.6.0", true, false, [&] {
                          mayAnswer.get_future().wait();
                          return true;
                      }};
    UtilityState& state = harness.start();
    EXPECT_TRUE(harness.fields().showingInstaller);
    EXPECT_EQ(harness.launches(), 0);
    EXPECT_FALSE(harness.fields().installationVerified);
    mayAnswer.set_value();
    harness.waitUntil([&] { return harness.fields().installationVerified == true; });
    EXPECT_EQ(state.installationLabel(), "PREVIEW — awaiting your approval · Installer / portable "
                                         "copy — install before creating an alias");
    EXPECT_EQ(state.appVersion(), "0.6.0");

    state.setShowingInstaller(false);
    harness.pass(5);
    EXPECT_EQ(harness.fields().status, "LIVE · Synced 14:00");
    state.copyConnectionDetails();
    EXPECT_EQ(harness.workspace.clipboard.substr(0, 17), "Corvane Mac 0.6.0");
    EXPECT_NE(harness.workspace.clipboard.find("\nResult: live\n"), std::string::npos);
}

} // namespace
} // namespace tallywick::testing
