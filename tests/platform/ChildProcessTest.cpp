#include "platform/process/ChildProcess.h"

#include "support/RunningProgram.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <system_error>

namespace tallywick {
namespace {

using WriteOutcome = ChildProcess::WriteOutcome;

constexpr std::chrono::seconds patience{20};
constexpr std::size_t plenty = 100'000'000;

/// A shell script as a child, and what came of it.
struct Child : testing::Transcript {
    explicit Child(const std::string& script, std::chrono::milliseconds killGrace = patience)
        : process(ChildProcess::launch(
            {"/bin/sh", {"-c", script}, "/", killGrace},
            {[this](std::string_view piece) { add(piece.empty() ? "[end of output]" : piece); },
             [this] { add("[input broken]"); }, [this] { add("[terminated]"); }})) {}
    ~Child() {
        process.reset();
        EXPECT_TRUE(waitForChildProcesses(patience)); // no handler runs any more
    }
    std::unique_ptr<ChildProcess> process;
};

TEST(ChildProcess, DeliversAllOutputThenItsEndThenTheEndOfTheChild) {
    const std::string end = "[end of output][terminated]";
    const struct {
        const char* name;
        const char* script;
        std::string events;
    } cases[] = {
        {"a grandchild that keeps the pipes open", "sleep 1000 & echo one", "one\n" + end},
        {"a child that closes its output first", "echo one; exec >&-; read line",
         "one\n[end of output]"},
        {"a child that floods standard error", "head -c 1000000 /dev/zero >&2; echo one",
         "one\n" + end},
        {"more than a pipe holds at the end", "head -c 3000000 /dev/zero | tr '\\0' x",
         std::string(3'000'000, 'x') + end},
    };
    for (const auto& row : cases) {
        Child child(row.script);
        EXPECT_EQ(child.waitFor(row.events.substr(row.events.rfind('['))), row.events) << row.name;
    }
}

TEST(ChildProcess, KeepsItsInputUntilTheChildReadsOrRefusesIt) {
    const testing::TemporaryFolder folder;
    testing::runIn(folder.path(), "mkfifo gate"); // a child that reads it waits for a writer
    const std::string gate = folder / "gate";
    Child late("cat " + gate + "; cat");
    EXPECT_EQ(late.process->write("more", 3), WriteOutcome::full);
    std::string sent;
    for (int i = 0; i < 2'000; ++i) {
        const std::string message = std::to_string(i) + std::string(100, '.') + "\n";
        ASSERT_EQ(late.process->write(message, plenty), WriteOutcome::accepted);
        sent += message;
    }
    EXPECT_EQ(late.process->write("more", 5), WriteOutcome::full);
    testing::writeAll(gate, "open\n");
    late.waitFor("1999.");
    late.process->closeInput();
    EXPECT_EQ(late.waitFor("[terminated]"), "open\n" + sent + "[end of output][terminated]");
    EXPECT_EQ(late.process->write("late", plenty), WriteOutcome::broken);

    Child deaf("cat " + gate + "; exec 0<&-; sleep 1000");
    EXPECT_EQ(deaf.process->write(sent, plenty), WriteOutcome::accepted);
    testing::writeAll(gate, "open\n");
    EXPECT_EQ(deaf.waitFor("[input broken]"), "open\n[input broken]");
    EXPECT_EQ(deaf.process->write("text", plenty), WriteOutcome::broken);
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

        Child destroyed(script, std::chrono::milliseconds(20));
        destroyed.waitFor("ready");
        destroyed.process.reset();
        EXPECT_TRUE(waitForChildProcesses(patience));
        EXPECT_EQ(destroyed.waitFor("ready"), "ready\n") << "none of its handlers is called";
    }
}

TEST(ChildProcess, FailsToStartWithTheReason) {
    const auto launching = [](const char* executable, const char* folder) {
        return [=] { ChildProcess::launch({executable, {}, folder}, {{}, {}, [] { FAIL(); }}); };
    };
    const auto failsWith = [](std::errc reason) {
        return ::testing::Throws<std::system_error>(
            ::testing::Property(&std::system_error::code, reason));
    };
    EXPECT_THAT(launching("/etc/passwd", "/"), failsWith(std::errc::permission_denied));
    EXPECT_THAT(launching("/bin/sh", "/none"), failsWith(std::errc::no_such_file_or_directory));
}

TEST(ChildProcess, InheritsTheEnvironmentButNoDescriptorAndNoSignalSettings) {
    const int open = ::open("/dev/null", O_RDONLY); // without close-on-exec
    ASSERT_GE(open, 0);
    ::signal(SIGUSR1, SIG_IGN);
    ::setenv("TALLYWICK_TEST_GREETING", "hello", 1);
    Child child("pwd; echo $TALLYWICK_TEST_GREETING; test -e /proc/$$/fd/" + std::to_string(open)
                + " && echo inherited; exec grep -E 'Sig(Blk|Ign)' /proc/self/status");
    const std::string events = child.waitFor("[terminated]");
    ::signal(SIGUSR1, SIG_DFL);
    ::close(open);
    EXPECT_EQ(events, "/\nhello\nSigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n"
                      "[end of output][terminated]");
}

TEST(ChildProcess, DiesWithAKilledParent) {
    // This process takes over its orphaned grandchild, so that it can wait for its end.
    ASSERT_EQ(::prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
    const pid_t parent = ::fork();
    if (parent == 0) {
        Child child("trap '' TERM; echo ready; kill -STOP $$");
        child.waitFor("ready");
        ::raise(SIGKILL);
    }
    EXPECT_EQ(::waitpid(parent, nullptr, 0), parent);
    int status = 0;
    EXPECT_GT(::waitpid(-1, &status, 0), 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    ::prctl(PR_SET_CHILD_SUBREAPER, 0);
}

} // namespace
} // namespace tallywick
