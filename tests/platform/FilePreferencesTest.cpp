#include "platform/FilePreferences.h"

#include "platform/StandardFolders.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

namespace tallywick {
namespace {

using testing::TemporaryFolder;

std::string contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

TEST(FilePreferences, KeepsValuesFromOneStartToTheNext) {
    const TemporaryFolder folder;
    const auto file = folder / "new" / "preferences.json";
    {
        FilePreferences preferences(file);
        EXPECT_EQ(preferences.boolValue("mini"), std::nullopt);
        preferences.setBool("mini", true);
        preferences.setDouble("resizableWidth", 520.5);
        preferences.setString("codexPath", "/é");
        preferences.setString("noText", "\xFF");
        EXPECT_EQ(preferences.stringValue("noText"), "\xFF");
        preferences.setString("gone", "x");
        preferences.remove("gone");
    }
    EXPECT_EQ(contentOf(file), "{\"codexPath\":\"/é\",\"mini\":true,\"resizableWidth\":520.5}\n");
    const FilePreferences again(file);
    EXPECT_EQ(again.boolValue("mini"), true);
    EXPECT_EQ(again.doubleValue("resizableWidth"), 520.5);
    EXPECT_EQ(again.stringValue("codexPath"), "/é");
}

TEST(FilePreferences, TreatsWhatItCannotReadAsAbsent) {
    const TemporaryFolder folder;
    for (const std::string& content :
         {std::string(R"({"mini":1,"codexPath":true,"resizableWidth":"5"})"), std::string("[true]"),
          std::string("{\"mini\":true"), std::string("\xFF\0", 2), std::string(),
          R"({"mini":true,"x":")" + std::string(FilePreferences::maximumBytes, 'x') + "\"}"}) {
        SCOPED_TRACE(content.substr(0, 60));
        const auto file = folder / "preferences.json";
        std::ofstream(file) << content;
        FilePreferences preferences(file);
        EXPECT_EQ(preferences.boolValue("mini"), std::nullopt);
        EXPECT_EQ(preferences.stringValue("codexPath"), std::nullopt);
        EXPECT_EQ(preferences.doubleValue("resizableWidth"), std::nullopt);
        EXPECT_EQ(contentOf(file), content); // until something is set
        preferences.setBool("mini", true);
        EXPECT_EQ(FilePreferences(file).boolValue("mini"), true);
    }
}

TEST(FilePreferences, LieAmongTheUsersPreferences) {
    ::setenv("XDG_CONFIG_HOME", "/somewhere", 1);
    EXPECT_EQ(FilePreferences::defaultFile(), "/somewhere/Corvane Tallywick/preferences.json");
    ::setenv("XDG_CONFIG_HOME", "relative", 1);
    ::setenv("HOME", "/home/someone", 1);
    EXPECT_EQ(FilePreferences::defaultFile(),
              "/home/someone/.config/Corvane Tallywick/preferences.json");
}

} // namespace
} // namespace tallywick
