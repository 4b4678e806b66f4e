#include "platform/linux/RunningApplications.h"

#include "platform/ChildProcess.h"
#include "support/SampleBundle.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <unistd.h>

namespace tallywick::testing {
namespace {

namespace fs = std::filesystem;
using Applications = std::vector<RunningApplication>;

TEST(RunningApplications, areFoundForAsLongAsTheyRun) {
    const TemporaryFolder folder;
    const fs::path bundle = makeSampleBundle(folder.path(), {{"CFBundleIdentifier", "org.one"}});
    const fs::path executable = bundle / "Contents/MacOS/CorvaneUtility";
    fs::copy_file("/bin/cat", executable, fs::copy_options::overwrite_existing);
    EXPECT_EQ(runningApplications({"org.one"}), Applications{});

    auto process = ChildProcess::launch({executable, {}, "/"}, {});
    const Applications running = runningApplications({"org.other", "org.one"});
    ASSERT_EQ(running.size(), 1U);
    EXPECT_EQ(running[0].bundle, bundle);
    EXPECT_EQ(::kill(running[0].processId, 0), 0);
    EXPECT_EQ(runningApplications({"org.other"}), Applications{});

    fs::rename(bundle, folder / "Moved.app");
    EXPECT_EQ(runningApplications({"org.one"}),
              (Applications{{running[0].processId, folder / "Moved.app"}}));

    process.reset();
    ASSERT_TRUE(waitForChildProcesses(std::chrono::seconds(20)));
    EXPECT_EQ(runningApplications({"org.one"}), Applications{});
}

TEST(RunningApplications, areThisUsersProcessesOfBundles) {
    const TemporaryFolder folder;
    const fs::path one =
        makeSampleBundle(folder.path(), {{"CFBundleIdentifier", "org.one"}}, "One.app");
    const fs::path two =
        makeSampleBundle(folder.path(), {{"CFBundleIdentifier", "org.two"}}, "Two.app");
    const fs::path unnamed =
        makeSampleBundle(folder.path(), {{"CFBundleIdentifier", nullptr}}, "Unnamed.app");
    const std::string executable = "/Contents/MacOS/CorvaneUtility";
    const fs::path processes = folder / "processes";
    const auto add = [&](const std::string& name, const std::string& target) {
        fs::create_directories(processes / name);
        fs::create_symlink(target, processes / name / "exe");
    };
    add("900", one.string() + executable);
    add("30", two.string() + executable);
    add("7", one.string() + executable + " (deleted)"); // replaced while it runs
    add("32", unnamed.string() + executable);
    add("33", one.string() + "/Contents/Resources/codex");
    add("34", (folder / "Gone.app").string() + executable);
    add("self", one.string() + executable);
    add("36x", one.string() + executable);
    fs::create_directories(processes / "38"); // a thread of the kernel
    fs::create_symlink("nothing", processes / "40");
    add("41", one.string() + executable);
    if (::chown((processes / "41").c_str(), 65'534, 65'534) != 0)
        fs::remove_all(processes / "41"); // only root can make one of somebody else's

    EXPECT_EQ(runningApplicationsIn(processes, {"org.two", "org.one"}),
              (Applications{{7, one}, {30, two}, {900, one}}));
    EXPECT_EQ(runningApplicationsIn(processes, {}), Applications{});
    EXPECT_EQ(runningApplicationsIn(folder / "missing", {"org.one"}), Applications{});
}

} // namespace
} // namespace tallywick::testing
