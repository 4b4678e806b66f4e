#include "install/AppInstallation.h"
#include "install/LaunchRule.h"
#include "support/SampleBundle.h"

namespace tallywick {
namespace {

namespace fs = std::filesystem;
using testing::makeSampleBundle;
using testing::runIn;
using testing::TemporaryFolder;

/// Answers as it is told and notes how often it was asked.
struct FakeCodeSignature final : CodeSignature {
    bool answer = false;
    mutable int asked = 0;
    bool isValid(const fs::path&) const override {
        ++asked;
        return answer;
    }
};

/// Whether a copy has the identity at a path, after a command has been run in its folder.
bool hasIdentity(const char* command, const char* path = "Corvane Tallywick.app",
                 const Json& information = Json::object()) {
    const TemporaryFolder folder;
    runIn(makeSampleBundle(folder.path(), information), command);
    return AppInstallation::hasBundleIdentity(folder / path);
}

TEST(AppInstallation, recognisesTheIdentityOfABundle) {
    EXPECT_TRUE(hasIdentity("mv ../*.app ../.new.app", ".new.app"));
    EXPECT_TRUE(hasIdentity("ln -s . ../link", "link/Corvane Tallywick.app/"));
    EXPECT_FALSE(hasIdentity("mv ../*.app ../Corvane", "Corvane"));
    EXPECT_FALSE(hasIdentity("ln -s \"$PWD\" ../link.app", "link.app/"));
    EXPECT_FALSE(hasIdentity("rm Contents/MacOS/*"));
    EXPECT_FALSE(hasIdentity("chmod 644 Contents/MacOS/*"));
    for (const Json& information :
         {Json{{"CFBundleIdentifier", "com.corvane.other"}}, Json{{"CFBundleIdentifier", nullptr}},
          Json{{"CFBundleExecutable", "Other"}}})
        EXPECT_FALSE(hasIdentity("", "Corvane Tallywick.app", information)) << information;
}

TEST(AppInstallation, verifiesACompleteCopyThatIsReachedThroughNoLink) {
    const TemporaryFolder folder;
    const fs::path bundle = makeSampleBundle(folder.path());
    FakeCodeSignature signature;
    EXPECT_FALSE(AppInstallation::isVerifiedBundle(bundle, signature));
    EXPECT_EQ(signature.asked, 1);

    signature.answer = true;
    for (const std::string part :
         {"Contents/Info.plist", "Contents/MacOS/CorvaneUtility",
          "Contents/Resources/corvane-logo.png", "Contents/Resources/CorvaneIcon.icns",
          "Contents/_CodeSignature/CodeResources", "Contents/Resources"}) {
        runIn(bundle, "mv " + part + " ../aside");
        EXPECT_FALSE(AppInstallation::isVerifiedBundle(bundle, signature)) << part << " missing";
        runIn(bundle, "ln -s \"$PWD\"/../aside " + part);
        EXPECT_FALSE(AppInstallation::isVerifiedBundle(bundle, signature)) << part << " linked";
        runIn(bundle, "rm " + part + "; mv ../aside " + part);
    }
    runIn(bundle, "ln -s . ../link");
    EXPECT_FALSE(
        AppInstallation::isVerifiedBundle(folder / "link/Corvane Tallywick.app", signature));
    EXPECT_EQ(signature.asked, 1) << "nothing incomplete is worth a look at its signature";
    EXPECT_TRUE(AppInstallation::isVerifiedBundle(bundle, signature)) << "all put back";
}

TEST(AppInstallation, knowsTheTwoInstalledLocations) {
    EXPECT_EQ(AppInstallation::applicationsFolders("/home/ann"),
              (std::vector<fs::path>{"/Applications", "/home/ann/Applications"}));

    const TemporaryFolder folder;
    runIn(folder.path(), "mkdir -p all home/Applications links; ln -s home link\n"
                         "ln -s ../home 'links/Corvane Tallywick.app'");
    const std::vector<fs::path> applications{folder / "all", folder / "home/Applications",
                                             folder / "link/Applications", folder / "links"};
    const auto isInstalled = [&](const char* place) {
        return AppInstallation::isInstalledLocation(folder / place, applications);
    };
    EXPECT_TRUE(isInstalled("all/Corvane Tallywick.app"));
    EXPECT_TRUE(isInstalled("home/./Applications//x/../Corvane Tallywick.app/"));
    EXPECT_FALSE(isInstalled("home/Applications/Corvane Tallywick 2.app"));
    EXPECT_FALSE(isInstalled("Corvane Tallywick.app"));
    EXPECT_FALSE(isInstalled("link/Applications/Corvane Tallywick.app"));
    EXPECT_FALSE(isInstalled("links/Corvane Tallywick.app"));
}

TEST(AppInstallation, countsAManagedCopyAsInstalled) {
    const TemporaryFolder folder;
    const fs::path bundle = makeSampleBundle(folder.path());
    EXPECT_FALSE(inspectBundle(bundle, {"/Applications"}, systemCodeSignature()).isInstalled);
    testing::writeAll(folder / "Corvane Tallywick.app.managed", "");
    const RunningBundle found = inspectBundle(bundle, {"/Applications"}, systemCodeSignature());
    EXPECT_TRUE(found.isManaged && found.isInstalled);
    EXPECT_TRUE(found.isVerified()) << "the mark lies outside the seal";
}

TEST(LaunchRule, ReadsWhoHasInstalledThisCopy) {
    const auto process = [](std::vector<std::string> arguments) {
        return LaunchRule::finishInstallProcess(arguments);
    };
    EXPECT_EQ(process({"utility", "--finish-install", "+4711"}), 4711);
    for (const char* number : {"2147483648", "+-1", "1 ", ""})
        EXPECT_EQ(process({"utility", "--finish-install", number}), std::nullopt) << number;
    EXPECT_EQ(process({"utility", "--finish-install"}), std::nullopt);
    EXPECT_EQ(process({"utility", "--finish", "4711"}), std::nullopt);
}

TEST(LaunchRule, AnotherCopyTakesOverWhereTheRuleSaysSo) {
    const std::filesystem::path here = "/home/me/Applications/Corvane Tallywick.app";
    const std::filesystem::path there = "/media/stick/Corvane Tallywick.app";
    const auto activated = [&](std::vector<RunningApplication> others, bool isInstalled,
                               std::optional<int> installedBy = {}) {
        others.push_back({20, here});
        const auto copy = LaunchRule::copyToActivate(others, {20, here, isInstalled, installedBy});
        return copy ? copy->processId : 0;
    };
    EXPECT_EQ(activated({}, true), 0);
    EXPECT_EQ(activated({{10, here / "."}}, false), 10);
    EXPECT_EQ(activated({{10, there}}, true), 10);
    EXPECT_EQ(activated({{10, there}}, false), 0);
    EXPECT_EQ(activated({{10, there}}, true, 10), 0);
    EXPECT_EQ(activated({{10, there}, {15, there}}, true, 10), 15);
}

} // namespace
} // namespace tallywick
