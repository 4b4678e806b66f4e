#include "install/AppInstallation.h"

#include "install/InstallationFailure.h"
#include "support/SampleBundle.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace tallywick {
namespace {

namespace fs = std::filesystem;
using testing::makeSampleBundle;
using testing::runIn;
using testing::TemporaryFolder;

/// Answers as it is told and notes what it was asked about.
class FakeCodeSignature final : public CodeSignature {
  public:
    bool answer = true;
    mutable std::vector<fs::path> asked;

    bool isValid(const fs::path& bundle) const override {
        asked.push_back(bundle);
        return answer;
    }
};

TEST(AppInstallation, recognisesTheIdentityOfABundle) {
    const Json none = Json::object();
    const struct {
        const char* name;
        bool expected;
        Json information;
        const char* command;                        ///< run in the bundle
        const char* path = "Corvane Tallywick.app"; ///< from the bundle's parent
    } rows[] = {
        {"a complete copy", true, none, ""},
        {"a copy under a name of its own", true, none, "mv ../*.app ../.new.app", ".new.app"},
        {"a path with a slash at its end", true, none, "", "Corvane Tallywick.app/"},
        {"a copy below a link", true, none, "ln -s . ../link", "link/Corvane Tallywick.app"},
        {"a folder without the extension", false, none, "mv ../*.app ../Corvane", "Corvane"},
        {"a link to the copy", false, none, "ln -s \"$0\" ../link.app", "link.app/"},
        {"another identifier", false, {{"CFBundleIdentifier", "com.corvane.other"}}, ""},
        {"no identifier", false, {{"CFBundleIdentifier", nullptr}}, ""},
        {"another executable", false, {{"CFBundleExecutable", "Other"}}, ""},
        {"no executable", false, none, "rm Contents/MacOS/*"},
        {"an executable that may not be run", false, none, "chmod 644 Contents/MacOS/*"},
    };
    for (const auto& row : rows) {
        const TemporaryFolder folder;
        runIn(makeSampleBundle(folder.path(), row.information), row.command);
        EXPECT_EQ(AppInstallation::hasBundleIdentity(folder / row.path), row.expected) << row.name;
    }
}

TEST(AppInstallation, verifiesACompleteCopyThatIsReachedThroughNoLink) {
    const TemporaryFolder folder;
    const fs::path bundle = makeSampleBundle(folder.path());
    FakeCodeSignature signature;
    signature.answer = false;
    EXPECT_FALSE(AppInstallation::isVerifiedBundle(bundle, signature)) << "signature";
    EXPECT_EQ(signature.asked, std::vector{bundle});

    signature.answer = true;
    signature.asked.clear();
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
    const fs::path detour = folder / "link/Corvane Tallywick.app";
    ASSERT_TRUE(AppInstallation::hasBundleIdentity(detour));
    EXPECT_FALSE(AppInstallation::isVerifiedBundle(detour, signature)) << "reached by a link";

    EXPECT_TRUE(signature.asked.empty()) << "nothing incomplete is worth a look at its signature";
    EXPECT_TRUE(AppInstallation::isVerifiedBundle(bundle, signature)) << "all put back";
}

TEST(AppInstallation, knowsTheTwoInstalledLocations) {
    EXPECT_EQ(AppInstallation::applicationsFolders("/home/ann"),
              (std::vector<fs::path>{"/Applications", "/home/ann/Applications"}));

    const TemporaryFolder folder;
    runIn(folder.path(), "mkdir -p all home/Applications; ln -s home link");
    const std::vector<fs::path> applications{folder / "all", folder / "home/Applications",
                                             folder / "link/Applications"};
    const struct {
        const char* place;
        bool expected;
    } rows[] = {
        {"all/Corvane Tallywick.app", true},
        {"home/Applications/Corvane Tallywick.app", true},
        {"home/./Applications//x/../Corvane Tallywick.app/", true},
        {"home/Applications/Corvane Tallywick 2.app", false},
        {"Corvane Tallywick.app", false},
        {"link/Applications/Corvane Tallywick.app", false}, // through a link
        {"", false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(AppInstallation::isInstalledLocation(folder / row.place, applications),
                  row.expected)
            << row.place;

    runIn(folder.path(), "ln -s ../home 'all/Corvane Tallywick.app'");
    EXPECT_FALSE(AppInstallation::isInstalledLocation(folder / rows[0].place, applications))
        << "a link in the installed place";
}

TEST(InstallationFailure, tellsTheUser) {
    EXPECT_EQ(message(InstallationFailure::invalidBundle),
              "This app is incomplete. Download a fresh copy and try again.");
    EXPECT_EQ(message(InstallationFailure::unrelatedDestination),
              "An unrelated item already uses this name in Applications. It has not been changed.");
    EXPECT_EQ(message(InstallationFailure::runningCopy),
              "The installed utility is still running. Quit it, then try again.");
    EXPECT_EQ(message(InstallationFailure::unsafeData),
              "A utility data folder points to another location. It was left unchanged for "
              "safety.");
}

} // namespace
} // namespace tallywick
