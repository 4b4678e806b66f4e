#include "platform/ChildProcess.h"

#include "base/Mutex.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <system_error>

namespace tallywick {
namespace {

constexpr std::size_t plenty = 100'000'000;

/// A shell script as a child, and what came of it.
class Child {
  public:
    explicit Child(const std::string& script,
                   std::chrono::milliseconds killGrace = std::chrono::seconds(20)) {
        ChildCommand command;
        command.executable = "/bin/sh";
        command.arguments = {"-c", script};
        command.currentFolder = "/";
        command.killGrace = killGrace;
        ChildProcess::Handlers handlers;
        handlers.output = [this](std::string_view piece) {
            MutexLock lock(mutex);
            events += piece.empty() ? "[end of output]" : std::string(piece);
            changed.notifyAll();
        };
        handlers.inputBroken = [this] { add("[input broken]"); };
        handlers.terminated = [this] { add("[terminated]"); };
        process = ChildProcess::launch(command, std::move(handlers));
    }

    /// Waits until the events contain `text` and returns all of them.
    std::string waitFor(const std::string& text) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        MutexLock lock(mutex);
        while (events.find(text) == std::string::npos && changed.waitUntil(mutex, deadline)) {
        }
        return events;
    }

  private:
    void add(const std::string& event) {
        MutexLock lock(mutex);
        events += event;
        changed.notifyAll();
    }

    Mutex mutex;
    Condition changed;
    std::string events GUARDED_BY(mutex);

  public:
    std::unique_ptr<ChildProcess> process;
};

TEST(ChildProcess, DeliversAllOutputThenItsEndThenTheEndOfTheChild) {
    const struct {
        const char* name;
        const char* script;
        std::string events;
    } cases[] = {
        {"a child that writes and ends", "echo one; echo noise >&2; echo two",
         "one\ntwo\n[end of output][terminated]"},
        {"a grandchild that keeps the pipes open", "sleep 1000 & echo one",
         "one\n[end of output][terminated]"},
        {"a child that closes its output first", "echo one; exec >&-; read line",
         "one\n[end of output]"},
        {"a child that floods standard error", "head -c 1000000 /dev/zero >&2; echo one",
         "one\n[end of output][terminated]"},
        {"more than a pipe holds at the end", "head -c 3000000 /dev/zero | tr '\\0' x",
         std::string(3'000'000, 'x') + "[end of output][terminated]"},
        {"the folder it starts in", "pwd", "/\n[end of output][terminated]"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        Child child(row.script);
        EXPECT_EQ(child.waitFor(row.events.substr(row.events.rfind('['))), row.events);
    }
}

TEST(ChildProcess, GivesItsInputInOrderHoweverLateTheChildReads) {
    const testing::TemporaryFolder folder;
    const std::string gate = folder / "gate";
    ASSERT_EQ(::mkfifo(gate.c_str(), 0600), 0);
    Child child("cat " + gate + "; cat");
    std::string sent;
    for (int i = 0; i < 2'000; ++i) {
        const std::string message = std::to_string(i) + std::string(100, '.') + "\n";
        ASSERT_EQ(child.process->write(message, plenty), ChildProcess::WriteOutcome::accepted);
        sent += message;
    }
    EXPECT_EQ(child.process->write("more", 5), ChildProcess::WriteOutcome::full);
    std::ofstream(gate) << "open\n";
    child.waitFor("1999.");
    child.process->closeInput();
    EXPECT_EQ(child.waitFor("[terminated]"), "open\n" + sent + "[end of output][terminated]");
    EXPECT_EQ(child.process->write("late", plenty), ChildProcess::WriteOutcome::broken);
}

TEST(ChildProcess, ReportsAnInputThatNobodyReads) {
    Child atOnce("exec 0<&-; echo closed; sleep 1000");
    atOnce.waitFor("closed");
    EXPECT_EQ(atOnce.process->write("text", plenty), ChildProcess::WriteOutcome::broken);

    // More than the pipe holds is left to the background; then the child closes its input.
    const testing::TemporaryFolder folder;
    const std::string gate = folder / "gate";
    ASSERT_EQ(::mkfifo(gate.c_str(), 0600), 0);
    Child later("cat " + gate + "; exec 0<&-; sleep 1000");
    EXPECT_EQ(later.process->write(std::string(1'000'000, 'x'), plenty),
              ChildProcess::WriteOutcome::accepted);
    std::ofstream(gate) << "open\n";
    EXPECT_EQ(later.waitFor("[input broken]"), "open\n[input broken]");
}

TEST(ChildProcess, EndsAChildThatDoesNotWantTo) {
    for (const char* script : {"trap '' TERM; echo ready; while :; do sleep 1000; done",
                               "echo ready; kill -STOP $$", "echo ready; sleep 1000"}) {
        SCOPED_TRACE(script);
        Child child(script, std::chrono::milliseconds(20));
        child.waitFor("ready");
        child.process->terminate();
        EXPECT_EQ(child.waitFor("[terminated]"), "ready\n[end of output][terminated]");
        EXPECT_FALSE(child.process->isRunning());
        child.process->terminate(); // nobody is there any more
    }
}

TEST(ChildProcess, LeavesNothingOfItsHandlersBehindWhenDestroyed) {
    Child child("echo ready; while read line; do echo again; done", std::chrono::milliseconds(20));
    child.waitFor("ready");
    child.process.reset();
    EXPECT_TRUE(waitForChildProcesses(std::chrono::seconds(20)));
    EXPECT_EQ(child.waitFor("ready"), "ready\n");
}

TEST(ChildProcess, FailsToStartWithTheReason) {
    const testing::TemporaryFolder folder;
    std::ofstream(folder / "plain") << "not executable";
    const struct {
        std::filesystem::path executable;
        std::filesystem::path currentFolder;
        std::errc reason;
    } cases[] = {
        {folder / "plain", "/", std::errc::permission_denied},
        {"/bin/sh", folder / "missing", std::errc::no_such_file_or_directory},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.executable);
        try {
            ChildProcess::launch(
                {row.executable, {}, row.currentFolder},
                {[](std::string_view) { FAIL(); }, [] { FAIL(); }, [] { FAIL(); }});
            ADD_FAILURE() << "it started";
        } catch (const std::system_error& error) {
            EXPECT_EQ(error.code(), row.reason);
        }
    }
}

TEST(ChildProcess, InheritsTheEnvironmentButNoDescriptorAndNoSignalSettings) {
    const int open = ::open("/dev/null", O_RDONLY); // without close-on-exec
    ASSERT_GE(open, 0);
    ::signal(SIGUSR1, SIG_IGN);
    ::setenv("TALLYWICK_TEST_GREETING", "hello", 1);
    const std::string inherited = "/proc/$$/fd/" + std::to_string(open);
    Child child("echo $TALLYWICK_TEST_GREETING; test -e " + inherited + " && echo inherited; "
                + "exec grep -E 'Sig(Blk|Ign)' /proc/self/status");
    const std::string events = child.waitFor("[terminated]");
    ::signal(SIGUSR1, SIG_DFL);
    ::unsetenv("TALLYWICK_TEST_GREETING");
    ::close(open);
    EXPECT_EQ(events, "hello\nSigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n"
                      "[end of output][terminated]");
}

TEST(ChildProcess, DiesWithAKilledParent) {
    // This process takes over its orphaned grandchild, so that it can wait for its end.
    ASSERT_EQ(::prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe2(pipe.data(), O_CLOEXEC), 0);
    const pid_t parent = ::fork();
    if (parent == 0) {
        Child child("trap '' TERM; echo $$; kill -STOP $$");
        const std::string number = child.waitFor("\n");
        if (::write(pipe[1], number.data(), number.size()) < 0)
            ::_exit(1);
        ::pause();
    }
    std::array<char, 32> number{};
    ASSERT_GT(::read(pipe[0], number.data(), number.size() - 1), 0);
    const auto grandchild = static_cast<pid_t>(std::stol(number.data()));
    ::kill(parent, SIGKILL);
    EXPECT_EQ(::waitpid(parent, nullptr, 0), parent);
    int status = 0;
    EXPECT_EQ(::waitpid(grandchild, &status, 0), grandchild);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    ::prctl(PR_SET_CHILD_SUBREAPER, 0);
    ::close(pipe[0]);
    ::close(pipe[1]);
}

} // namespace
} // namespace tallywick
