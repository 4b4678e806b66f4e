#include "platform/ChildProcess.h"

#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <fstream>
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

/// Process ids of the children of this process, zombies included.
std::string childProcesses() {
    std::string children;
    for (const auto& thread : fs::directory_iterator("/proc/self/task")) {
        std::ifstream file(thread.path() / "children");
        for (std::string child; file >> child;)
            children += child + " ";
    }
    return children;
}

/// Whatever the tests do, no process and no descriptor of theirs is left.
class LeavesNothingBehind : public ::testing::Environment {
  public:
    void SetUp() override { before = openDescriptors(); }
    void TearDown() override {
        EXPECT_TRUE(tallywick::waitForChildProcesses(std::chrono::seconds(20)));
        EXPECT_EQ(childProcesses(), "");
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
