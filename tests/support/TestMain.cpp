#include "platform/process/ChildProcess.h"

#include <gmock/gmock.h>

#include <sys/wait.h>

#include <chrono>
#include <filesystem>
#include <set>
#include <string>

namespace {

namespace fs = std::filesystem;

/// What every open descriptor of this process refers to.
std::multiset<std::string> openDescriptors() {
    std::multiset<std::string> targets;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        const fs::path target = fs::read_symlink(entry.path(), error);
        if (!error && target.string().find("/proc/") != 0) // the folder being listed
            targets.insert(target.string());
    }
    return targets;
}

/// Whatever the tests do, no process and no descriptor of theirs is left.
class LeavesNothingBehind : public ::testing::Environment {
  public:
    void SetUp() override { before = openDescriptors(); }
    void TearDown() override {
        EXPECT_TRUE(tallywick::waitForChildProcesses(std::chrono::seconds(20)));
        EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1)
            << "a child is left, alive or not waited for";
        EXPECT_EQ(openDescriptors(), before);
    }

  private:
    std::multiset<std::string> before;
};

} // namespace

int main(int argc, char** argv) {
    ::testing::InitGoogleMock(&argc, argv);
    ::testing::AddGlobalTestEnvironment(new LeavesNothingBehind);
    return RUN_ALL_TESTS();
}
