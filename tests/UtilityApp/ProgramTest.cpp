// The program as its users meet it: its arguments, its output, and the process with its signals.

#include "UtilityApp/CommandHelp.h"
#include "UtilityApp/CommandLine.h"
#include "UtilityApp/Report.h"
#include "UtilityApp/SystemServices.h"
#include "support/PrivateBus.h"
#include "support/SampleBundle.h"

#include <QDBusMessage>
#include <QImage>

#include <gmock/gmock.h>

#include <algorithm>
#include <ctime>
#include <sstream>

namespace tallywick::testing {
namespace {

namespace fs = std::filesystem;

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::PrintToString;
using ::testing::StartsWith;
using Task = CommandLine::Task;
using Arguments = std::vector<const char*>;

CommandLine forTask(Task task, std::optional<std::filesystem::path> helper = std::nullopt) {
    return {.task = task, .helper = std::move(helper), .picture = {}};
}

TEST(CommandLine, IsRead) {
    const std::pair<Arguments, CommandLine> cases[] = {
        {{"--portable"}, {.portable = true, .helper = {}, .picture = {}}},
        {{"--unfocused", "--mini"},
         {.unfocused = true, .wish = Wish::mini, .helper = {}, .picture = {}}},
        {{"--finish-install", "no number"}, forTask(Task::window)},
        {{"--verbose", "--report", "--json"},
         {.task = Task::report, .json = true, .verbose = true, .helper = {}, .picture = {}}},
        {{"--report", "--helper", "--json"}, forTask(Task::report, "--json")},
        {{"--watch", "--helper", "1", "--helper", "/a b"}, forTask(Task::watch, "/a b")},
        {{"--scale", "4", "--sheet", "welcome", "--theme", "night", "--render", "/f"},
         {.task = Task::render,
          .helper = {},
          .picture = {.file = "/f", .scale = 4, .sheet = PictureOptions::Sheet::welcome}}},
        {{"--watch", "--json", "--help", "--nonsense"},
         {.task = Task::help, .json = true, .helper = {}, .picture = {}}},
        {{"--unpack-release", "/a b", "12", "--json"},
         {.task = Task::unpack,
          .helper = {},
          .picture = {},
          .unpacking = {"/a b", "12", "--json"}}},
    };
    for (const auto& [arguments, expected] : cases)
        EXPECT_EQ(parseCommandLine(arguments), expected) << PrintToString(arguments);
}

TEST(CommandLine, IsToldWhyItMakesNoSense) {
    const std::pair<Arguments, const char*> cases[] = {
        {{""}, "There is no option \"\"."},
        {{"report"}, "There is no option \"report\". Did you mean --report?"},
        {{"--reprot=\x1B"}, "There is no option \"--reprot=?\". Did you mean --report?"},
        {{"--finish-instal", "1"}, "There is no option \"--finish-instal\"."},
        {{"--zzz"}, "There is no option \"--zzz\"."},
        {{"--helper"}, "--helper needs a value: PATH."},
        {{"--report", "--helper", ""}, "--helper needs a value: PATH."},
        {{"--finish-install"}, "--finish-install needs a value: PROCESS."},
        {{"--json"}, "--json goes with --report or --watch alone."},
        {{"--scale", "2"}, "--scale goes with --render alone."},
        {{"--report", "--watch"}, "--report does not go with --watch."},
        {{"--locate", "--verbose"}, "--verbose does not go with --locate."},
        {{"--watch", "--unfocused"}, "--unfocused does not go with --watch."},
        {{"--report", "--refresh"}, "--refresh does not go with --report."},
        {{"--report", "--portable"}, "--portable does not go with --report."},
        {{"--unpack-release", "/a", "12"}, "This is for the program's own use."},
        {{"--report", "--unpack-release", "/a"}, "There is no option \"--unpack-release\"."},
        {{"--render", ""}, "--render needs a value: FILE."},
        {{"--render", "/f", "--layout", "small"}, "\"small\" is no value of --layout."},
        {{"--render", "/f", "--sheet", "settings|welcome"},
         "\"settings|welcome\" is no value of --sheet."},
        {{"--render", "/f", "--scale", "0.4"}, "\"0.4\" is no value of --scale."},
        {{"--render", "/f", "--scale", "4.1"}, "\"4.1\" is no value of --scale."},
        {{"--render", "/f", "--scale", "2x"}, "\"2x\" is no value of --scale."}};
    for (const auto& [arguments, sentences] : cases) {
        const auto commandLine = parseCommandLine(arguments);
        ASSERT_FALSE(commandLine) << PrintToString(arguments);
        EXPECT_EQ(commandLine.error().sentences,
                  std::string(sentences) + " See \"tallywick --help\".");
    }
}

/// Loads what bash would, types the words behind the command and asks what is offered.
std::string offeredByBash(const std::string& words, int at) {
    return outputOf("bash -c '. " COMMAND_FILES "/tallywick; COMP_WORDS=(tallywick " + words
                    + "); COMP_CWORD=" + std::to_string(at)
                    + "; compopt() { :; }; _tallywick; echo ${COMPREPLY[*]}'");
}

TEST(CommandHelp, TheManualAndTheCompletionsNameTheSameOptions) {
    const std::string options =
        outputOf("grep -o '^  --[a-z]*' <<'END' | tr -d ' ' | sort\n" + helpText() + "END\n");
    EXPECT_THAT(options, AllOf(StartsWith("--"), HasSubstr("--watch"), Not(HasSubstr("finish"))));
    for (const char* command :
         {"sed -n 's/^.fB\\\\-\\\\-\\([a-z]*\\).*/--\\1/p' " COMMAND_FILES "/tallywick.1",
          "sed -n \"s/^    '\\(--[a-z]*\\)[[].*/\\1/p\" " COMMAND_FILES "/_tallywick",
          "sed -n 's/.* -l \\([a-z]*\\) .*/--\\1/p' " COMMAND_FILES "/tallywick.fish"})
        EXPECT_EQ(outputOf(std::string(command) + " | sort"), options) << command;
    std::string offered = offeredByBash("--", 1);
    std::ranges::replace(offered, ' ', '\n');
    EXPECT_EQ(outputOf("sort <<'END'\n" + offered + "\nEND\n"), options);
    EXPECT_EQ(offeredByBash("--render /f --layout m", 4), "mini");
    for (std::istringstream lines(helpText()); std::getline(lines, offered);)
        EXPECT_LE(offered.size(), 80) << offered;
}

constexpr Timestamp now = 1'795'390'000.75; // 2026-11-22 23:26:40 UTC

const Report full{.quota = Quota{42, 1'795'531'020, ShorterWindow{300, 12, now + 3'600}},
                  .tokens = {1'828'976'990, "2026-11-22", 2'088'648},
                  .observedAt = now,
                  .pace = Pace{-7.04, false, 1'795'531'020, 1'795'531'020},
                  .helperLocation = std::nullopt};

/// Far from the universal time.
class ReportTest : public ::testing::Test {
  protected:
    ReportTest() {
        ::setenv("TZ", "Asia/Kathmandu", 1); // UTC+5:45
        ::tzset();
    }
};

TEST_F(ReportTest, WritesALineAValue) {
    EXPECT_EQ(reportText(full), "WEEKLY USAGE     42% used\n"
                                "REMAINING        58% remaining\n"
                                "RESETS           2026-11-24 20:22\n"
                                "RESET IN         1d  15h  10m\n"
                                "PACE             7% under an even pace\n"
                                "LASTS UNTIL      the reset\n"
                                "5-HOUR WINDOW    12% used, resets 06:11\n"
                                "LIFETIME TOKENS  1.8B\n"
                                "LATEST DAY       2026-11-22 · 2.1M\n");
}

TEST_F(ReportTest, WritesOneJsonObject) {
    EXPECT_EQ(
        reportJson(full),
        R"({"helperLocation":null,"lastsUntil":1795531020,"latestDay":"2026-11-22",)"
        R"("latestDayTokens":2088648,"lifetimeTokens":1828976990,"observedAt":1795390000,)"
        R"("percentOverEvenPace":-7.0,"remainingPercent":58,"resetsAt":1795531020,"schema":1,)"
        R"("secondsUntilReset":141019,)"
        R"("shorterWindow":{"minutes":300,"resetsAt":1795393600,"usedPercent":12},)"
        R"("usedPercent":42})"
        "\n");
    Report overdue = full;
    overdue.observedAt = full.quota->reset + 5;
    EXPECT_THAT(reportJson(overdue), HasSubstr(R"("secondsUntilReset":0,)"));
    EXPECT_THAT(reportJson({}), HasSubstr(R"("resetsAt":null,)"));
}

TEST_F(ReportTest, OfAWatchTellsBadgeStatusAndReadingButNotTheTime) {
    UtilityFields fields;
    fields.status = Status::failed(ConnectionIssue::stopped);
    fields.loginPending = true;
    EXPECT_EQ(watchLine(fields), "[CONNECTING] Codex helper stopped. Retrying shortly.");
    fields.status = Status::Kind::withoutAllowance;
    fields.loginPending = false;
    fields.quota = full.quota;
    fields.tokens = full.tokens;
    for (fields.now = now; fields.now < now + 100; fields.now += 60)
        EXPECT_EQ(watchLine(fields),
                  "[STATUS] Connected · Weekly allowance unavailable | 42% used, 58% remaining | "
                  "resets 2026-11-24 20:22 | 5-hour window: 12% used, resets 06:11 | 1.8B lifetime "
                  "tokens | 2.1M on 2026-11-22");
    EXPECT_EQ(
        watchJson(fields),
        R"({"badge":"STATUS","latestDay":"2026-11-22","latestDayTokens":2088648,)"
        R"("lifetimeTokens":1828976990,"remainingPercent":58,"resetsAt":1795531020,)"
        R"("schema":1,"shorterWindow":{"minutes":300,"resetsAt":1795393600,"usedPercent":12},)"
        R"("status":"Connected · Weekly allowance unavailable","usedPercent":42})");
}

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
    static std::string utility(const std::string& arguments,
                               const std::string& environment = "true") {
        return outputOf("export " + environment + "; " CORVANE_UTILITY " " + arguments
                        + "; echo \"[exit $?]\"");
    }

    TemporaryFolder home;
};

TEST_F(ProgramTest, ReportsAReadingOfTheHelperOrWhyThereIsNoneInItsOwnWords) {
    EXPECT_THAT(utility("--report" + sampleHelper),
                MatchesRegex("WEEKLY USAGE     [0-9]+% used\n.*LATEST DAY .*\n\\[exit 0\\]"));
    EXPECT_THAT(utility("--report --json" + sampleHelper), StartsWith("{\"helperLocation\":null"));
    EXPECT_TRUE(fs::is_empty(home.path())) << "it stores nothing";

    EXPECT_EQ(utility("--report" + sampleHelper, "TALLYWICK_SAMPLE=crash"),
              "Codex helper stopped. Retrying shortly.\n[exit 1]");
    EXPECT_THAT(utility("--report --verbose" + sampleHelper, "TALLYWICK_SAMPLE=long-errors"),
                AllOf(HasSubstr("[exit 1]"), Not(HasSubstr("@")), Not(HasSubstr("<html"))));
    EXPECT_EQ(utility("--report --helper /bin/sh --verbose"),
              notFound + "HELPER           not found\n[exit 1]");
    EXPECT_THAT(utility("--nonsense"), HasSubstr("--help\".\n[exit 2]"));
    EXPECT_EQ(utility("--version --nonsense"), "Corvane Tallywick 0.6.0\n[exit 0]");
}

TEST_F(ProgramTest, SaysWhatToDoWithoutADisplay) {
    for (const char* display :
         {"NONE=", "DISPLAY=:65000", "WAYLAND_DISPLAY=none QT_QPA_PLATFORM=wayland"})
        EXPECT_EQ(utility("", std::string("XDG_RUNTIME_DIR=/ ") + display),
                  "Tallywick found no display to show its window on.\nWithout one, --render FILE "
                  "draws the window into a picture, and --report prints a report.\n[exit 2]")
            << display;
}

TEST_F(ProgramTest, UnpacksAnUpdateByItselfAndTakesItOnlyFromItsMaker) {
    ::setenv("XDG_CACHE_HOME", (home / "caches").c_str(), 1);
    runApart([&] {
        SystemServices services(std::nullopt);
        const auto updates = services.forState(false, nullptr).updates;
        EXPECT_EQ(updates.caches, ::getenv("XDG_CACHE_HOME"));
        EXPECT_EQ(updates.unpackTool.executable, "/proc/self/exe");
        Arguments arguments;
        for (const std::string& argument : updates.unpackTool.arguments)
            arguments.push_back(argument.c_str());
        arguments.insert(arguments.end(), {"archive", "digest", "folder"});
        const auto commandLine = parseCommandLine(arguments);
        EXPECT_TRUE(commandLine && commandLine->task == Task::unpack);
        const TemporaryFolder folder; // of somebody else
        EXPECT_EQ(updates.signature->isValid(makeSampleBundle(folder.path())),
                  Product::makerKeys.empty());
    });
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
    EXPECT_THAT(utility("--watch --json" + sampleHelper + " | head -n 1"),
                StartsWith("{\"badge\":\"CONNECTING\",\"latestDay\":null,"));
}

TEST_F(ProgramTest, SaysWhenItCannotKeepAnything) {
    runIn(home.path(), "mkdir elsewhere; ln -s elsewhere 'Corvane Tallywick'");
    const std::string output = utility("--watch" + sampleHelper + " | head -n 2");
    EXPECT_THAT(output, HasSubstr("Readings or preferences are not kept: their folder is reached "
                                  "through a symbolic link.\n"));
    EXPECT_TRUE(fs::is_empty(home / "elsewhere"));
}

/// Has a watching program meet a sleep of the machine, as logind announces it on the bus.
void sleepAndWake(const std::string& helper) {
    const PrivateBus systemBus;
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", systemBus.address().c_str(), 1);
    auto logind = systemBus.connection("logind");
    EXPECT_TRUE(logind.registerService(u"org.freedesktop.login1"_qs));
    fs::copy(SAMPLE_HELPER, helper);
    RunningProgram program(CORVANE_UTILITY, {"--watch", "--helper", helper});
    program.waitFor("lifetime tokens");
    for (const bool isAsleep : {true, false}) {
        EXPECT_TRUE(logind.send(QDBusMessage::createSignal(u"/org/freedesktop/login1"_qs,
                                                           u"org.freedesktop.login1.Manager"_qs,
                                                           u"PrepareForSleep"_qs)
                                << isAsleep));
        EXPECT_TRUE(waitUntil([&] { return outputOf("pidof " + helper).empty() == isAsleep; }));
    }
}

TEST_F(ProgramTest, ClosesTheHelperForSleepAndStartsAnotherOneAfterIt) {
    runApart([this] { sleepAndWake(home / "codex"); });
}

} // namespace
} // namespace tallywick::testing
