#include "platform/files/FileAccess.h"

#include "support/TemporaryFolder.h"

#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <set>
#include <utility>

namespace tallywick {
namespace {

namespace fs = std::filesystem;
using testing::readAll;
using testing::runIn;
using testing::TemporaryFolder;

constexpr std::size_t plenty = 10'000'000;

std::set<std::string> namesIn(const fs::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder))
        names.insert(entry.path().filename());
    return names;
}
const std::set<std::string> theFileAlone{"file"};

TEST(FileAccess, readsTheWholeOfARegularFile) {
    const TemporaryFolder folder;
    const fs::path file = folder / "file";
    for (const std::string& bytes : {std::string("a\0b\n", 4), std::string(200'001, 'y')}) {
        testing::writeAll(file, bytes);
        EXPECT_EQ(readRegularFile(folder / "./x/../file", bytes.size()), bytes);
        EXPECT_EQ(readRegularFile(file, bytes.size() - 1), std::nullopt);
        for (const std::size_t count : {std::size_t{0}, std::size_t{2}, plenty})
            EXPECT_EQ(readFileStart(file, count), bytes.substr(0, count));
    }
    const fs::path growing = "/proc/version";
    ASSERT_EQ(fs::file_size(growing), 0) << "it must tell less than it holds";
    const std::string version = readAll(growing);
    EXPECT_EQ(readRegularFile(growing, version.size()), version);
    EXPECT_EQ(readRegularFile(growing, version.size() - 1), std::nullopt);
}

TEST(FileAccess, readsNothingElse) {
    const TemporaryFolder folder;
    runIn(folder.path(), "mkdir real; echo > real/file; ln -s real/file link; ln -s real linked; "
                         "mkfifo fifo");
    ASSERT_TRUE(readRegularFile(folder / "real/file", plenty));
    for (const char* name : {"missing", "real", "real/file/below", "link", "linked/file", "fifo",
                             "../../../../../dev/zero", ""}) {
        EXPECT_EQ(readRegularFile(folder / name, plenty), std::nullopt) << name;
        EXPECT_EQ(readFileStart(folder / name, 1), std::nullopt) << name;
        EXPECT_EQ(readOwnFile(folder / name, plenty), std::nullopt) << name;
    }
    EXPECT_EQ(readOwnFile(folder / "real/file", 1), "\n");
    EXPECT_EQ(readOwnFile(folder / "real/file", 0), std::nullopt);
}

TEST(FileAccess, keepsAwayFromWhatBelongsToAnother) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can give a file to somebody else";
    const TemporaryFolder folder;
    runIn(folder.path(), "mkdir own theirs; echo > own/file; echo > own/given; echo > theirs/file; "
                         "echo > own/lock; chown 4321 own/given own/lock theirs");
    const auto obstacle = [&](const char* name) { return storageObstacle(folder / name); };
    EXPECT_EQ(obstacle("own/file"), std::nullopt);
    for (const char* name : {"own/given", "theirs/file", "theirs/missing"}) {
        EXPECT_EQ(obstacle(name), StorageObstacle::anotherOwner) << name;
        EXPECT_EQ(readOwnFile(folder / name, plenty), std::nullopt) << name;
        EXPECT_EQ(writeFileAtomically(folder / name, "new"), WriteResult::failed) << name;
    }
    EXPECT_EQ(FileLock::tryToTake(folder / "own/lock"), nullptr);
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
        EXPECT_EQ(namesIn(path.parent_path()), theFileAlone);
        EXPECT_EQ(fs::status(path).permissions(), fs::perms{0600});
        for (const char* made : {"new", "new/and newer"})
            EXPECT_EQ(fs::status(folder / made).permissions(), fs::perms{0700});
        runIn(path.parent_path(), "umask 22; echo left behind, and open to all > file.new");
    }
    ::umask(usual);
}

TEST(FileAccess, failsWithoutTouchingAnythingWhereItMayNotWrite) {
    const struct {
        const char* what;
        std::string path;
        const char* preparation;
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
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        const TemporaryFolder folder;
        runIn(folder.path(), "printf old > file; printf foreign > foreign; mkdir other");
        runIn(folder.path(), row.preparation);
        const auto before = namesIn(folder.path());
        EXPECT_EQ(writeFileAtomically(folder / row.path, "new"), WriteResult::failed);
        EXPECT_EQ(namesIn(folder.path()), before);
        EXPECT_EQ(readAll(folder / "file"), "old");
        EXPECT_EQ(readAll(folder / "foreign"), "foreign");
        EXPECT_TRUE(fs::is_empty(folder / "other"));
    }
}

TEST(FileAccess, keepsTheOldFileWhenTheDiskTakesOnlyAPart) {
    const TemporaryFolder folder;
    testing::writeAll(folder / "file", "old");
    rlimit usual{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &usual), 0);
    const rlimit small{40'000, usual.rlim_max};
    std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    const WriteResult result = writeFileAtomically(folder / "file", std::string(100'000, 'n'));
    ::setrlimit(RLIMIT_FSIZE, &usual);
    EXPECT_EQ(result, WriteResult::failed);
    EXPECT_EQ(readAll(folder / "file"), "old");
    EXPECT_EQ(namesIn(folder.path()), theFileAlone);
}

TEST(FileAccess, makesNoFolderThroughALinkThatComesMeanwhile) {
    const TemporaryFolder folder;
    runIn(folder.path(), "mkdir elsewhere");
    const fs::path place = folder / "place";
    const pid_t linker = ::fork();
    if (linker == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (;;) {
            std::error_code ignored;
            fs::create_symlink(folder / "elsewhere", place, ignored);
            ::unlink(place.c_str());
        }
    }
    for (int made = 0; made < 100;) {
        if (writeFileAtomically(place / "below/file", "x") == WriteResult::written) {
            fs::remove_all(place);
            ++made;
        }
    }
    ::kill(linker, SIGKILL);
    EXPECT_EQ(::waitpid(linker, nullptr, 0), linker);
    EXPECT_TRUE(fs::is_empty(folder / "elsewhere"));
}

TEST(FileAccess, locksForOneAtATimeAndTellsVersionsApart) {
    const TemporaryFolder folder;
    const fs::path path = folder / "new/lock";
    auto held = FileLock::tryToTake(path);
    ASSERT_TRUE(held);
    EXPECT_EQ(fs::status(path).permissions(), fs::perms{0600});
    EXPECT_FALSE(FileLock::tryToTake(path));
    held.reset();
    EXPECT_TRUE(FileLock::tryToTake(path));
    runIn(folder.path(), "ln -s new/lock link; mkfifo fifo");
    EXPECT_FALSE(FileLock::tryToTake(folder / "link"));
    EXPECT_FALSE(FileLock::tryToTake(folder / "fifo"));

    EXPECT_EQ(fileVersion(folder / "file"), std::nullopt);
    std::optional<FileVersion> before;
    for (const char* bytes : {"a", "b", "ab"}) {
        EXPECT_EQ(writeFileAtomically(folder / "file", bytes), WriteResult::written);
        EXPECT_NE(fileVersion(folder / "file"),
                  std::exchange(before, fileVersion(folder / "file")));
    }
}

/// Writes one content after the other, each of one letter, until it is killed.
pid_t startWriter(const fs::path& path, std::size_t size) {
    const pid_t child = ::fork();
    if (child != 0)
        return child;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (int i = 0;; i = (i + 1) % 26)
        static_cast<void>(writeFileAtomically(path, std::string(size, static_cast<char>('a' + i))));
}

TEST(FileAccess, showsWholeFilesOnlyWhileTwoWriteAndAreKilled) {
    const TemporaryFolder folder;
    const fs::path path = folder / "file";
    constexpr std::size_t size = 200'000;
    for (int round = 0; round < 24; ++round) {
        const pid_t writers[] = {startWriter(path, size), startWriter(path, size)};
        std::string content = readAll(path);
        for (int seen = 0; seen < 4;) {
            const auto now = readRegularFile(path, plenty);
            if (!now || *now == content)
                continue;
            content = *now;
            ASSERT_EQ(content, std::string(size, content[0]));
            ++seen;
        }
        for (const pid_t writer : writers) {
            ::kill(writer, SIGKILL);
            EXPECT_EQ(::waitpid(writer, nullptr, 0), writer);
        }
        content = readAll(path);
        ASSERT_EQ(content, std::string(size, content[0]));
    }
    EXPECT_EQ(writeFileAtomically(path, "last"), WriteResult::written);
    EXPECT_EQ(namesIn(folder.path()), theFileAlone);
}

} // namespace
} // namespace tallywick
