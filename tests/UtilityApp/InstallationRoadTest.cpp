// The whole road of an installation, with real copies of the program on a desktop of their own: an
// unpacked copy installs itself, is replaced and updated, found by the launcher, and removed.

#include "AccessibilityBus.h"
#include "Desktop.h"
#include "base/Product.h"
#include "install/AppInstallation.h"
#include "platform/bundle/ApplicationBundle.h"
#include "platform/linux/Descriptors.h"
#include "support/SmallDisk.h"
#include "support/TemporaryFolder.h"
#include "update/HttpsServer.h"

#include <gmock/gmock.h>

#include <net/if.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>

#include <csignal>
#include <cstdlib>

namespace tallywick::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Strings = std::vector<std::string>;

/// Why no road can be gone here; null where one can.
const char* obstacle() {
    if (::access("/Applications", W_OK) == 0)
        return "an installation would go into /Applications here";
    if (!runningApplications({Product::bundleIdentifier}).empty())
        return "copies run that an uninstallation would ask to quit";
    return nullptr;
}

/// A home with a downloaded copy, and the hands of its user.
class Road {
  public:
    Road() {
        for (const char* name : {"Downloads", "Desktop"})
            fs::create_directory(home / name);
        ::setenv("XDG_DATA_HOME", (home / ".local/share").c_str(), 1);
        ::setenv("XDG_CONFIG_HOME", (home / ".config").c_str(), 1);
        ::setenv("XDG_CACHE_HOME", (home / ".cache").c_str(), 1);
        fs::copy(APPLICATION_BUNDLE, downloaded, fs::copy_options::recursive);
    }
    ~Road() { killCopies(); }
    Road(const Road&) = delete;
    Road& operator=(const Road&) = delete;

    std::vector<RunningApplication> runningCopies() const {
        auto copies = runningApplications({Product::bundleIdentifier});
        std::erase_if(copies, [&](const RunningApplication& copy) {
            return !copy.bundle.string().starts_with(home.string());
        });
        return copies;
    }
    void killCopies() const {
        for (const RunningApplication& copy : runningCopies())
            ::kill(copy.processId, SIGKILL);
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
    /// Has a copy that was just opened install itself, by the keyboard.
    void confirmInstalling(bool replaces) const {
        activate("Welcome to Tallywick");
        desktop.press("Return");
        if (!replaces)
            return;
        activate("Replace the installed utility?");
        desktop.press("Return");
    }
    /// Has the downloaded copy install itself. The process id of the installed one.
    int install(bool replaces) const {
        const RunningProgram copy(downloaded / Product::executablePath, {});
        confirmInstalling(replaces);
        return onlyCopy(installed);
    }
    /// Has the one copy that runs remove itself, by the keyboard, and waits for its end.
    void uninstall(bool withData) const {
        openSettings();
        desktop.press("shift+Tab"); // from "Done" to what stands before it
        desktop.press("space");
        activate("Move Tallywick to the Trash?");
        if (withData)
            desktop.press("Tab space shift+Tab");
        desktop.press("Return");
        EXPECT_TRUE(waitUntil([&] { return runningCopies().empty(); }));
    }
    void openSettings() const {
        activate("Corvane — Tallywick");
        desktop.press("ctrl+comma");
        activate("Utility Settings");
    }
    /// Waits for the window with that title, and gives it the keyboard.
    void activate(const std::string& title) const {
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

/// The maker with release 9.0.0, and a network in which his host is this machine and his
/// certificate is as good as any other: the programs that are started afterwards see it.
class Maker {
  public:
    /// Whether this machine and this build have room for him. To be asked before there are threads.
    static bool isPossible() { return SmallDisk::isPossible() && Product::makerKeys.empty(); }

    Maker() {
        writeAll(folder / "hosts", "127.0.0.1 corvane.example\n");
        writeAll(folder / "ca.pem", certificates.authority());
        fs::copy(APPLICATION_BUNDLE, folder / "new.app", fs::copy_options::recursive);
        runIn(folder.path(), "mkdir certs '" + std::string(Product::applicationFolderName) + R"('
cp ca.pem certs/$(openssl x509 -noout -hash -in ca.pem).0
mv new.app/* *Tallywick.app; sed -i 's/>)"
                                 + Product::version
                                 + R"(</>9.0.0</' *Tallywick.app/Contents/Info.plist
strip *Tallywick.app/Contents/MacOS/*; echo Faster. >notes
MAKE=')" MAKE_RELEASE R"('; public=$("$MAKE" key key)
"$MAKE" sign *Tallywick.app key; "$MAKE" pack *Tallywick.app notes release "$public"; mv release/*.zip zip)");
        EXPECT_EQ(::mount((folder / "hosts").c_str(), "/etc/hosts", nullptr, MS_BIND, nullptr), 0);
        EXPECT_EQ(::mount((folder / "certs").c_str(), "/etc/ssl/certs", nullptr, MS_BIND, nullptr),
                  0);
        EXPECT_EQ(::unshare(CLONE_NEWNET), 0);
        const UniqueFd socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        ifreq loopback{{"lo"}, {}};
        loopback.ifr_flags = IFF_UP;
        EXPECT_EQ(::ioctl(socket.get(), SIOCSIFFLAGS, &loopback), 0);
        for (const char* proxy : {"http_proxy", "https_proxy", "all_proxy", "HTTPS_PROXY"})
            ::unsetenv(proxy);
    }

    void serveFeed() { serve("release/mac-latest.json"); }
    void serveArchive() { serve("zip"); }

  private:
    void serve(const char* file) {
        constexpr std::uint16_t https = 443;
        server.reset();
        server.emplace(certificates.server("maker"),
                       Script{.pieces = {answer(readAll(folder / file))}, .port = https});
    }

    const TemporaryFolder folder;
    const Certificates certificates;
    std::optional<HttpsServer> server;
};

/// Has the installed copy, which runs, fetch an update. That is opened and installs itself over it.
void update(const Road& road, Maker& maker) {
    const AccessibilityBus bus;
    road.openSettings();
    maker.serveFeed();
    bus.press("push button: Check for Updates");
    bus.find("push button: Download Update");
    maker.serveArchive();
    bus.press("push button: Download Update");
    bus.press("push button: Show Download");
    bus.press("push button: Open Update");
    road.confirmInstalling(true);
    EXPECT_TRUE(waitUntil([&] {
        const auto information = informationDictionary(road.installed);
        return information && information->value("CFBundleShortVersionString", "") == "9.0.0";
    }));
    road.onlyCopy(road.installed);
}

void goFromTheDownloadToTheTrash(bool hasMaker) {
    const Road road;
    const fs::path& installed = road.installed;
    std::optional<Maker> maker;
    if (hasMaker)
        maker.emplace();
    ::setenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1", 1);
    const RunningProgram service("/usr/libexec/at-spi-bus-launcher", {"--launch-immediately"});
    const int first = road.install(false);
    EXPECT_EQ(road.runningCopies().at(0).arguments.at(0), Product::finishInstallArgument);
    const auto expectOneCopy = [&](std::size_t trashed) {
        EXPECT_THAT(Road::contentOf(installed.parent_path()), ElementsAre(installed.filename()));
        EXPECT_THAT(Road::contentOf(road.home / "Desktop"), ElementsAre(road.alias));
        EXPECT_EQ(Road::contentOf(road.entry.parent_path()), Strings({road.entry.filename()}));
        EXPECT_EQ(Road::contentOf(road.trash / "files").size(), trashed);
    };
    expectOneCopy(0);
    const int second = road.install(true); // the copy that runs there makes way
    EXPECT_NE(second, first);
    expectOneCopy(2); // the earlier copy and its alias

    // The launcher and the alias start it, which brings the copy that runs forward.
    for (const fs::path& opened : {road.entry, road.home / "Desktop" / road.alias}) {
        EXPECT_EQ(outputOf("gio launch '" + opened.string() + "'"), "");
        EXPECT_EQ(road.onlyCopy(installed), second);
    }

    road.desktop.press("ctrl+shift+m"); // which is kept
    EXPECT_TRUE(waitUntil([&] { return fs::exists(road.preferences); }));
    fs::create_directories(road.data);
    writeAll(road.data / "usage-history.json", "[]\n");
    if (maker) {
        update(road, *maker);
        expectOneCopy(4);
    }
    road.uninstall(true);
    EXPECT_THAT(Road::contentOf(installed.parent_path()), IsEmpty());
    EXPECT_THAT(Road::contentOf(road.home / "Desktop"), IsEmpty());
    EXPECT_THAT(Road::contentOf(road.entry.parent_path()), IsEmpty());
    EXPECT_FALSE(fs::exists(road.data));
    EXPECT_FALSE(fs::exists(road.preferences.parent_path()));
    EXPECT_THAT(Road::contentOf(road.trash / "files"), Contains("Corvane Tallywick"));
    EXPECT_EQ(Road::contentOf(road.trash / "info").size(),
              Road::contentOf(road.trash / "files").size());
}

TEST(InstallationRoad, GoesFromTheDownloadToTheTrash) {
    if (const char* const reason = obstacle())
        GTEST_SKIP() << reason;
    const bool hasMaker = Maker::isPossible();
    runApart([hasMaker] { goFromTheDownloadToTheTrash(hasMaker); });
    if (!hasMaker)
        GTEST_SKIP()
            << "all but the update: this machine lets nobody have a network of his own, or "
               "the program takes one maker's releases only";
}

TEST(InstallationRoad, KeepsTheDataUnlessTheUserWantsOtherwise) {
    if (const char* const reason = obstacle())
        GTEST_SKIP() << reason;
    const Road road;
    fs::create_directories(road.data);
    writeAll(road.data / "usage-history.json", "[]\n");
    road.install(false);
    const fs::path alias = road.home / "Desktop" / road.alias;
    fs::remove(alias);
    writeAll(alias, "mine");
    road.uninstall(false);
    EXPECT_THAT(Road::contentOf(road.trash / "files"), ElementsAre(road.installed.filename()));
    EXPECT_EQ(readAll(alias), "mine");
    EXPECT_EQ(readAll(road.data / "usage-history.json"), "[]\n");
}

/// Replaces the installed copy, until that is done or so many changes of folders were seen; then
/// everything is killed. The changes that were seen.
int replaceAndKill(const Road& road, std::optional<int> lastChange) {
    const UniqueFd watch(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    for (const fs::path& folder :
         {road.installed.parent_path(), road.home / "Desktop", road.entry.parent_path()}) {
        fs::create_directories(folder);
        ::inotify_add_watch(watch.get(), folder.c_str(), IN_CREATE | IN_MOVE | IN_DELETE);
    }
    int changes = 0;
    const auto look = [&] {
        alignas(inotify_event) char events[4096];
        const ssize_t size = ::read(watch.get(), events, sizeof events);
        for (ssize_t at = 0; at < size; ++changes)
            at += static_cast<ssize_t>(sizeof(inotify_event))
                  + reinterpret_cast<const inotify_event*>(events + at)->len;
    };
    const RunningProgram copy(road.downloaded / Product::executablePath, {});
    road.confirmInstalling(true);
    if (!lastChange)
        road.onlyCopy(road.installed);
    pollfd change{watch.get(), POLLIN, 0};
    for (look(); lastChange && changes < *lastChange; look())
        EXPECT_EQ(::poll(&change, 1, 60'000), 1);
    road.killCopies();
    EXPECT_TRUE(waitUntil([&] { return road.runningCopies().empty(); }));
    return changes;
}

/// For some minutes: CONTRIBUTING.md tells how to run it.
TEST(InstallationRoad, DISABLED_LosesNothingWhereverItIsKilled) {
    const Road road;
    const auto isWhole = [&] {
        return AppInstallation::isVerifiedBundle(road.installed, *systemCodeSignature());
    };
    const auto onlyHas = [](const fs::path& folder, const std::string& name) {
        Strings found = Road::contentOf(folder);
        std::erase(found, name);
        std::erase(found, name + ".new"); // the next one who writes takes it over
        return found.empty();
    };
    road.install(false);
    road.killCopies();
    const int changes = replaceAndKill(road, std::nullopt);
    EXPECT_GE(changes, 5);
    for (int last = 1; last <= changes; ++last) {
        SCOPED_TRACE("killed after change " + std::to_string(last));
        replaceAndKill(road, last);
        {
            const RunningProgram copy(road.downloaded / Product::executablePath, {});
            EXPECT_TRUE(waitUntil(isWhole)) << "it is put back";
        }
        const RunningProgram copy(road.installed / Product::executablePath, {});
        EXPECT_TRUE(waitUntil([&] {
            return onlyHas(road.installed.parent_path(), road.installed.filename());
        })) << ::testing::PrintToString(Road::contentOf(road.installed.parent_path()));
        EXPECT_TRUE(isWhole());
        EXPECT_TRUE(onlyHas(road.home / "Desktop", road.alias));
        EXPECT_TRUE(onlyHas(road.entry.parent_path(), road.entry.filename()));
        EXPECT_EQ(Road::contentOf(road.trash / "info").size(),
                  Road::contentOf(road.trash / "files").size());
    }
}

} // namespace
} // namespace tallywick::testing
