// The start with what was kept, the pause for an installation, and the end.

#include "StateHarness.h"
#include "base/WorkThreads.h"

#include <QCoreApplication>

namespace tallywick::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class StateLifeCycle : public StateTest {
  protected:
    void tryEverything() {
        state->refreshNow();
        state->reloadConnection();
        state->startSignIn();
        state->chooseHelper();
        state->useAutomaticDiscovery();
        state->openVolume({"/volume7", "volume7", 1, 2});
        state->resizeBy(0, -100);
        EXPECT_FALSE(fields().accountBusy);
        EXPECT_EQ(window.orders, 0);
    }
};

TEST_F(StateLifeCycle, StartsWithTheUsersChoicesAndKeepsThem) {
    preferences.setBool("mini", true);
    preferences.setBool("pinned", true);
    start();
    showWindow();
    EXPECT_TRUE(fields().mini && fields().pinned && !fields().light);
    EXPECT_TRUE(window.floating);
    state->toggleTheme();
    EXPECT_EQ(preferences.boolValue("light"), true);
    state->choosePinned(false);
    EXPECT_EQ(preferences.boolValue("pinned"), false);
    EXPECT_FALSE(window.floating);
}

TEST_F(StateLifeCycle, ACopyThatIsNotInstalledOffersToInstallFirst) {
    std::promise<bool> answer;
    bundle = {.version = "0.6.0", .isPreview = true, .isVerified = [&] {
                  return answer.get_future().get();
              }};
    storageNotice = "Nothing is kept.";
    start();
    EXPECT_EQ(fields().settingsStatus, "Nothing is kept.");
    EXPECT_TRUE(fields().showingInstaller);
    EXPECT_EQ(launches, 0);
    EXPECT_FALSE(fields().installationVerified);
    answer.set_value(true);
    waitUntil([&] { return fields().installationVerified == true; });
    EXPECT_EQ(state->installationLabel(), "PREVIEW — awaiting your approval · Installer / portable "
                                          "copy — install before creating an alias");
    state->setShowingInstaller(false);
    pass(5);
    state->copyConnectionDetails();
    EXPECT_THAT(workspace.clipboard,
                AllOf(StartsWith("Corvane Mac 0.6.0"), HasSubstr("\nResult: live\n")));
}

TEST_F(StateLifeCycle, MaintenancePausesEverythingAndIsSurvived) {
    start();
    state->startSignIn();
    state->enterMaintenance();
    EXPECT_FALSE(fields().loginPending) << "it has no helper any more";
    state->leaveMaintenance();
    settle();
    showWindow();
    allowance = hangs();
    state->refreshNow(); // measures, too
    machine.listings.wait(0);
    state->enterMaintenance();
    QCoreApplication::processEvents(); // the sample comes and is dropped
    EXPECT_FALSE(fields().memoryPercent);
    EXPECT_TRUE(accountActionsBusy(fields()));
    pass(300);
    tryEverything();
    EXPECT_EQ(fields().status.text(), "LIVE · Synced 14:00");

    allowance = gives(allowanceOf("A1", 50));
    state->leaveMaintenance();
    settle();
    EXPECT_EQ(fields().quota->used, 50);
    waitUntil([&] { return fields().memoryPercent == 2 && fields().volumes.size() == 1; });
}

TEST_F(StateLifeCycle, StopIsSilentAndFinal) {
    fetch = [](const auto&, const auto&, CancellationFlag& flag) {
        std::promise<void> cancelled;
        flag.whenCancelled([&] { cancelled.set_value(); });
        cancelled.get_future().wait();
        return BoundedDownload::Result(tl::unexpected(UpdateFailure::cancelled));
    };
    start();
    EXPECT_TRUE(fields().updates == UpdateFields());
    state->checkForUpdates();
    state->setShowingSettings(true);
    state->setShowingSettings(false);
    EXPECT_EQ(fields().updates.status, "Checking the Mac update feed…") << "and goes on";
    std::promise<void> asked;
    allowance = gives(allowanceOf("A1", 99));
    usage = hangs(&asked); // so the reading is on its way
    now = now + 300;
    beginRefresh();
    asked.get_future().wait();
    showWindow();
    state->tick(); // measures, too
    state->openVolume({"/volume7", "volume7", 1, 2});
    machine.listings.wait(0);
    networkPath.whenStopped = [&] {
        EXPECT_EQ(fields().updates.status, "Cancelling update…") << "and after the updates";
        EXPECT_FALSE(powerEvents.handlers.didWake) << "after the observers";
        EXPECT_TRUE(helper->isClosed()) << "and after the account service";
    };
    state->stop();
    EXPECT_FALSE(powerEvents.handlers.didWake);
    EXPECT_FALSE(networkPath.update);
    state->stop();
    tryEverything();
    state->enterMaintenance();
    state->toggleLayout();
    state->showUtility();
    QCoreApplication::processEvents();
    EXPECT_FALSE(accountActionsBusy(fields()));
    EXPECT_EQ(fields().quota->used, 40);
    EXPECT_FALSE(fields().memoryPercent);
    EXPECT_EQ(fields().settingsStatus, "");
    EXPECT_EQ(window.orders, 0);
    EXPECT_EQ(launches, 1);
    EXPECT_TRUE(waitForWorkThreads(std::chrono::seconds(60)));
}

TEST_F(StateLifeCycle, LosesWhatAnOldUpdateHasLeft) {
    caches = folder.path();
    const auto cache = UpdateCache::open(*caches).value();
    writeAll(cache.archive(), "old");
    now = systemNow() + 15.0 * 24 * 60 * 60;
    start();
    waitUntil([&] { return fields().installationVerified.has_value(); });
    EXPECT_FALSE(std::filesystem::exists(cache.archive()));
}

} // namespace
} // namespace tallywick::testing
