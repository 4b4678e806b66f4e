#include "platform/process/ChildProcess.h"
#include "support/RunningProgram.h"
#include "support/TemporaryFolder.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
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
            {[this](std::string_view piece) { add(piece.empty() ? "[no more]" : piece); },
             [this] { add("[input broken]"); }, [this] { add("[ended]"); }})) {}
    ~Child() {
        process.reset();
        EXPECT_TRUE(waitForChildProcesses(patience)); // no handler runs any more
    }
    std::unique_ptr<ChildProcess> process;
};

TEST(ChildProcess, DeliversAllOutputThenItsEndThenTheEndOfTheChild) {
    Child child("sleep 1000 & head -c 3000000 /dev/zero | tr '\\0' x"); // which keeps the pipes
    EXPECT_EQ(child.waitFor("[ended]"), std::string(3'000'000, 'x') + "[no more][ended]");
}

TEST(ChildProcess, KeepsItsInputUntilTheChildReadsOrRefusesIt) {
    const testing::TemporaryFolder folder;
    testing::runIn(folder.path(), "mkfifo gate"); // a child that reads it waits for a writer
    const std::string gate = folder / "gate";
    Child late("cat " + gate + "; cat");
    std::string sent;
    for (char letter = 'a'; letter <= 'z'; ++letter) {
        ASSERT_EQ(late.process->write(std::string(9'000, letter), plenty), WriteOutcome::accepted);
        sent.append(9'000, letter);
    }
    EXPECT_EQ(late.process->write("more", 5), WriteOutcome::full);
    testing::writeAll(gate, "open\n");
    late.waitFor(std::string(9'000, 'z'));
    late.process->closeInput();
    EXPECT_EQ(late.waitFor("[ended]"), "open\n" + sent + "[no more][ended]");
    EXPECT_EQ(late.process->write("late", plenty), WriteOutcome::broken);

    Child deaf("cat " + gate + "; exec 0<&-; sleep 1000");
    EXPECT_EQ(deaf.process->write("more", 3), WriteOutcome::full);
    EXPECT_EQ(deaf.process->write(sent, plenty), WriteOutcome::accepted);
    testing::writeAll(gate, "open\n");
    EXPECT_EQ(deaf.waitFor("[input broken]"), "open\n[input broken]");
    EXPECT_EQ(deaf.process->write("text", plenty), WriteOutcome::broken);
}

TEST(ChildProcess, EndsAChildThatDoesNotWantTo) {
    for (const bool isDestroyed : {true, false}) {
        Child child("trap '' TERM; echo ready; while :; do sleep 1000; done",
                    std::chrono::milliseconds(20));
        child.waitFor("ready\n");
        if (isDestroyed)
            child.process.reset();
        else
            child.process->terminate();
        EXPECT_TRUE(waitForChildProcesses(patience));
        EXPECT_EQ(child.output(), isDestroyed ? "ready\n" : "ready\n[no more][ended]");
        EXPECT_FALSE(child.process && child.process->isRunning());
    } // asked again, when nobody is there any more
}

TEST(ChildProcess, FailsToStartWithoutACallOfItsHandlers) {
    const ChildProcess::Handlers never{{}, {}, [] { ADD_FAILURE(); }};
    EXPECT_THROW(ChildProcess::launch({"/etc/passwd", {}, "/"}, never), std::system_error);
    EXPECT_THROW(ChildProcess::launch({"/bin/sh", {}, "/none"}, never), std::system_error);
}

TEST(ChildProcess, InheritsTheEnvironmentButNoDescriptorAndNoSignalSettings) {
    const int open = ::open("/dev/null", O_RDONLY); // without close-on-exec
    ::signal(SIGUSR1, SIG_IGN);
    ::setenv("TALLYWICK_TEST_GREETING", "hello", 1);
    Child child("pwd; echo $TALLYWICK_TEST_GREETING; ls /proc/self/fd | wc -l;"
                "exec grep -E 'Sig(Blk|Ign)' /proc/self/status");
    EXPECT_EQ(child.waitFor("[ended]"),
              "/\nhello\n4\nSigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n[no more][ended]")
        << "the fourth is the folder being listed";
    ::close(open);
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
