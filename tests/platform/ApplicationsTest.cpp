#include "platform/bundle/ApplicationBundle.h"
#include "platform/bundle/linux/ApplicationBundle.h"
#include "support/SampleBundle.h"

#include <unistd.h>

namespace tallywick {
namespace {

namespace fs = std::filesystem;
using testing::makeSampleBundle;
using testing::TemporaryFolder;
using Applications = std::vector<RunningApplication>;

const std::string executableName = "Contents/MacOS/CorvaneUtility";

TEST(ApplicationBundle, isFoundAndTellsItsInformation) {
    EXPECT_EQ(enclosingBundle("/x/Outer.app/Contents/In ner.app/Contents/MacOS/Tool"),
              "/x/Outer.app/Contents/In ner.app");
    for (const char* executable :
         {"/A.app/Contents/Resources/Tool", "/A.app/Contents/MacOS/sub/Tool",
          "/A.app/Versions/MacOS/Tool", "/.app/Contents/MacOS/Tool", "/A/Contents/MacOS/Tool", ""})
        EXPECT_EQ(enclosingBundle(executable), std::nullopt) << executable;
    EXPECT_EQ(runningBundle(), fs::canonical("/proc/self/exe").parent_path()) << "outside a bundle";

    const TemporaryFolder folder;
    const fs::path bundle = makeSampleBundle(folder.path(), {{"CorvanePreview", true}});
    fs::create_directory_symlink(bundle, folder / "link.app");
    EXPECT_EQ(boolMember(informationDictionary(folder / "link.app").value(), "CorvanePreview"),
              true);
    const fs::path information = bundle / "Contents/Info.plist";
    testing::writeAll(information, writePropertyList(Json::object()));
    EXPECT_FALSE(informationDictionary(bundle)) << "an empty dictionary";
    fs::remove(information);
    EXPECT_FALSE(informationDictionary(bundle)) << "none";
}

TEST(ApplicationBundle, isManagedWhenAFileBesideItSaysSo) {
    constexpr uid_t ann = 65'534;
    const struct {
        const char* command; ///< makes the mark
        uid_t owner;         ///< of the bundle
        bool isManaged;
    } rows[] = {
        {"true", 0, false},
        {"touch A.app.managed", ann, true},
        {"touch A.app.managed; chown 65534 A.app.managed", ann, true},
        {"touch A.app.managed; chown 65534 A.app.managed", 0, false},
        {"mkdir A.app.managed", 0, false},
        {"touch mark; ln -s mark A.app.managed", 0, false},
    };
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can give files away";
    for (const auto& row : rows) {
        const TemporaryFolder folder;
        fs::create_directory(folder / "A.app");
        ASSERT_EQ(::chown((folder / "A.app").c_str(), row.owner, row.owner), 0);
        testing::runIn(folder.path(), row.command);
        EXPECT_EQ(isManagedBundle(folder / "A.app"), row.isManaged) << row.command;
    }
}

TEST(RunningApplications, areThisUsersProcessesOfBundles) {
    const TemporaryFolder folder;
    const auto executable = [&](const char* bundle, const Json& identifier) {
        return makeSampleBundle(folder.path(), {{"CFBundleIdentifier", identifier}}, bundle)
               / executableName;
    };
    const fs::path processes = folder / "processes";
    const auto add = [&](const char* name, const fs::path& target) {
        fs::create_directories(processes / name);
        fs::create_symlink(target, processes / name / "exe");
    };
    const fs::path one = executable("One.app", "org.one");
    add("900", one);
    testing::writeAll(processes / "900/cmdline", std::string("./CorvaneUtility\0--watch\0\0", 26));
    add("30", executable("Two.app", "org.two"));
    add("7", one.string() + " (deleted)"); // replaced while it runs
    add("32", executable("Unnamed.app", nullptr));
    add("34", folder / "Gone.app" / executableName);
    add("self", one);
    add("36x", one);
    fs::create_directories(processes / "38"); // a thread of the kernel
    add("41", one);
    if (::chown((processes / "41").c_str(), 65'534, 65'534) != 0)
        fs::remove_all(processes / "41"); // only root can make one of somebody else's

    EXPECT_EQ(runningApplicationsIn(processes, {"org.two", "org.one"}),
              (Applications{{7, folder / "One.app", {}},
                            {30, folder / "Two.app", {}},
                            {900, folder / "One.app", {"--watch", ""}}}));
    EXPECT_EQ(runningApplicationsIn(folder / "missing", {"org.one"}), Applications{});
}

} // namespace
} // namespace tallywick
