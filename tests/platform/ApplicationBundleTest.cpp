#include "platform/ApplicationBundle.h"

#include "support/SampleBundle.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>

namespace tallywick {
namespace {

namespace fs = std::filesystem;
using testing::makeSampleBundle;
using testing::TemporaryFolder;
using testing::writeAll;

TEST(ApplicationBundle, enclosesTheExecutableThatLiesInItsPlace) {
    const struct {
        const char* executable;
        std::optional<fs::path> bundle;
    } rows[] = {
        {"/Applications/A b.app/Contents/MacOS/Tool", "/Applications/A b.app"},
        {"/x/Outer.app/Contents/Frameworks/Inner.app/Contents/MacOS/Tool",
         "/x/Outer.app/Contents/Frameworks/Inner.app"},
        {"/Applications/A.app/Contents/MacOS/Tool (deleted)", "/Applications/A.app"},
        {"/Applications/A.app/Contents/Resources/Tool", {}},
        {"/Applications/A.app/Contents/MacOS/sub/Tool", {}},
        {"/Applications/.app/Contents/MacOS/Tool", {}},
        {"", {}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(enclosingBundle(row.executable), row.bundle) << row.executable;
}

TEST(ApplicationBundle, isTheExecutablesFolderForAProgramOutsideAnyBundle) {
    EXPECT_EQ(runningBundle(), fs::canonical("/proc/self/exe").parent_path());
}

TEST(ApplicationBundle, tellsItsInformation) {
    const TemporaryFolder folder;
    const fs::path bundle = makeSampleBundle(folder.path(), {{"CorvanePreview", true}});
    const fs::path link = folder / "link.app";
    fs::create_directory_symlink(bundle, link);
    for (const fs::path& path : {bundle, link}) {
        const auto information = informationDictionary(path);
        ASSERT_TRUE(information) << path;
        EXPECT_EQ(boolMember(*information, "CorvanePreview"), true);
        ASSERT_TRUE(stringMember(*information, "CFBundleShortVersionString"));
        EXPECT_EQ(*stringMember(*information, "CFBundleShortVersionString"), "0.6.0");
    }
    const fs::path file = bundle / "Contents/Info.plist";
    writeAll(file, writePropertyList(Json::object()));
    EXPECT_FALSE(informationDictionary(bundle)) << "an empty dictionary";
    fs::remove(file);
    fs::create_directory(file);
    EXPECT_FALSE(informationDictionary(bundle)) << "a folder in place of the file";
}

} // namespace
} // namespace tallywick
