#include "platform/process/ChildProcess.h"

#include <gmock/gmock.h>

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <set>

namespace {

/// What every open descriptor of this process refers to.
std::multiset<std::string> openDescriptors() {
    std::multiset<std::string> targets;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        const std::string target = std::filesystem::read_symlink(entry.path(), error);
        if (!error && !target.starts_with("/proc/")) // the folder being listed
            targets.insert(target);
    }
    return targets;
}

/// Whatever the tests do, no process and no descriptor of theirs is left.
class LeavesNothingBehind : public ::testing::Environment {
    void SetUp() override { before = openDescriptors(); }
    void TearDown() override {
        EXPECT_TRUE(tallywick::waitForChildProcesses(std::chrono::seconds(20)));
        EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1)
            << "a child is left, alive or not waited for";
        EXPECT_EQ(openDescriptors(), before);
    }

    std::multiset<std::string> before;
};

} // namespace

int main(int argc, char** argv) {
    ::setenv("GIO_USE_VFS", "local", 1); // what tests mark is not noted in the desktop's own store
    ::testing::InitGoogleMock(&argc, argv);
    ::testing::AddGlobalTestEnvironment(new LeavesNothingBehind);
    return RUN_ALL_TESTS();
}
