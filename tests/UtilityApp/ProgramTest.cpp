// The program as its users meet it: a process with arguments, output and signals.

#include "RunningProgram.h"
#include "support/ScriptedHelper.h"

#include <QImage>

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <cstdlib>
#include <fstream>

namespace tallywick {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using testing::outputOf;
using testing::RunningProgram;
using ::testing::StartsWith;
using testing::TemporaryFolder;

/// A home of its own for the program, without any helper.
class ProgramTest : public ::testing::Test {
  protected:
    void SetUp() override {
        for (const char* variable : {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME"})
            ::setenv(variable, home.path().c_str(), 1);
        ::setenv("PATH", "/usr/bin:/bin", 1);
        ::unsetenv("TALLYWICK_SAMPLE");
    }

    /// Standard output and error of the program, and its exit status.
    static std::string utility(const std::string& arguments) {
        return outputOf(std::string(CORVANE_UTILITY) + " " + arguments + "; echo \"[exit $?]\"");
    }

    TemporaryFolder home;
};

const std::string sampleHelper = std::string(" --helper ") + SAMPLE_HELPER;

TEST_F(ProgramTest, ReportsAReadingOfTheHelper) {
    EXPECT_THAT(utility("--report" + sampleHelper),
                MatchesRegex("WEEKLY USAGE     [0-9]+% used\n"
                             "REMAINING        [0-9]+% remaining\n"
                             "RESETS           [-0-9]+ [0-9:]+\n"
                             "RESET IN         [0-9dhm ]+\n"
                             "LIFETIME TOKENS  [0-9.]+B\n"
                             "LATEST DAY       [-0-9]+ · [0-9.]+[KM]?\n"
                             "\\[exit 0\\]"));
    EXPECT_TRUE(std::filesystem::is_empty(home.path())); // it stores nothing
}

TEST_F(ProgramTest, FailsWithItsSentence) {
    struct Case {
        const char* scenario;
        const char* arguments;
        const char* outcome;
    };
    const std::string helper = sampleHelper;
    const Case cases[] = {
        {"signed-out", helper.c_str(),
         "No saved Codex sign-in. Sign in through Codex or use Sign in in Browser.\n[exit 1]"},
        {"crash", helper.c_str(), "Codex helper stopped. Retrying shortly.\n[exit 1]"},
        {"", "", "Codex not found. Install Codex or choose its app in Settings.\n[exit 1]"},
        {"", " --helper /missing",
         "Codex not found. Install Codex or choose its app in Settings.\n[exit 1]"},
        {"", " --helper /bin/sh --verbose",
         "Codex not found. Install Codex or choose its app in Settings.\n"
         "HELPER           not found\n[exit 1]"},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(std::string(row.scenario) + row.arguments);
        ::setenv("TALLYWICK_SAMPLE", row.scenario, 1);
        EXPECT_EQ(utility(std::string("--report") + row.arguments), row.outcome);
    }
    EXPECT_THAT(utility("--nonsense"), AllOf(StartsWith("Usage: "), HasSubstr("[exit 2]")));
}

TEST_F(ProgramTest, KeepsTheHelpersWordsToItself) {
    ::setenv("TALLYWICK_SAMPLE", "long-errors", 1);
    EXPECT_THAT(utility("--report --verbose" + sampleHelper),
                AllOf(HasSubstr("[exit 1]"), Not(HasSubstr("@")), Not(HasSubstr("<html"))));
}

TEST_F(ProgramTest, FindsAHelperInTheHomeFolder) {
    EXPECT_EQ(utility("--locate"),
              "Codex not found. Install Codex or choose its app in Settings.\n[exit 1]");
    std::filesystem::create_directories(home / ".local/bin");
    std::filesystem::copy(SAMPLE_HELPER, home / ".local/bin/codex");
    EXPECT_EQ(utility("--locate"), "<user-selected or IDE installation>/…/codex\n[exit 0]");
    EXPECT_THAT(utility("--report"), HasSubstr("[exit 0]"));
}

TEST_F(ProgramTest, DrawsItsWindowWithoutADisplay) {
    ::unsetenv("DISPLAY");
    struct Case {
        const char* arguments;
        QSize size;         // of the picture
        QPoint meterEnd;    // in the last segment of its meter that is filled
        QPoint meterBeyond; // in the first one that is not
    };
    const Case cases[] = {
        {"--scenario live", {520, 659}, {216, 185}, {227, 185}},
        {"--scenario live --theme day --scale 2", {1040, 1318}, {432, 370}, {454, 370}},
        {"--scenario live --layout mini", {500, 225}, {208, 118}, {218, 118}},
    };
    const std::string file = home / "picture.png";
    for (const Case& row : cases) {
        SCOPED_TRACE(row.arguments);
        EXPECT_EQ(utility("--render " + file + " " + row.arguments), "[exit 0]");
        const QImage picture(QString::fromStdString(file));
        ASSERT_EQ(picture.size(), row.size);
        const auto blueness = [&](QPoint place) {
            const QColor color = picture.pixelColor(place);
            return color.saturation() * color.value();
        };
        EXPECT_GT(blueness(row.meterEnd), 2 * blueness(row.meterBeyond));
    }
    EXPECT_EQ(utility("--render " + file + " --scenario none"),
              "There is no scenario of that name.\n[exit 1]");
    EXPECT_EQ(utility("--render " + (home / "no/folder.png").string() + " --scenario live"),
              "The picture could not be written.\n[exit 1]");
}

TEST_F(ProgramTest, DrawsWhatTheHelperTells) {
    const std::string file = home / "picture.png";
    EXPECT_EQ(utility("--render " + file + " --sheet settings" + sampleHelper), "[exit 0]");
    EXPECT_FALSE(QImage(QString::fromStdString(file)).isNull());
}

TEST_F(ProgramTest, WatchesUntilItIsAskedToEnd) {
    RunningProgram program(CORVANE_UTILITY, {"--watch", "--helper", SAMPLE_HELPER});
    program.waitFor("lifetime tokens");
    EXPECT_THAT(program.end(),
                MatchesRegex("\\[CONNECTING\\] Finding Codex…\n"
                             "\\[LIVE\\] LIVE · Synced [^\n]*% used, [^\n]*\n"
                             "\\[LIVE\\] LIVE · Synced [^\n]* lifetime tokens[^\n]*\n"));
    EXPECT_TRUE(std::filesystem::exists(home / "Corvane Tallywick/usage-history.json"));
}

TEST_F(ProgramTest, EndsWhenNobodyReadsItsLines) {
    EXPECT_THAT(utility("--watch" + sampleHelper + " | head -n 1"),
                StartsWith("[CONNECTING] Finding Codex…\n[exit "));
}

TEST_F(ProgramTest, ClosesTheHelperForSleepAndStartsAnotherOneAfterIt) {
    // The bus and logind's place on it.
    const std::string address = "unix:path=" + (home / "bus").string();
    RunningProgram bus("/usr/bin/dbus-daemon",
                       {"--session", "--nofork", "--print-address", "--address=" + address});
    bus.waitFor("unix:path=");
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
    RunningProgram logind(FAKE_LOGIND, {});
    logind.waitFor("ready");

    // A helper that tells of its start, through a pipe that lies beside it, and then hangs.
    const std::string helper = home / "codex";
    std::filesystem::copy(MISBEHAVING_HELPER, helper);
    std::ofstream(helper + ".script") << "tell " + helper + ".starts\nhang\n";
    ASSERT_EQ(::mkfifo((helper + ".starts").c_str(), 0600), 0);
    RunningProgram starts("/bin/sh", {"-c", "exec 3<>" + helper + ".starts; cat <&3"});

    RunningProgram program(CORVANE_UTILITY, {"--watch", "--helper", helper});
    starts.waitFor("start of a helper\n");
    logind.tell("sleep");
    logind.tell("wake");
    starts.waitFor(
        "start of a helper\nstart of a helper\n"); // long before the first would time out
    EXPECT_EQ(program.end(), "[CONNECTING] Finding Codex…\n");
}

} // namespace
} // namespace tallywick
