#include "platform/FilePreferences.h"

#include "platform/StandardFolders.h"
#include "support/TemporaryFolder.h"

namespace tallywick {
namespace {

using testing::readAll;
using testing::TemporaryFolder;

TEST(FilePreferences, KeepsValuesFromOneStartToTheNext) {
    const TemporaryFolder folder;
    const auto file = folder / "new" / "preferences.json";
    {
        FilePreferences preferences(file);
        preferences.setBool("mini", true);
        preferences.setDouble("resizableWidth", 520.5);
        preferences.setString("codexPath", "/é");
        preferences.setString("noText", "\xFF");
        EXPECT_EQ(preferences.stringValue("noText"), "\xFF");
        preferences.setString("gone", "x");
        preferences.remove("gone");
    }
    EXPECT_EQ(readAll(file), "{\"codexPath\":\"/é\",\"mini\":true,\"resizableWidth\":520.5}\n");
    const FilePreferences again(file);
    EXPECT_EQ(again.boolValue("mini"), true);
    EXPECT_EQ(again.doubleValue("resizableWidth"), 520.5);
    EXPECT_EQ(again.stringValue("codexPath"), "/é");
}

TEST(FilePreferences, TreatsWhatItCannotReadAsAbsent) {
    const TemporaryFolder folder;
    const auto file = folder / "preferences.json";
    const std::string tooLong(FilePreferences::maximumBytes, ' ');
    for (const std::string content : {R"({"mini":1,"codexPath":true,"resizableWidth":"5"})",
                                      "[true]", "{\"mini\":true", "", "too long"}) {
        SCOPED_TRACE(content);
        testing::writeAll(file, content == "too long" ? "{\"mini\":true}" + tooLong : content);
        FilePreferences preferences(file);
        EXPECT_EQ(preferences.boolValue("mini"), std::nullopt);
        EXPECT_EQ(preferences.stringValue("codexPath"), std::nullopt);
        EXPECT_EQ(preferences.doubleValue("resizableWidth"), std::nullopt);
        preferences.setBool("mini", true);
        EXPECT_EQ(FilePreferences(file).boolValue("mini"), true);
    }
}

TEST(StandardFolders, comeFromAbsoluteValuesOfTheEnvironment) {
    const struct {
        const char* xdg;
        const char* home;
        const char* support;
        const char* preferences;
    } rows[] = {
        {"", "/home/a", "/home/a/.local/share", "/home/a/.config"},
        {"relative", "/home/\xE9", "/home/\xE9/.local/share", "/home/\xE9/.config"},
        {"/data/\xFF", "", "/data/\xFF", "/data/\xFF"},
        {"", "", "/", "/"}, // the folder for temporary files
    };
    ::setenv("TMPDIR", "/", 1);
    for (const auto& row : rows) {
        ::setenv("XDG_DATA_HOME", row.xdg, 1);
        ::setenv("XDG_CONFIG_HOME", row.xdg, 1);
        ::setenv("HOME", row.home, 1);
        EXPECT_EQ(applicationSupportFolder(), row.support);
        EXPECT_EQ(preferencesFolder(), row.preferences);
        EXPECT_EQ(homeFolder(), *row.home ? row.home : "/");
    }
    EXPECT_EQ(FilePreferences::defaultFile(), "/Corvane Tallywick/preferences.json");
    ::setenv("TMPDIR", "/no such folder", 1);
    EXPECT_EQ(applicationSupportFolder(), "/tmp");
    ::unsetenv("TMPDIR");
}

} // namespace
} // namespace tallywick
