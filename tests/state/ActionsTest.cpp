// What the user does, what an installation interrupts, and the end.

#include "StateHarness.h"
#include "base/WorkThreads.h"

namespace tallywick::testing {
namespace {

using ::testing::HasSubstr;
using Kind = Status::Kind;

const Told waiting{Kind::waitingForSignIn, SettingsText::waitingForSignIn};

class Actions : public StateTest {
  protected:
    /// What is told once it has been prepared.
    Told signIn() {
        state->startSignIn();
        EXPECT_EQ(told(), Told(Kind::preparingSignIn, SettingsText::preparingSignIn));
        waitUntil([this] { return fields().status != Kind::preparingSignIn; });
        return told();
    }
    std::string complete(bool success) {
        helper->emit(LoginCompleted{"L1", success});
        waitUntil([this] { return !fields().loginPending; });
        settle();
        return fields().settingsStatus;
    }

    void startWith(const std::optional<std::filesystem::path>& namedHelper) {
        adjust = [namedHelper](auto& services) { services.namedHelper = namedHelper; };
        start();
    }
    std::string choose(std::optional<std::filesystem::path> choice) {
        openPanel.user = [this, choice] {
            state->refreshNow(); // which is not disturbed
            return choice;
        };
        state->chooseHelper();
        settle();
        return fields().settingsStatus;
    }
    std::string useAutomatic() {
        state->useAutomaticDiscovery();
        EXPECT_EQ(told(), Told(Kind::reloading, ""));
        waitUntil([this] { return !fields().settingsStatus.empty(); });
        settle();
        return fields().settingsStatus;
    }
    std::string usedHelper() const { return fields().displayedHelperPath; }
};

TEST_F(Actions, SignInThroughTheBrowserAndReadTheAccountWhenItIsDone) {
    EXPECT_EQ(signIn(), waiting);
    EXPECT_EQ(workspace.opened, "https://auth.openai.com/x");
    state->startSignIn(); // there is one
    state->chooseHelper();
    state->reloadConnection();
    powerEvents.handlers.willSleep();
    powerEvents.handlers.didWake();
    EXPECT_EQ(pass(300), Times()) << "nothing disturbs it";
    helper->changeAccount();
    waitUntil([&] { return !fields().quota; });
    EXPECT_EQ(told(), waiting);

    EXPECT_EQ(complete(true), "") << "the reading that was promised has come";
    EXPECT_EQ(fields().status, Status::live(now));
    EXPECT_EQ(launches, 1);
    helper->changeAccount();
    settle();
    EXPECT_EQ(fields().status, Status::live(now)) << "the change before was the sign-in's own";
    signIn();
    account = fails(ConnectionIssue::offline);
    EXPECT_EQ(complete(true), "") << "or has failed";
    signIn();
    EXPECT_EQ(complete(false), SettingsText::signInFailed);
}

TEST_F(Actions, EndASignInAfterTenMinutesOrAtTheUsersWord) {
    signIn();
    pass(600);
    EXPECT_EQ(told(), waiting) << "the last tick came early";
    pass(5);
    EXPECT_EQ(told(), Told(Kind::signInCancelled, SettingsText::signInTimedOut));
    EXPECT_EQ(pass(20), Times{620});
    signIn();
    helper->emit(LoginCompleted{"L1", true}); // too late
    state->cancelSignIn();
    waitUntil([this] { return fields().connectionDetails.category == "cancelled"; });
    EXPECT_EQ(told(), Told(Kind::signInCancelled, Status(Kind::signInCancelled).text()));
    pass(15);
    state->cancelSignIn(); // there is none
    EXPECT_EQ(fields().status, Status::live(now));
}

TEST_F(Actions, EndASignInThatCannotGoOn) {
    std::promise<void> disk;
    whileSearching = [answered = disk.get_future().share()] { answered.wait(); };
    state->startSignIn();
    state->cancelSignIn();
    disk.set_value();
    refresh();
    EXPECT_EQ(workspace.opened, "") << "the search has ended too late";

    workspace.works = false;
    EXPECT_EQ(signIn(), Told(Kind::signInCancelled, SettingsText::browserFailed));
    const auto offline = Status::failed(ConnectionIssue::offline);
    login = fails(ConnectionIssue::offline);
    EXPECT_EQ(signIn(), Told(offline, offline.text()));
    EXPECT_FALSE(fields().loginPending);
    state->startSignIn();
    state->stop();
    EXPECT_FALSE(fields().loginPending);
}

TEST_F(Actions, KeepAChosenHelperAfterItsHandshakeUntilItIsForgotten) {
    startWith("/named/codex");
    EXPECT_EQ(choose(std::nullopt), "");
    EXPECT_EQ(choose("/home/me/notes"), SettingsText::noHelperThere);
    initialize = fails(BridgeFailure::timeout());
    EXPECT_EQ(choose("/home/me/codex"), SettingsText::helperRefused);
    EXPECT_EQ(fields().status, Status::live(now));
    EXPECT_EQ(usedHelper(), "/named/codex");
    initialize = gives({});
    EXPECT_EQ(choose("/home/me/codex"), SettingsText::helperSelected);
    EXPECT_EQ(launches, 4) << "twice for a check and once for the reading";
    EXPECT_EQ(usedHelper(), "/home/me/codex");
    startWith(std::nullopt);
    EXPECT_EQ(usedHelper(), "/home/me/codex");

    startWith("/named/codex");
    EXPECT_EQ(useAutomatic(), SettingsText::automaticDiscovery);
    EXPECT_EQ(usedHelper(), "/opt/tools/codex");
    startWith(std::nullopt);
    EXPECT_EQ(usedHelper(), "/opt/tools/codex");

    candidates.clear();
    EXPECT_EQ(useAutomatic(), SettingsText::notFoundAutomatically);
    EXPECT_EQ(fields().status, Kind::codexNotFound);
    EXPECT_EQ(usedHelper(), HelperPathText::notFound);
    candidates = {"/opt/b\xE9ta/codex"};
    EXPECT_EQ(pass(60), Times{60}) << "it looks again each minute";
    EXPECT_EQ(usedHelper(), "/opt/b\uFFFDta/codex");
    openPanel.user = [this] {
        state.reset();
        return "/home/me/codex";
    };
    state->chooseHelper(); // the program ends meanwhile
}

TEST_F(Actions, LeaveNoChoiceOfAHelperUnanswered) {
    // The helper hangs, the machine goes to sleep, and an installation begins.
    const std::function<void()> interruptions[] = {
        [this] { tickAfter(5); },
        [this] { powerEvents.handlers.willSleep(); },
        [this] { state->enterMaintenance(); },
    };
    openPanel.user = [] { return "/home/me/codex"; };
    initialize = hangs();
    const auto used = helper;
    state->chooseHelper();
    used->changeAccount();
    waitUntil([&] { return !fields().quota; });
    EXPECT_EQ(fields().status, Status::Kind::reloading) << "when the choice has ended";
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
    }
}

TEST_F(Actions, OpenAVolumeThatIsStillThereAndPages) {
    machine.volumes = 2;
    machine.volumePath = folder / "volume";
    std::filesystem::create_directory(folder / "volume0");
    std::filesystem::create_directory_symlink("volume0", folder / "volume1");
    const auto open = [&](const std::string& clicked, const std::string& name) {
        start();
        workspace.opened.clear();
        state->openVolume({folder / clicked, name, 1, 2}); // it had other space free
        waitUntil([&] { return !workspace.opened.empty() || !fields().settingsStatus.empty(); });
        EXPECT_EQ(fields().volumes.size(), workspace.opened.empty() ? 2U : 0U);
        return fields().settingsStatus;
    };
    EXPECT_EQ(open("volume0", "volume0"), "");
    EXPECT_EQ(workspace.opened, folder / "volume0");
    EXPECT_EQ(open("volume7", "volume7"), SettingsText::volumeGone);
    EXPECT_EQ(open("volume0", "another stick"), SettingsText::volumeGone);
    EXPECT_EQ(open("volume1", "volume1"), SettingsText::volumeGone) << "a link by now";
    state->openProductPage();
    state->copyProductAddress();
    EXPECT_EQ(workspace.opened, workspace.clipboard);
    workspace.works = false;
    EXPECT_EQ(open("volume0", "volume0"), SettingsText::folderFailed);
    state->shareByMail();
    EXPECT_EQ(workspace.opened, "mailto:?subject=Tallywick&body="
                                "https%3A%2F%2Fcorvane.example%2Ftoolyard%2Ftallywick%2F");
    EXPECT_EQ(fields().settingsStatus, SettingsText::pageFailed);
}

class LifeCycle : public StateTest {
  protected:
    void tryEverythingInVain() {
        window.orders = 0;
        state->refreshNow();
        state->reloadConnection();
        state->startSignIn();
        state->chooseHelper();
        state->useAutomaticDiscovery();
        state->openVolume({"/volume7", "volume7", 1, 2});
        state->resizeBy(0, -100);
        QCoreApplication::processEvents();
        EXPECT_FALSE(fields().accountBusy);
        EXPECT_FALSE(fields().memoryPercent) << "nor is what was on its way applied";
        EXPECT_EQ(fields().quota->used, 40);
        EXPECT_EQ(window.orders, 0);
    }
};

TEST_F(LifeCycle, ACopyThatIsNotInstalledOffersToInstallFirst) {
    const auto cache = UpdateCache::open(folder.path()).value();
    writeAll(cache.archive(), "what an old update has left");
    now = systemNow() + 15.0 * 24 * 60 * 60;
    std::promise<bool> answer;
    adjust = [&](auto& services) {
        services.bundle.isPreview = true;
        services.bundle.isInstalled = false;
        services.bundle.isVerified = [&] { return answer.get_future().get(); };
        services.storageNotice = "Nothing is kept.";
        services.updates.caches = folder.path();
    };
    start();
    EXPECT_EQ(fields().settingsStatus, "Nothing is kept.");
    EXPECT_EQ(launches, 0);
    answer.set_value(true);
    waitUntil([&] { return fields().installationVerified == true; });
    EXPECT_FALSE(std::filesystem::exists(cache.archive()));
    EXPECT_THAT(state->installationLabel(), HasSubstr("PREVIEW"));
    state->setShowingInstaller(false);
    pass(5);
    state->copyConnectionDetails();
    EXPECT_THAT(workspace.clipboard, HasSubstr("\nResult: live\n"));
}

TEST_F(LifeCycle, MaintenancePausesEverythingAndIsSurvived) {
    state->startSignIn();
    state->enterMaintenance();
    EXPECT_FALSE(fields().loginPending) << "it has no helper any more";
    state->leaveMaintenance();
    settle();
    allowance = hangs();
    showWindow();
    state->refreshNow(); // measures, too
    machine.listings.wait(0);
    state->enterMaintenance();
    EXPECT_TRUE(accountActionsBusy(fields()));
    EXPECT_EQ(pass(300), Times());
    tryEverythingInVain();
    EXPECT_EQ(fields().status.text(), "LIVE · Synced 14:00");
    allowance = gives(allowanceOf("A1", 50));
    state->leaveMaintenance();
    settle();
    EXPECT_EQ(fields().quota->used, 50);
    waitUntil([&] { return fields().memoryPercent == 2 && fields().volumes.size() == 1; });
    account = fails(ConnectionIssue::signedOut);
    refresh();
    EXPECT_EQ(fields().connectionDetails.recovery, "one managed-session refresh");
    state->enterMaintenance();
    state->leaveMaintenance();
    settle();
    EXPECT_EQ(fields().connectionDetails.recovery, "five-minute cooldown") << "it has not ended";
}

TEST_F(LifeCycle, SleepLeavesAnUpdateToItsOwnLimits) {
    std::promise<void> wait;
    adjust = [&](auto& services) {
        services.updates.steps.fetch = [&](const auto&, const auto&, auto&) {
            wait.get_future().get();
            return BoundedDownload::Result(tl::unexpected(UpdateFailure::offline));
        };
    };
    start();
    state->checkForUpdates();
    powerEvents.handlers.willSleep();
    powerEvents.handlers.didWake();
    EXPECT_EQ(fields().updates.status, "Checking the Mac update feed…");
    wait.set_value();
    waitUntil([&] { return !fields().updates.busy; });
    EXPECT_EQ(fields().updates.status, message(UpdateFailure::offline));
    EXPECT_TRUE(waitForWorkThreads(std::chrono::seconds(60)));
}

TEST_F(LifeCycle, StopIsSilentAndFinal) {
    adjust = [](auto& services) {
        services.updates.steps.fetch = [](const auto&, const auto&, auto& flag) {
            while (!flag.isCancelled())
                std::this_thread::yield();
            return BoundedDownload::Result(tl::unexpected(UpdateFailure::cancelled));
        };
    };
    start();
    state->checkForUpdates();
    sendReading(gives(allowanceOf("A1", 99)));
    showWindow();
    state->refreshNow(); // measures, too
    machine.listings.wait(0);
    state->openVolume({"/volume7", "volume7", 1, 2});
    state->stop();
    state->stop();
    EXPECT_EQ(fields().updates.status, "Cancelling update…");
    EXPECT_TRUE(helper->isClosed());
    EXPECT_FALSE(powerEvents.handlers.didWake || networkPath.update);
    tryEverythingInVain();
    state->enterMaintenance();
    state->toggleLayout();
    state->showUtility();
    EXPECT_EQ(window.orders, 0);
    EXPECT_FALSE(accountActionsBusy(fields()));
    EXPECT_EQ(fields().settingsStatus, "");
    EXPECT_EQ(launches, 1);
    EXPECT_TRUE(waitForWorkThreads(std::chrono::seconds(60)));
}

} // namespace
} // namespace tallywick::testing
