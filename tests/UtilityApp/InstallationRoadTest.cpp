// The whole road of an installation, with real copies of the program on a desktop of their own: an
// unpacked copy installs itself, is replaced, found by the launcher, and removed.

#include "Desktop.h"
#include "base/Product.h"
#include "platform/bundle/ApplicationBundle.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>

#include <unistd.h>

namespace tallywick::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Strings = std::vector<std::string>;

class InstallationRoad : public ::testing::Test {
  protected:
    void SetUp() override {
        if (::access("/Applications", W_OK) == 0)
            GTEST_SKIP() << "an installation would go into /Applications here";
        if (!runningApplications({Product::bundleIdentifier}).empty())
            GTEST_SKIP() << "copies run that an uninstallation would ask to quit";
        for (const char* name : {"Downloads", "Desktop"})
            fs::create_directory(home / name);
        ::setenv("XDG_DATA_HOME", (home / ".local/share").c_str(), 1);
        ::setenv("XDG_CONFIG_HOME", (home / ".config").c_str(), 1);
        ::setenv("XDG_CACHE_HOME", (home / ".cache").c_str(), 1);
        fs::copy(APPLICATION_BUNDLE, downloaded, fs::copy_options::recursive);
    }
    void TearDown() override {
        for (const RunningApplication& copy : runningCopies())
            ::kill(copy.processId, SIGKILL);
    }

    std::vector<RunningApplication> runningCopies() const {
        auto copies = runningApplications({Product::bundleIdentifier});
        std::erase_if(copies, [&](const RunningApplication& copy) {
            return !copy.bundle.string().starts_with(home.string());
        });
        return copies;
    }
    /// Waits until one copy runs there and no other does. Its process id.
    int onlyCopy(const fs::path& bundle) const {
        int process = 0;
        EXPECT_TRUE(waitUntil([&] {
            const auto copies = runningCopies();
            process = copies.empty() ? 0 : copies.front().processId;
            return copies.size() == 1 && copies.front().bundle == bundle;
        }));
        return process;
    }
    /// The names in a folder.
    static Strings contentOf(const fs::path& folder) {
        Strings names;
        if (fs::exists(folder))
            for (const auto& entry : fs::directory_iterator(folder))
                names.push_back(entry.path().filename().string());
        std::ranges::sort(names);
        return names;
    }
    /// Has the downloaded copy install itself, by the keyboard. The process id of the installed
    /// one.
    int install(bool replaces) {
        const RunningProgram copy(downloaded / Product::executablePath, {});
        activate("Welcome to Tallywick");
        desktop.press("Return");
        if (replaces) {
            activate("Replace the installed utility?");
            desktop.press("Return");
        }
        return onlyCopy(installed);
    }
    /// Has the one copy that runs remove itself, by the keyboard, and waits for its end.
    void uninstall(bool withData) {
        activate("Corvane — Tallywick");
        desktop.press("ctrl+comma");
        activate("Utility Settings");
        desktop.press("shift+Tab"); // from "Done" to what stands before it
        desktop.press("space");
        activate("Move Tallywick to the Trash?");
        if (withData)
            desktop.press("Tab space shift+Tab");
        desktop.press("Return");
        EXPECT_TRUE(waitUntil([&] { return runningCopies().empty(); }));
    }
    /// Waits for the window with that title, and gives it the keyboard.
    void activate(const std::string& title) {
        EXPECT_TRUE(waitUntil([&] {
            outputOf("wmctrl -F -a '" + title + "'");
            return outputOf("xdotool getactivewindow getwindowname") == title;
        })) << title;
    }
    const Desktop desktop;
    const fs::path home = desktop.home();
    const fs::path downloaded = home / "Downloads" / Product::applicationFolderName;
    const fs::path installed = home / "Applications" / Product::applicationFolderName;
    const fs::path trash = home / ".local/share/Trash";
    const fs::path data = home / ".local/share/Corvane Tallywick";
    const fs::path preferences = home / ".config/Corvane Tallywick/preferences.json";
    const std::string alias = "Corvane Tallywick alias.desktop";
    const fs::path entry =
        home / ".local/share/applications" / (std::string(Product::bundleIdentifier) + ".desktop");
};

TEST_F(InstallationRoad, GoesFromTheDownloadToTheTrash) {
    const int first = install(false);
    EXPECT_EQ(runningCopies().at(0).arguments.at(0), Product::finishInstallArgument);
    EXPECT_THAT(contentOf(installed.parent_path()), ElementsAre(installed.filename()));
    EXPECT_THAT(contentOf(home / "Desktop"), ElementsAre(alias));
    EXPECT_EQ(contentOf(entry.parent_path()), Strings({entry.filename()}));
    EXPECT_THAT(contentOf(trash / "files"), IsEmpty());

    const int second = install(true); // the copy that runs there makes way
    EXPECT_NE(second, first);
    EXPECT_THAT(contentOf(installed.parent_path()), ElementsAre(installed.filename()));
    EXPECT_THAT(contentOf(home / "Desktop"), ElementsAre(alias));
    EXPECT_EQ(contentOf(trash / "files").size(), 2U) << "the earlier copy and its alias";

    // The launcher and the alias start it, which brings the copy that runs forward.
    for (const fs::path& opened : {entry, home / "Desktop" / alias}) {
        EXPECT_EQ(outputOf("gio launch '" + opened.string() + "'"), "");
        EXPECT_EQ(onlyCopy(installed), second);
    }

    desktop.press("ctrl+shift+m"); // which is kept
    EXPECT_TRUE(waitUntil([&] { return fs::exists(preferences); }));
    fs::create_directories(data);
    writeAll(data / "usage-history.json", "[]\n");
    uninstall(true);
    EXPECT_THAT(contentOf(installed.parent_path()), IsEmpty());
    EXPECT_THAT(contentOf(home / "Desktop"), IsEmpty());
    EXPECT_THAT(contentOf(entry.parent_path()), IsEmpty());
    EXPECT_FALSE(fs::exists(data));
    EXPECT_FALSE(fs::exists(preferences.parent_path()));
    EXPECT_THAT(contentOf(trash / "files"), Contains("Corvane Tallywick"));
    EXPECT_EQ(contentOf(trash / "info").size(), contentOf(trash / "files").size());
}

TEST_F(InstallationRoad, KeepsTheDataUnlessTheUserWantsOtherwise) {
    fs::create_directories(data);
    writeAll(data / "usage-history.json", "[]\n");
    install(false);
    fs::remove(home / "Desktop" / alias);
    writeAll(home / "Desktop" / alias, "mine");
    uninstall(false);
    EXPECT_THAT(contentOf(trash / "files"), ElementsAre(installed.filename()));
    EXPECT_THAT(contentOf(home / "Desktop"), ElementsAre(alias));
    EXPECT_EQ(readAll(data / "usage-history.json"), "[]\n");
}

} // namespace
} // namespace tallywick::testing
