#include "platform/FileAccess.h"

#include "support/TemporaryFolder.h"

#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <set>

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
    }
}

TEST(FileAccess, replacesTheFileAndLeavesNothingBeside) {
    const TemporaryFolder folder;
    const fs::path path = folder / "new/and newer/file";
    for (const std::string& bytes :
         {std::string("first"), std::string(300'000, 'x'), std::string()}) {
        EXPECT_EQ(writeFileAtomically(path, bytes), WriteResult::written);
        EXPECT_EQ(readAll(path), bytes);
        EXPECT_EQ(namesIn(path.parent_path()), theFileAlone);
        EXPECT_EQ(fs::status(path).permissions(), fs::perms{0600});
        runIn(path.parent_path(), "umask 22; echo left behind, and open to all > file.new");
    }
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
