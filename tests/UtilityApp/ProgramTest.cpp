// The program as its users meet it: a process with arguments, output and signals.

#include "base/Mutex.h"
#include "platform/ChildProcess.h"
#include "support/ScriptedHelper.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <array>
#include <cstdio>
#include <cstdlib>

namespace tallywick {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
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

    /// Standard output and error of a shell command, and its exit status.
    static std::string shell(const std::string& command) {
        std::FILE* stream = ::popen(("( " + command + " ) 2>&1; echo \"[exit $?]\"").c_str(), "r");
        std::string text;
        std::array<char, 4096> bytes{};
        for (std::size_t count = 0;
             (count = std::fread(bytes.data(), 1, bytes.size(), stream)) > 0;)
            text.append(bytes.data(), count);
        ::pclose(stream);
        return text;
    }

    static std::string utility(const std::string& arguments) {
        return shell(std::string(CORVANE_UTILITY) + " " + arguments);
    }

    TemporaryFolder home;
};

/// A process whose output is read as it comes.
class Running {
  public:
    Running(const std::string& executable, const std::vector<std::string>& arguments) {
        ChildProcess::Handlers handlers;
        handlers.output = [this](std::string_view piece) { add(piece); };
        handlers.terminated = [this] { add("[ended]\n"); };
        ChildCommand command;
        command.executable = executable;
        command.arguments = arguments;
        command.currentFolder = "/";
        command.killGrace = std::chrono::seconds(60);
        process = ChildProcess::launch(command, std::move(handlers));
    }

    /// Waits until the output contains `text`; returns all of it.
    std::string waitFor(const std::string& text) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        MutexLock lock(mutex);
        while (output.find(text) == std::string::npos && changed.waitUntil(mutex, deadline)) {
        }
        return output;
    }

    void tell(const std::string& line) {
        EXPECT_EQ(process->write(line + "\n", 4096), ChildProcess::WriteOutcome::accepted);
    }

    /// Asks the process to end and waits for it.
    std::string end() {
        process->terminate();
        return waitFor("[ended]");
    }

  private:
    void add(std::string_view text) {
        MutexLock lock(mutex);
        output += text;
        changed.notifyAll();
    }

    Mutex mutex;
    Condition changed;
    std::string output GUARDED_BY(mutex);
    std::unique_ptr<ChildProcess> process;
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
                             "\\[exit 0\\]\n"));
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
         "No saved Codex sign-in. Sign in through Codex or use Sign in in Browser.\n[exit 1]\n"},
        {"crash", helper.c_str(), "Codex helper stopped. Retrying shortly.\n[exit 1]\n"},
        {"", "", "Codex not found. Install Codex or choose its app in Settings.\n[exit 1]\n"},
        {"", " --helper /missing",
         "Codex not found. Install Codex or choose its app in Settings.\n[exit 1]\n"},
        {"", " --helper /bin/sh --verbose",
         "Codex not found. Install Codex or choose its app in Settings.\n"
         "HELPER           not found\n[exit 1]\n"},
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
              "Codex not found. Install Codex or choose its app in Settings.\n[exit 1]\n");
    std::filesystem::create_directories(home / ".local/bin");
    std::filesystem::copy(SAMPLE_HELPER, home / ".local/bin/codex");
    EXPECT_EQ(utility("--locate"), "<user-selected or IDE installation>/…/codex\n[exit 0]\n");
    EXPECT_THAT(utility("--report"), HasSubstr("[exit 0]"));
}

TEST_F(ProgramTest, WatchesUntilItIsAskedToEnd) {
    Running program(CORVANE_UTILITY, {"--watch", "--helper", SAMPLE_HELPER});
    program.waitFor("lifetime tokens");
    EXPECT_THAT(program.end(),
                MatchesRegex("\\[CONNECTING\\] Finding Codex…\n"
                             "\\[LIVE\\] LIVE · Synced [^\n]*% used, [^\n]*\n"
                             "\\[LIVE\\] LIVE · Synced [^\n]* lifetime tokens[^\n]*\n"
                             "\\[ended\\]\n"));
    EXPECT_TRUE(std::filesystem::exists(home / "Corvane Tallywick/usage-history.json"));
}

TEST_F(ProgramTest, EndsWhenNobodyReadsItsLines) {
    EXPECT_THAT(utility("--watch" + sampleHelper + " | head -n 1"),
                StartsWith("[CONNECTING] Finding Codex…\n[exit "));
}

TEST_F(ProgramTest, ClosesTheHelperForSleepAndStartsAnotherOneAfterIt) {
    // The bus and logind's place on it.
    const std::string address = "unix:path=" + (home / "bus").string();
    Running bus("/usr/bin/dbus-daemon",
                {"--session", "--nofork", "--print-address", "--address=" + address});
    bus.waitFor("unix:path=");
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
    Running logind(FAKE_LOGIND, {});
    logind.waitFor("ready");

    // A helper that tells of its start, through a pipe that lies beside it, and then hangs.
    const std::string helper = home / "codex";
    std::filesystem::copy(MISBEHAVING_HELPER, helper);
    std::ofstream(helper + ".script") << "tell " + helper + ".starts\nhang\n";
    ASSERT_EQ(::mkfifo((helper + ".starts").c_str(), 0600), 0);
    Running starts("/bin/sh", {"-c", "exec 3<>" + helper + ".starts; cat <&3"});

    Running program(CORVANE_UTILITY, {"--watch", "--helper", helper});
    starts.waitFor("start of a helper\n");
    logind.tell("sleep");
    logind.tell("wake");
    starts.waitFor(
        "start of a helper\nstart of a helper\n"); // long before the first would time out
    EXPECT_EQ(program.end(), "[CONNECTING] Finding Codex…\n[ended]\n");
    starts.end();
    logind.end();
    bus.end();
}

} // namespace
} // namespace tallywick
