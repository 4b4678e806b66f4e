// What the user opens from the window: volumes and the maker's website.

#include "StateHarness.h"

#include <gtest/gtest.h>

#include <QCoreApplication>

#include <filesystem>

namespace tallywick::testing {
namespace {

TEST(OpenVolume, OpensWhatIsStillThereAndTellsWhatIsNot) {
    const std::string gone =
        "That volume is no longer mounted. The volume list has been refreshed.";
    const struct {
        const char* description;
        const char* clicked;
        const char* name;
        bool opens;
        std::string status;
    } cases[] = {{"there", "volume0", "volume0", true, ""},
                 {"not mounted any more", "volume7", "volume7", false, gone},
                 {"another one in its place", "volume0", "stick", false, gone},
                 {"a link in its place", "volume1", "volume1", false, gone},
                 {"there, but no file browser", "volume2", "volume2", true,
                  "The file browser could not open."}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.description);
        StateHarness harness;
        harness.machine.volumePath = (harness.folder / "volume").string();
        harness.machine.volumes = 3;
        std::filesystem::create_directory(harness.folder / "volume0");
        std::filesystem::create_directory_symlink("volume0", harness.folder / "volume1");
        std::filesystem::create_directory(harness.folder / "volume2");
        harness.workspace.fileBrowserWorks = std::string_view(row.clicked) != "volume2";
        UtilityState& state = harness.start();
        const std::filesystem::path clicked = harness.folder / row.clicked;
        // It has other space free by now.
        state.openVolume({clicked, row.name, 1, 2});
        while (harness.workspace.openedFolder.empty() && harness.fields().settingsStatus.empty())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        EXPECT_EQ(harness.workspace.openedFolder, row.opens ? clicked : "");
        EXPECT_EQ(harness.fields().settingsStatus, row.status);
        EXPECT_EQ(harness.fields().volumes.size(), row.opens ? 0U : 3U);
    }
}

TEST(OpenVolume, IsSilentDuringMaintenanceAndAfterTheEnd) {
    StateHarness harness;
    UtilityState& state = harness.start();
    const VolumeInfo volume{"/volume7", "volume7", 1, 2};
    state.openVolume(volume);
    harness.machine.listings.wait(0);
    state.enterMaintenance();
    state.openVolume(volume);
    state.stop();
    state.openVolume(volume);
    QCoreApplication::processEvents();
    EXPECT_EQ(harness.fields().settingsStatus, "");
    EXPECT_TRUE(harness.fields().volumes.empty());
    harness.state.reset(); // waits for the queue
    EXPECT_EQ(harness.machine.listings, 1);
}

TEST(Website, ItsPagesAreOpenedAndShared) {
    StateHarness harness;
    UtilityState& state = harness.start();
    state.openHomePage();
    EXPECT_EQ(harness.workspace.opened, "https://corvane.example/");
    state.openProductPage();
    EXPECT_EQ(harness.workspace.opened, "https://corvane.example/toolyard/tallywick/");
    state.shareByMail();
    EXPECT_EQ(harness.workspace.opened, "mailto:?subject=Tallywick&body="
                                        "https%3A%2F%2Fcorvane.example%2Ftoolyard%2Ftallywick%2F");
    state.copyProductAddress();
    EXPECT_EQ(harness.workspace.clipboard, "https://corvane.example/toolyard/tallywick/");
    EXPECT_EQ(harness.fields().settingsStatus, "");
    harness.workspace.browserWorks = false;
    state.openHomePage();
    EXPECT_EQ(harness.fields().settingsStatus, "The page could not be opened.");
}

} // namespace
} // namespace tallywick::testing
