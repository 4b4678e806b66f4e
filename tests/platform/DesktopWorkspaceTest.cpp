#include "platform/desktop/Workspace.h"

#include "base/Product.h"
#include "platform/desktop/WindowSystem.h"
#include "support/PrivateBus.h"

#include <QClipboard>
#include <QDBusConnection>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QUrl>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <vector>

namespace tallywick {
namespace {

/// Stands for the browser, the mail program and the file browser.
class Opener : public QObject {
    Q_OBJECT
  public:
    std::string opened;
  public Q_SLOTS:
    void open(const QUrl& url) { opened = url.toString(QUrl::FullyEncoded).toStdString(); }
    void ShowItems(const QStringList& items, const QString&) {
        opened = items.join(u' ').toStdString();
    }
};

TEST(WindowSystem, IsX11WhereWaylandHasItTooUnlessTheUserHasChosen) {
    const struct {
        const char *wayland, *x11, *chosen;
        bool asks;
    } sessions[] = {{"wayland-0", ":0", "", true},
                    {"wayland-0", ":0", "wayland", false},
                    {"wayland-0", "", "", false},
                    {"", ":0", "", false},
                    {"wayland-0", "", "xcb", false}};
    for (const auto& [wayland, x11, chosen, asks] : sessions) {
        const std::map<std::string, std::string> session{
            {"WAYLAND_DISPLAY", wayland}, {"DISPLAY", x11}, {"QT_QPA_PLATFORM", chosen}};
        // Where X11 cannot be reached the toolkit goes on to Wayland.
        const std::vector<std::string> both{"-platform", "xcb;wayland"};
        EXPECT_EQ(windowSystemArguments([&](const char* name) { return session.at(name); }),
                  asks ? both : std::vector<std::string>())
            << wayland << x11 << chosen;
    }
}

TEST(DesktopWorkspace, OpensAddressesAndCopiesTexts) {
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    ::setenv("QT_NO_GLIB", "1", 1); // its event loop keeps a descriptor to the end of the process
    const auto workspace = desktopWorkspace();
    EXPECT_FALSE(workspace->openAddress("https://example.com/")) << "no desktop yet";
    EXPECT_FALSE(workspace->openFolder("/"));
    workspace->copyText("lost");

    int count = 0;
    const QGuiApplication application(count, nullptr);
    Opener opener;
    for (const auto& scheme : {u"https"_qs, u"mailto"_qs, u"file"_qs})
        QDesktopServices::setUrlHandler(scheme, &opener, "open");
    for (const char* address : {"https://auth.openai.com/authorize?callback=http%3A%2F%2Flocalhost",
                                "mailto:?subject=A&body=https%3A%2F%2Fcorvane.example%2F"}) {
        EXPECT_TRUE(workspace->openAddress(address));
        EXPECT_EQ(opener.opened, address);
    }
    EXPECT_FALSE(workspace->openAddress("https://example.com/%zz"));
    EXPECT_TRUE(workspace->openFolder("/media/50% #1?"));
    EXPECT_EQ(opener.opened, "file:///media/50%25%20%231%3F");
    workspace->copyText("Codex: é");
    EXPECT_EQ(QGuiApplication::clipboard()->text().toStdString(), "Codex: é");
}

TEST(DesktopWorkspace, AsksTheFileBrowserToSelectAnItem) {
    testing::runApart([] {
        const testing::PrivateBus bus;
        ::setenv("DBUS_SESSION_BUS_ADDRESS", bus.address().c_str(), 1);
        QDBusConnection connection = bus.connection("browser");
        Opener browser;
        EXPECT_TRUE(connection.registerObject(u"/org/freedesktop/FileManager1"_qs,
                                              u"org.freedesktop.FileManager1"_qs, &browser,
                                              QDBusConnection::ExportAllSlots));
        EXPECT_TRUE(connection.registerService(u"org.freedesktop.FileManager1"_qs));
        desktopWorkspace()->revealItem("/not/awaited");
        const auto workspace = desktopWorkspace();
        workspace->revealItem("/a b/c#d");
        EXPECT_TRUE(testing::eventually([&] { return browser.opened == "file:///a%20b/c%23d"; }));
    });
}

/// A bundle whose application is a shell script.
struct ScriptedApplication : testing::TemporaryFolder {
    explicit ScriptedApplication(const std::string& script) {
        const auto program = path() / Product::executablePath;
        std::filesystem::create_directories(program.parent_path());
        testing::writeAll(program, "#!/bin/sh\n" + script);
        std::filesystem::permissions(program, std::filesystem::perms{0755});
        testing::runIn(path(), "mkfifo gate");
    }
    std::string gate() const { return path() / "gate"; }
};

/// Writes the word to the pipe that the environment names.
const std::string saysItsWord =
    "printf w >/proc/self/fd/${TALLYWICK_WINDOW_SHOWN%%:*}; cd \"${0%/Contents*}\"\n";

TEST(DesktopWorkspace, TellsHowANewInstanceCameOut) {
    using namespace std::chrono_literals;
    const std::string ended = "It ended before it had shown its window.";
    const std::string silent = "It has not shown its window.";
    const std::string waits = "cd \"${0%/Contents*}\"; read line <gate\n";
    const struct {
        const char* name;
        std::string script;
        std::chrono::milliseconds limit;
        std::vector<std::string> outcomes; ///< the gate opens after the first
    } rows[] = {
        {"its window is shown", saysItsWord + waits, 60s, {"shown"}},
        {"it ends", "exit 0\n", 60s, {ended}},
        {"it is late", waits + saysItsWord, 20ms, {silent, "shown"}},
        {"it cannot be started", "", 60s, {"It could not be started: Permission denied."}},
    };
    ::setenv("QT_NO_GLIB", "1", 1); // its event loop keeps a descriptor to the end of the process
    int count = 0;
    const QCoreApplication application(count, nullptr);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const ScriptedApplication bundle(row.script);
        if (row.script.empty())
            testing::runIn(bundle.path(), "chmod 644 Contents/MacOS/*");
        const auto workspace = desktopWorkspace(row.limit);
        std::vector<std::string> outcomes;
        workspace->openNewInstance(bundle.path(), {"--finish-install", "7"},
                                   [&](const Workspace::OpenOutcome& outcome) {
                                       outcomes.push_back(outcome.value_or("shown"));
                                   });
        EXPECT_TRUE(outcomes.empty()) << "told from the event loop alone";
        EXPECT_TRUE(testing::eventually([&] { return !outcomes.empty(); }));
        if (row.script.find("gate") != std::string::npos)
            testing::writeAll(bundle.gate(), "open\n");
        EXPECT_TRUE(testing::eventually([&] { return outcomes.size() >= row.outcomes.size(); }));
        EXPECT_EQ(outcomes, row.outcomes);
    }
}

TEST(DesktopWorkspace, LeavesANewInstanceNothingButItsWord) {
    ::setenv("QT_NO_GLIB", "1", 1); // its event loop keeps a descriptor to the end of the process
    int count = 0;
    const QCoreApplication application(count, nullptr);
    const int open = ::fcntl(STDERR_FILENO, F_DUPFD, 100); // without close-on-exec
    const ScriptedApplication bundle(
        saysItsWord + "me=$(pwd -P; readlink /proc/$$/fd/0 /proc/$$/fd/1 /proc/$$/fd/2\n"
        + "test -e /proc/$$/fd/" + std::to_string(open)
        + " && echo inherited; grep SigIgn /proc/$$/status\n"
          "test $(ps -o sid= -p $$) != "
        + std::to_string(::getsid(0)) + " && echo alone)\necho \"$* $me\" >gate\n");
    std::string seen;
    {
        const auto workspace = desktopWorkspace();
        workspace->openNewInstance(bundle.path(), {"--finish-install", "7"}, [](const auto&) {
            FAIL() << "told although nobody listens any more";
        });
        seen = testing::readAll(bundle.gate());
    }
    ::close(open);
    QCoreApplication::processEvents();
    EXPECT_EQ(seen, "--finish-install 7 " + bundle.path().string()
                        + "\n/dev/null\n/dev/null\n/dev/null\nSigIgn:\t0000000000000000\nalone\n");
}

TEST(LaunchWord, IsSaidInTheVeryPipeThatIsMeantAndNowhereElse) {
    const auto said = [](const std::string& variable, int readEnd) {
        ::setenv("TALLYWICK_WINDOW_SHOWN", variable.c_str(), 1);
        rememberLauncher();
        EXPECT_EQ(::getenv("TALLYWICK_WINDOW_SHOWN"), nullptr);
        const bool isTaken = ::fcntl(readEnd + 1, F_GETFD) == FD_CLOEXEC;
        tellThatWindowIsShown();
        tellThatWindowIsShown();
        std::string text(9, ' ');
        const auto count = ::read(readEnd, text.data(), text.size());
        return (isTaken ? "taken, said " : "left, said ") + std::to_string(count);
    };
    int ends[2] = {};
    ASSERT_EQ(::pipe2(ends, O_NONBLOCK), 0);
    ASSERT_EQ(ends[1], ends[0] + 1);
    const std::string readEnd = std::to_string(ends[0]), writeEnd = std::to_string(ends[1]);
    struct stat status {};
    ASSERT_EQ(::fstat(ends[1], &status), 0);
    const std::string inode = ":" + std::to_string(status.st_ino);
    for (const std::string& stale :
         {std::string(), writeEnd, "x" + inode, writeEnd + ":", writeEnd + ":1", readEnd + inode,
          "1" + inode, "-1" + inode, "99999999999" + inode, writeEnd + inode + ":"})
        EXPECT_EQ(said(stale, ends[0]), "left, said -1") << stale;
    EXPECT_EQ(said(writeEnd + inode, ends[0]), "taken, said 1");
    ::close(ends[0]);

    ASSERT_EQ(::pipe(ends), 0);
    ASSERT_EQ(::fstat(ends[1], &status), 0);
    ::close(ends[0]); // the launcher has ended: no signal ends this program
    said(std::to_string(ends[1]) + ":" + std::to_string(status.st_ino), ends[0]);
}

} // namespace
} // namespace tallywick

#include "DesktopWorkspaceTest.moc"
