// What the user does: signs in, chooses a helper, opens volumes and pages.

#include "StateHarness.h"

#include <QCoreApplication>

namespace tallywick::testing {
namespace {

using ::testing::ElementsAre;

/// A state whose sign-in waits for the user.
class SignIn : public StateTest {
  protected:
    SignIn() {
        start();
        EXPECT_EQ(signIn(), Status::Kind::waitingForSignIn);
    }

    /// The status once the sign-in has been prepared.
    Status signIn() {
        state->startSignIn();
        EXPECT_EQ(fields().status, Status::Kind::preparingSignIn);
        EXPECT_EQ(fields().settingsStatus, SettingsText::preparingSignIn);
        waitUntil([this] { return fields().status != Status::Kind::preparingSignIn; });
        return fields().status;
    }
    void complete(bool success) {
        helper->emit(LoginCompleted{"L1", success});
        waitUntil([this] { return !fields().loginPending; });
        settle();
    }
};

TEST_F(SignIn, OpensTheBrowserAndReadsTheAccountWhenItIsDone) {
    EXPECT_EQ(workspace.opened, "https://auth.openai.com/x");
    state->startSignIn(); // there is one
    state->chooseHelper();
    state->reloadConnection();
    powerEvents.handlers.willSleep();
    powerEvents.handlers.didWake();
    pass(300);
    EXPECT_EQ(takeRefreshes(), std::vector<int>()) << "nothing disturbs it";
    helper->changeAccount();
    waitUntil([&] { return !fields().quota; });
    EXPECT_EQ(fields().status, Status::Kind::waitingForSignIn);

    notes.clear();
    complete(true);
    EXPECT_THAT(notes, ElementsAre(SettingsText::signInCompleted, ""))
        << "it promises a reading, which has come";
    EXPECT_EQ(fields().status.text(), "LIVE · Synced 14:04");
    EXPECT_EQ(launches, 1);
    signIn();
    account = fails(ConnectionIssue::offline);
    complete(true);
    EXPECT_EQ(fields().settingsStatus, "") << "or has failed";
    signIn();
    complete(false);
    EXPECT_EQ(fields().settingsStatus, SettingsText::signInFailed);
}

TEST_F(SignIn, EndsAfterTenMinutesOrWhenItIsCancelled) {
    pass(600);
    EXPECT_EQ(fields().status, Status::Kind::waitingForSignIn) << "the last tick came early";
    EXPECT_EQ(fields().settingsStatus, SettingsText::waitingForSignIn);
    pass(5);
    EXPECT_EQ(fields().status, Status::Kind::signInCancelled);
    EXPECT_EQ(fields().settingsStatus, SettingsText::signInTimedOut);
    pass(20);
    EXPECT_EQ(takeRefreshes(), std::vector<int>{620});

    signIn();
    helper->emit(LoginCompleted{"L1", true}); // too late
    state->cancelSignIn();
    waitUntil([this] { return fields().connectionDetails.category == "cancelled"; });
    EXPECT_EQ(fields().status, Status::Kind::signInCancelled);
    EXPECT_EQ(fields().settingsStatus, fields().status.text());
    pass(15);
    state->cancelSignIn(); // there is none
    EXPECT_EQ(fields().status.text(), "LIVE · Synced 14:10");
}

TEST_F(SignIn, EndsWhenItCannotGoOn) {
    state->cancelSignIn();
    workspace.works = false;
    EXPECT_EQ(signIn(), Status::Kind::signInCancelled);
    EXPECT_EQ(fields().settingsStatus, SettingsText::browserFailed);
    login = fails(ConnectionIssue::offline);
    EXPECT_EQ(signIn(), Status::failed(ConnectionIssue::offline));
    EXPECT_EQ(fields().settingsStatus, fields().status.text());
    EXPECT_EQ(fields().connectionDetails.category, rawValue(ConnectionIssue::offline));
    candidates.clear();
    state->reloadConnection();
    settle();
    EXPECT_EQ(signIn(), Status::failed(ConnectionIssue::missingHelper));
    EXPECT_FALSE(fields().loginPending);
}

TEST_F(SignIn, IsNotTakenUpAgainByASearchThatEndsAfterItWasCancelled) {
    state->cancelSignIn();
    workspace.opened.clear();
    std::promise<void> disk;
    whileSearching = [answered = disk.get_future().share()] { answered.wait(); };
    state->startSignIn();
    state->cancelSignIn();
    disk.set_value();
    refresh();
    EXPECT_FALSE(fields().loginPending);
    EXPECT_EQ(workspace.opened, "");
}

/// A state whose user chooses a helper.
class HelperChoice : public StateTest {
  protected:
    HelperChoice() { start(); }

    std::string choose(std::optional<std::filesystem::path> choice) {
        openPanel.choice = std::move(choice);
        state->chooseHelper();
        settle();
        return fields().settingsStatus;
    }
    std::string useAutomatic() {
        state->useAutomaticDiscovery();
        EXPECT_EQ(fields().status, Status::Kind::reloading);
        waitUntil([this] { return !fields().settingsStatus.empty(); });
        settle();
        return fields().settingsStatus;
    }
    auto kept() const { return preferences.stringValue("codexPath"); }
};

TEST_F(HelperChoice, IsKeptAfterTheHandshakeUntilItIsForgotten) {
    EXPECT_EQ(choose(std::nullopt), "");
    EXPECT_EQ(choose("/home/me/notes"), SettingsText::noHelperThere);
    EXPECT_EQ(launches, 1);
    initialize = fails(BridgeFailure::timeout());
    EXPECT_EQ(choose("/home/me/codex"), SettingsText::helperRefused);
    EXPECT_EQ(kept(), std::nullopt);
    EXPECT_EQ(fields().status.text(), "LIVE · Synced 14:00");
    EXPECT_EQ(launches, 2);

    initialize = gives({});
    EXPECT_EQ(choose("/home/me/codex"), SettingsText::helperSelected);
    EXPECT_EQ(kept(), "/home/me/codex");
    EXPECT_EQ(preferred, "/home/me/codex");
    EXPECT_EQ(launches, 4) << "once for the check and once for the reading";

    EXPECT_EQ(useAutomatic(), SettingsText::automaticDiscovery);
    EXPECT_EQ(kept(), std::nullopt);
    candidates.clear();
    EXPECT_EQ(useAutomatic(), SettingsText::notFoundAutomatically);
}

TEST_F(HelperChoice, ReplacesTheHelperThatTheStartNamed) {
    for (const bool chooses : {true, false}) {
        namedHelper = "/named/codex";
        start();
        EXPECT_EQ(fields().displayedHelperPath, "/named/codex");
        if (chooses)
            EXPECT_EQ(choose("/home/me/codex"), SettingsText::helperSelected);
        else
            EXPECT_EQ(useAutomatic(), SettingsText::automaticDiscovery);
        EXPECT_EQ(preferred.has_value(), chooses);
        EXPECT_EQ(fields().displayedHelperPath, "/opt/tools/codex") << "as the search has it";
    }
}

TEST_F(HelperChoice, HasRefreshesWaitAndIsNeverLeftUnanswered) {
    // The helper hangs, the machine goes to sleep, and an installation begins.
    const std::function<void()> interruptions[] = {
        [this] { tickAfter(5); },
        [this] { powerEvents.handlers.willSleep(); },
        [this] { state->enterMaintenance(); },
    };
    initialize = hangs();
    for (const auto& interrupt : interruptions) {
        state->setShowingInstaller(false);
        state->chooseHelper();
        tickAfter(455);
        EXPECT_FALSE(fields().accountBusy);
        EXPECT_EQ(fields().settingsStatus, SettingsText::checkingHelper);
        state->setShowingInstaller(true); // no refresh when the choice has ended, either
        interrupt();
        EXPECT_EQ(fields().settingsStatus, SettingsText::helperRefused);
        EXPECT_FALSE(fields().validatingHelper);
        EXPECT_EQ(kept(), std::nullopt);
    }
}

TEST_F(HelperChoice, ComesAfterARefreshThatBeganMeanwhileAndNotAfterTheEnd) {
    openPanel.whileOpen = [&] { state->refreshNow(); };
    EXPECT_EQ(choose("/home/me/codex"), SettingsText::helperSelected);
    openPanel.whileOpen = [&] { state.reset(); };
    state->chooseHelper();
}

using Desktop = StateTest;

TEST_F(Desktop, OpensAVolumeThatIsStillThereAndListsTheVolumesAnewOtherwise) {
    machine.volumes = 2;
    machine.volumePath = folder / "volume";
    std::filesystem::create_directory(folder / "volume0");
    std::filesystem::create_directory_symlink("volume0", folder / "volume1");
    const auto open = [&](const std::string& clicked, const std::string& name) {
        start();
        workspace.opened.clear();
        state->openVolume({folder / clicked, name, 1, 2}); // it had other space free
        while (workspace.opened.empty() && fields().settingsStatus.empty())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        EXPECT_EQ(fields().volumes.size(), workspace.opened.empty() ? 2U : 0U);
        return fields().settingsStatus;
    };
    EXPECT_EQ(open("volume0", "volume0"), "");
    EXPECT_EQ(workspace.opened, folder / "volume0");
    EXPECT_EQ(open("volume7", "volume7"), SettingsText::volumeGone);
    EXPECT_EQ(open("volume0", "another stick"), SettingsText::volumeGone);
    EXPECT_EQ(open("volume1", "volume1"), SettingsText::volumeGone) << "a link by now";
    workspace.works = false;
    EXPECT_EQ(open("volume0", "volume0"), SettingsText::folderFailed);
}

TEST_F(Desktop, OpensAndSharesTheWebsite) {
    start();
    state->openProductPage();
    state->copyProductAddress();
    EXPECT_EQ(workspace.opened, workspace.clipboard);
    workspace.works = false;
    state->shareByMail();
    EXPECT_EQ(workspace.opened, "mailto:?subject=Tallywick&body="
                                "https%3A%2F%2Fcorvane.example%2Ftoolyard%2Ftallywick%2F");
    EXPECT_EQ(fields().settingsStatus, SettingsText::pageFailed);
}

} // namespace
} // namespace tallywick::testing
