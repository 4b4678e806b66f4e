#include "platform/FileAccess.h"

#include "support/TemporaryFolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <fstream>
#include <functional>
#include <iterator>
#include <thread>
#include <vector>

namespace tallywick {
namespace {

namespace fs = std::filesystem;
using testing::TemporaryFolder;

constexpr std::size_t plenty = 10'000'000;

void put(const fs::path& path, const std::string& bytes) { std::ofstream(path) << bytes; }

std::string contentOf(const fs::path& path) {
    std::ifstream stream(path);
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::vector<std::string> namesIn(const fs::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

TEST(FileAccess, readsTheWholeOfARegularFile) {
    const TemporaryFolder folder;
    for (const std::string& bytes : {std::string(), std::string("a\0b\n", 4),
                                     std::string(65'536, 'x'), std::string(200'001, 'y')}) {
        put(folder / "file", bytes);
        EXPECT_EQ(readRegularFile(folder / "file", bytes.size()), bytes);
        EXPECT_EQ(readRegularFile(folder / "./x/../file", plenty), bytes);
        if (!bytes.empty()) {
            EXPECT_EQ(readRegularFile(folder / "file", bytes.size() - 1), std::nullopt);
        }
        for (const std::size_t count :
             {std::size_t{0}, std::size_t{2}, std::size_t{100'000}, plenty})
            EXPECT_EQ(readFileStart(folder / "file", count), bytes.substr(0, count));
    }
}

TEST(FileAccess, readsAFileThatIsLongerThanItsSize) {
    const fs::path growing = "/proc/version"; // its size is given as 0
    ASSERT_EQ(fs::file_size(growing), 0);
    const auto bytes = readRegularFile(growing, plenty);
    ASSERT_TRUE(bytes);
    ASSERT_GT(bytes->size(), 10);
    EXPECT_EQ(readRegularFile(growing, bytes->size() - 1), std::nullopt);
}

TEST(FileAccess, readsNothingElse) {
    const TemporaryFolder folder;
    fs::create_directory(folder / "real");
    put(folder / "real/file", "x");
    fs::create_symlink(folder / "real/file", folder / "link");
    fs::create_directory_symlink(folder / "real", folder / "linkedFolder");
    ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
    ASSERT_TRUE(readRegularFile(folder / "real/file", plenty));
    for (const fs::path& path :
         {folder / "missing", folder / "real", folder / "real/file/below", folder / "link",
          folder / "linkedFolder/file", folder / "fifo", fs::path("/dev/zero"), fs::path()}) {
        EXPECT_EQ(readRegularFile(path, plenty), std::nullopt) << path;
        EXPECT_EQ(readFileStart(path, 1), std::nullopt) << path;
    }
}

TEST(FileAccess, replacesTheFileAndLeavesNothingBeside) {
    const TemporaryFolder folder;
    const fs::path path = folder / "new/and newer/file";
    for (const std::string& bytes :
         {std::string("first"), std::string(300'000, 'x'), std::string()}) {
        EXPECT_EQ(writeFileAtomically(path, bytes), WriteResult::written);
        EXPECT_EQ(contentOf(path), bytes);
        EXPECT_EQ(namesIn(path.parent_path()), std::vector<std::string>{"file"});
        EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    }
    put(folder / "new/and newer/file.new", "left behind by a write that was killed");
    EXPECT_EQ(writeFileAtomically(path, "last"), WriteResult::written);
    EXPECT_EQ(contentOf(path), "last");
    EXPECT_EQ(namesIn(path.parent_path()), std::vector<std::string>{"file"});
}

TEST(FileAccess, failsWithoutTouchingAnythingWhereItMayNotWrite) {
    const struct {
        const char* what;
        const char* path;
        std::function<void(const TemporaryFolder&)> prepare;
    } rows[] = {
        {"the file is a link", "link",
         [](const auto& folder) { fs::create_symlink(folder / "file", folder / "link"); }},
        {"a folder is a link", "link/deep/file",
         [](const auto& folder) {
             fs::create_directory_symlink(folder / "other", folder / "link");
         }},
        {"a folder is a file", "file/deep/file", [](const auto&) {}},
        {"the file is a folder", "other", [](const auto&) {}},
        {"the name is too long for its temporary file", "", [](const auto&) {}},
        {"the temporary file is a link", "file",
         [](const auto& folder) { fs::create_symlink(folder / "foreign", folder / "file.new"); }},
        {"the temporary file has a second name", "file",
         [](const auto& folder) { fs::create_hard_link(folder / "foreign", folder / "file.new"); }},
        {"the temporary file is a FIFO", "file",
         [](const auto& folder) { EXPECT_EQ(::mkfifo((folder / "file.new").c_str(), 0600), 0); }},
    };
    for (const auto& row : rows) {
        const TemporaryFolder folder;
        put(folder / "file", "old");
        put(folder / "foreign", "foreign");
        fs::create_directory(folder / "other");
        row.prepare(folder);
        const auto before = namesIn(folder.path());
        const std::string name = *row.path ? row.path : std::string(253, 'x');
        EXPECT_EQ(writeFileAtomically(folder / name, "new"), WriteResult::failed) << row.what;
        EXPECT_EQ(namesIn(folder.path()), before) << row.what;
        EXPECT_EQ(contentOf(folder / "file"), "old") << row.what;
        EXPECT_EQ(contentOf(folder / "foreign"), "foreign") << row.what;
        EXPECT_TRUE(fs::is_empty(folder / "other")) << row.what;
    }
}

TEST(FileAccess, yieldsToAnotherWriter) {
    const TemporaryFolder folder;
    const fs::path temporary = folder / "file.new";
    const int other = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_EQ(::flock(other, LOCK_EX), 0);
    ASSERT_EQ(::write(other, "half", 4), 4);
    EXPECT_EQ(writeFileAtomically(folder / "file", "new"), WriteResult::failed);
    EXPECT_EQ(contentOf(temporary), "half");
    ::close(other);
    EXPECT_EQ(writeFileAtomically(folder / "file", "new"), WriteResult::written);
}

TEST(FileAccess, keepsTheOldFileWhenTheDiskTakesOnlyAPart) {
    const TemporaryFolder folder;
    const std::string bytes(100'000, 'n');
    put(folder / "file", "old");
    const pid_t child = ::fork();
    if (child == 0) {
        const rlimit limit{40'000, 40'000};
        const bool limited =
            std::signal(SIGXFSZ, SIG_IGN) != SIG_ERR && ::setrlimit(RLIMIT_FSIZE, &limit) == 0;
        const bool failed = writeFileAtomically(folder / "file", bytes) == WriteResult::failed;
        ::_exit(limited && failed ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(contentOf(folder / "file"), "old");
    EXPECT_EQ(namesIn(folder.path()), std::vector<std::string>{"file"});
}

/// Whether the content is one that the writers below write, in full.
bool isWhole(const std::string& content) {
    return content.size() == 200'000 && content.find_first_not_of(content[0]) == std::string::npos;
}

std::string version(int number) {
    return std::string(200'000, static_cast<char>('a' + number % 26));
}

TEST(FileAccess, leavesAWholeFileWhenItIsKilledAtAnyMoment) {
    using SteadyClock = std::chrono::steady_clock;
    const TemporaryFolder folder;
    const fs::path path = folder / "file";
    const std::string versions[] = {version(0), version(1)};
    constexpr int rounds = 24;
    int interrupted = 0;
    for (int round = 0; round < rounds; ++round) {
        int progress[2];
        ASSERT_EQ(::pipe2(progress, O_CLOEXEC), 0);
        const pid_t child = ::fork();
        if (child == 0) {
            ::close(progress[0]); // so that a test which fails ends the child too
            for (int i = 0;; ++i) {
                if (writeFileAtomically(path, versions[i % 2]) != WriteResult::written
                    || ::write(progress[1], "x", 1) != 1)
                    ::_exit(1);
            }
        }
        ::close(progress[1]);
        char byte = 0;
        ASSERT_EQ(::read(progress[0], &byte, 1), 1);
        const auto begin = SteadyClock::now();
        ASSERT_EQ(::read(progress[0], &byte, 1), 1);
        const auto end = SteadyClock::now();
        const auto moment = end + (end - begin) * round / rounds; // within the third write
        while (SteadyClock::now() < moment)
            continue;
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        ::close(progress[0]);
        const auto names = namesIn(folder.path());
        const bool hasTemporary = names == std::vector<std::string>{"file", "file.new"};
        interrupted += hasTemporary ? 1 : 0;
        EXPECT_TRUE(hasTemporary || names == std::vector<std::string>{"file"});
        EXPECT_TRUE(isWhole(contentOf(path)));
    }
    EXPECT_GT(interrupted, 0) << "no write was under way when it was killed";
    EXPECT_EQ(writeFileAtomically(path, version(0)), WriteResult::written);
    EXPECT_EQ(namesIn(folder.path()), std::vector<std::string>{"file"});
}

TEST(FileAccess, showsReadersWholeFilesOnlyWhileTwoWrite) {
    const TemporaryFolder folder;
    const fs::path path = folder / "file";
    std::atomic<int> writing = 2;
    const auto writeOften = [&](int first) {
        for (int i = 0; i < 40;) // one of two writers that meet succeeds, so both get there
            i += writeFileAtomically(path, version(first + i)) == WriteResult::written;
        --writing;
    };
    std::thread one(writeOften, 0);
    std::thread two(writeOften, 13);
    int read = 0;
    while (writing > 0) {
        if (const auto bytes = readRegularFile(path, plenty)) {
            EXPECT_TRUE(isWhole(*bytes));
            ++read;
        }
    }
    one.join();
    two.join();
    EXPECT_GT(read, 0);
    EXPECT_EQ(namesIn(folder.path()), std::vector<std::string>{"file"});
}

} // namespace
} // namespace tallywick
