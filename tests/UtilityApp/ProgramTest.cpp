// The program as its users meet it: a process with arguments, output and signals.

#include "support/PrivateBus.h"
#include "support/RunningProgram.h"

#include <QDBusMessage>
#include <QImage>

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <cstdlib>
#include <fstream>

namespace tallywick::testing {
namespace {

namespace fs = std::filesystem;

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

const std::string sampleHelper = std::string(" --helper ") + SAMPLE_HELPER;
const std::string notFound = "Codex not found. Install Codex or choose its app in Settings.\n";

/// A home of its own for the program, without any helper.
class ProgramTest : public ::testing::Test {
  protected:
    void SetUp() override {
        for (const char* variable : {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME"})
            ::setenv(variable, home.path().c_str(), 1);
        ::setenv("PATH", "/usr/bin:/bin", 1);
        ::unsetenv("TALLYWICK_SAMPLE");
        ::unsetenv("DISPLAY");
    }

    /// Standard output and error of the program, and its exit status.
    static std::string utility(const std::string& arguments) {
        return outputOf(std::string(CORVANE_UTILITY) + " " + arguments + "; echo \"[exit $?]\"");
    }

    TemporaryFolder home;
};

TEST_F(ProgramTest, ReportsAReadingOfTheHelper) {
    EXPECT_THAT(utility("--report" + sampleHelper),
                MatchesRegex("WEEKLY USAGE     [0-9]+% used\n.*LATEST DAY .*\n\\[exit 0\\]"));
    EXPECT_THAT(utility("--report --json" + sampleHelper), StartsWith("{\"helperLocation\":null"));
    EXPECT_TRUE(fs::is_empty(home.path())) << "it stores nothing";
}

TEST_F(ProgramTest, FailsWithItsSentenceAndNotTheHelpers) {
    const struct {
        const char* scenario;
        std::string arguments;
        ::testing::Matcher<std::string> outcome;
    } cases[] = {
        {"crash", "--report" + sampleHelper, "Codex helper stopped. Retrying shortly.\n[exit 1]"},
        {"long-errors", "--report --verbose" + sampleHelper,
         AllOf(HasSubstr("[exit 1]"), Not(HasSubstr("@")), Not(HasSubstr("<html")))},
        {"", "--report --helper /bin/sh --verbose",
         notFound + "HELPER           not found\n[exit 1]"},
        {"", "--nonsense", AllOf(StartsWith("Usage: "), HasSubstr("[exit 2]"))},
    };
    for (const auto& [scenario, arguments, outcome] : cases) {
        ::setenv("TALLYWICK_SAMPLE", scenario, 1);
        EXPECT_THAT(utility(arguments), outcome) << scenario << arguments;
    }
}

TEST_F(ProgramTest, SaysWhatToDoWithoutADisplay) {
    for (const char* display :
         {"", "DISPLAY=:65000", "WAYLAND_DISPLAY=none QT_QPA_PLATFORM=wayland"})
        EXPECT_EQ(outputOf(std::string("env ") + display
                           + " XDG_RUNTIME_DIR=/ " CORVANE_UTILITY "; echo \"[exit $?]\""),
                  "Tallywick found no display to show its window on.\nWithout one, --render FILE "
                  "draws the window into a picture, and --report prints a report.\n[exit 2]")
            << display;
}

TEST_F(ProgramTest, FindsAHelperInTheHomeFolder) {
    EXPECT_EQ(utility("--locate"), notFound + "[exit 1]");
    fs::create_directories(home / ".local/bin");
    fs::copy(SAMPLE_HELPER, home / ".local/bin/codex");
    EXPECT_EQ(utility("--locate"), "<user-selected or IDE installation>/…/codex\n[exit 0]");
    EXPECT_THAT(utility("--report"), HasSubstr("[exit 0]"));
}

TEST_F(ProgramTest, DrawsItsWindowWithoutADisplay) {
    const struct {
        const char* arguments;
        QSize size;
        bool isLight;
    } cases[] = {
        {"--scenario live", {520, 659}, false},
        {"--scenario live --theme day --scale 2", {1040, 1318}, true},
        {"--scenario live --layout mini", {500, 225}, false},
    };
    const std::string file = home / "picture.png";
    for (const auto& [arguments, size, isLight] : cases) {
        EXPECT_EQ(utility("--render " + file + " " + arguments), "[exit 0]");
        const QImage picture(QString::fromStdString(file));
        EXPECT_EQ(picture.size(), size) << arguments;
        EXPECT_EQ(picture.pixelColor(2, 2).lightness() > 128, isLight) << arguments;
    }
    fs::remove(file);
    EXPECT_EQ(utility("--render " + file + " --sheet settings" + sampleHelper), "[exit 0]");
    EXPECT_FALSE(QImage(QString::fromStdString(file)).isNull());
    EXPECT_EQ(utility("--render " + file + " --scenario none"),
              "There is no scenario of that name.\n[exit 1]");
    EXPECT_EQ(utility("--render /no/folder.png --scenario live"),
              "The picture could not be written.\n[exit 1]");
}

TEST_F(ProgramTest, WatchesUntilItIsAskedToEndOrNobodyReadsItsLines) {
    RunningProgram program(CORVANE_UTILITY, {"--watch", "--helper", SAMPLE_HELPER});
    program.waitFor("lifetime tokens");
    EXPECT_THAT(program.end(),
                MatchesRegex("\\[CONNECTING\\] Finding Codex…\n"
                             "\\[LIVE\\] LIVE · Synced [^\n]*% used, [^\n]*\n"
                             "\\[LIVE\\] LIVE · Synced [^\n]* lifetime tokens[^\n]*\n"));
    EXPECT_TRUE(fs::exists(home / "Corvane Tallywick/usage-history.json"));
    EXPECT_THAT(utility("--watch" + sampleHelper + " | head -n 1"),
                StartsWith("[CONNECTING] Finding Codex…\n[exit "));
}

TEST_F(ProgramTest, SaysWhenItCannotKeepAnything) {
    runIn(home.path(), "mkdir elsewhere; ln -s elsewhere 'Corvane Tallywick'");
    const std::string output = utility("--watch" + sampleHelper + " | head -n 2");
    EXPECT_THAT(output, HasSubstr("Readings or preferences are not kept: their folder is reached "
                                  "through a symbolic link.\n"));
    EXPECT_TRUE(fs::is_empty(home / "elsewhere"));
}

/// Has a watching program meet a sleep of the machine, as logind announces it on the bus.
void sleepAndWake(const std::string& home) {
    const PrivateBus systemBus;
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", systemBus.address().c_str(), 1);
    auto bus = systemBus.connection("logind");
    EXPECT_TRUE(bus.registerService(u"org.freedesktop.login1"_qs));
    const auto announce = [&bus](bool isAsleep) {
        EXPECT_TRUE(bus.send(QDBusMessage::createSignal(u"/org/freedesktop/login1"_qs,
                                                        u"org.freedesktop.login1.Manager"_qs,
                                                        u"PrepareForSleep"_qs)
                             << isAsleep));
    };

    // A helper that tells of its start, through a pipe, and then hangs.
    const std::string helper = home + "/codex";
    const std::string pipe = home + "/starts";
    fs::copy(MISBEHAVING_HELPER, helper);
    std::ofstream(helper + ".script") << "tell " + pipe + "\nhang\n";
    EXPECT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    RunningProgram starts("/bin/sh", {"-c", "exec 3<>" + pipe + "; cat <&3"});

    RunningProgram program(CORVANE_UTILITY, {"--watch", "--helper", helper});
    starts.waitFor("start of a helper\n");
    announce(true);
    announce(false);
    // Long before the first would time out.
    starts.waitFor("start of a helper\nstart of a helper\n");
    EXPECT_EQ(program.end(), "[CONNECTING] Finding Codex…\n");
}

TEST_F(ProgramTest, ClosesTheHelperForSleepAndStartsAnotherOneAfterIt) {
    runApart([this] { sleepAndWake(home.path()); });
}

} // namespace
} // namespace tallywick::testing
