#include "platform/files/FileAccess.h"
#include "support/RunningProgram.h"
#include "support/TemporaryFolder.h"

#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <utility>

namespace tallywick {
namespace {

namespace fs = std::filesystem;
using testing::readAll;
using testing::runIn;
using testing::TemporaryFolder;
using testing::writeAll;

constexpr std::size_t plenty = 10'000'000;

std::string outputIn(const TemporaryFolder& folder, const std::string& command) {
    return testing::outputOf("cd " + folder.path().string() + "; " + command);
}

TEST(FileAccess, readsTheWholeOfARegularFileAndNothingElse) {
    const TemporaryFolder folder;
    runIn(folder.path(), "mkdir real; ln -s real/file link; ln -s real linked; mkfifo fifo");
    const fs::path file = folder / "real/file";
    for (const std::string& bytes : {std::string("a\0b\n", 4), std::string(200'001, 'y')}) {
        writeAll(file, bytes);
        for (const auto& read : {readRegularFile, readOwnFile}) {
            EXPECT_EQ(read(folder / "./x/../real/file", bytes.size()), bytes);
            EXPECT_EQ(read(file, bytes.size() - 1), std::nullopt);
        }
        for (const std::size_t count : {std::size_t{0}, std::size_t{2}, plenty})
            EXPECT_EQ(readFileStart(file, count), bytes.substr(0, count));
    }
    for (const char* name :
         {"missing", "real", "link", "linked/file", "fifo", "../../../../../dev/zero", ""})
        for (const auto& read : {readRegularFile, readOwnFile, readFileStart})
            EXPECT_EQ(read(folder / name, plenty), std::nullopt) << name;

    const fs::path growing = "/proc/version";
    ASSERT_EQ(fs::file_size(growing), 0) << "it must tell less than it holds";
    EXPECT_EQ(readRegularFile(growing, plenty), readAll(growing));
    EXPECT_EQ(readRegularFile(growing, readAll(growing).size() - 1), std::nullopt);
}

TEST(FileAccess, keepsAwayFromWhatBelongsToAnother) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can give a file to somebody else";
    const TemporaryFolder folder;
    runIn(folder.path(), "mkdir own theirs; echo > own/file; echo > own/given; echo > theirs/file; "
                         "chown 4321 own/given theirs");
    EXPECT_EQ(storageObstacle(folder / "own/file"), std::nullopt);
    for (const char* name : {"own/given", "theirs/file"}) {
        EXPECT_EQ(storageObstacle(folder / name), StorageObstacle::anotherOwner) << name;
        EXPECT_EQ(readOwnFile(folder / name, plenty), std::nullopt) << name;
        EXPECT_EQ(writeFileAtomically(folder / name, "new"), WriteResult::failed) << name;
        EXPECT_EQ(FileLock::tryToTake(folder / name), nullptr) << name;
    }
    EXPECT_EQ(writeFileAtomically(folder / "theirs/own/file", "new"), WriteResult::written)
        << "the folder above may be anybody's";
}

TEST(FileAccess, replacesTheFileAndLeavesNothingBeside) {
    const TemporaryFolder folder;
    const mode_t usual = ::umask(0333);
    const fs::path path = folder / "new/and newer/file";
    for (const std::string& bytes :
         {std::string("first"), std::string(300'000, 'x'), std::string()}) {
        EXPECT_EQ(writeFileAtomically(path, bytes), WriteResult::written);
        EXPECT_EQ(readAll(path), bytes);
        EXPECT_EQ(outputIn(folder, "stat -c '%a %n' * */* */*/*"),
                  "700 new\n700 new/and newer\n600 new/and newer/file");
        runIn(path.parent_path(), "umask 22; echo left behind, and open to all > file.new");
    }
    ::umask(usual);

    EXPECT_EQ(fileVersion(folder / "file"), std::nullopt);
    std::optional<FileVersion> before;
    for (const char* bytes : {"a", "b", "ab"}) {
        EXPECT_EQ(writeFileAtomically(path, bytes), WriteResult::written);
        EXPECT_NE(fileVersion(path), std::exchange(before, fileVersion(path)));
    }
}

TEST(FileAccess, failsWithoutTouchingAnythingWhereItMayNotWrite) {
    const struct {
        const char* what;
        std::string path;
        const char* preparation;
        std::string bytes = "new";
    } rows[] = {
        {"the file is a link", "link", "ln -s file link"},
        {"a folder is a link", "link/deep/file", "ln -s other link"},
        {"a folder is a file", "file/deep/file", ""},
        {"the file is a folder", "other", ""},
        {"the file is a FIFO", "fifo", "mkfifo fifo"},
        {"the name is too long for its temporary file", std::string(253, 'x'), ""},
        {"the temporary file is a link", "file", "ln -s foreign file.new"},
        {"the temporary file has a second name", "file", "ln foreign file.new"},
        {"the temporary file is a FIFO", "file", "mkfifo file.new"},
        {"the disk takes only a part", "file", "", std::string(100'000, 'n')},
    };
    rlimit usual{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &usual), 0);
    const rlimit small{40'000, usual.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    std::signal(SIGXFSZ, SIG_IGN);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        const TemporaryFolder folder;
        runIn(folder.path(), "echo old > file; echo foreign > foreign; mkdir other");
        runIn(folder.path(), row.preparation);
        const std::string before = outputIn(folder, "ls -R; cat file foreign");
        EXPECT_EQ(writeFileAtomically(folder / row.path, row.bytes), WriteResult::failed);
        EXPECT_EQ(outputIn(folder, "ls -R; cat file foreign"), before);
    }
    ::setrlimit(RLIMIT_FSIZE, &usual);
}

TEST(FileLock, isHadByOneAtATime) {
    const TemporaryFolder folder;
    auto held = FileLock::tryToTake(folder / "new/lock");
    ASSERT_TRUE(held);
    EXPECT_EQ(fs::status(folder / "new/lock").permissions(), fs::perms{0600});
    EXPECT_FALSE(FileLock::tryToTake(folder / "new/lock"));
    held.reset();
    EXPECT_TRUE(FileLock::tryToTake(folder / "new/lock"));
}

/// Starts a process that does the same thing over and over again, until it or this one is killed.
pid_t repeat(const std::function<void()>& act) {
    const pid_t child = ::fork();
    if (child != 0)
        return child;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (;;)
        act();
}

void end(pid_t child) {
    ::kill(child, SIGKILL);
    EXPECT_EQ(::waitpid(child, nullptr, 0), child);
}

TEST(FileAccess, showsWholeFilesOnlyWhileTwoWriteAndAreKilled) {
    const TemporaryFolder folder;
    const fs::path path = folder / "file";
    const auto whole = [](char letter) { return std::string(200'000, letter); };
    char letter = 'a';
    const auto write = [&] {
        letter = letter == 'z' ? 'a' : static_cast<char>(letter + 1);
        static_cast<void>(writeFileAtomically(path, whole(letter)));
    };
    for (int round = 0; round < 24; ++round) {
        const pid_t writers[] = {repeat(write), repeat(write)};
        std::string content = readAll(path);
        for (int seen = 0; seen < 4;) {
            const std::string now = readRegularFile(path, plenty).value_or(content);
            if (now == content)
                continue;
            content = now;
            ASSERT_EQ(content, whole(content[0]));
            ++seen;
        }
        for (const pid_t writer : writers)
            end(writer);
        content = readAll(path);
        ASSERT_EQ(content, whole(content[0]));
    }
    EXPECT_EQ(writeFileAtomically(path, "last"), WriteResult::written);
    EXPECT_EQ(outputIn(folder, "ls"), "file");
}

} // namespace
} // namespace tallywick
