#include "platform/files/Preferences.h"

#include "platform/files/StandardFolders.h"
#include "support/TemporaryFolder.h"

#include <pwd.h>
#include <unistd.h>

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
        preferences = FilePreferences(folder / "other");
        EXPECT_EQ(FilePreferences(file).boolValue("mini"), true);
    }
}

TEST(FilePreferences, RemovesEveryChoiceAndKeepsNoneAfterwards) {
    using Names = std::set<std::string>;
    const struct {
        const char* before; ///< puts something into the folder
        bool isPending;     ///< a write, when all is to be removed
        bool isRemoved;
        Names stays;
    } rows[] = {
        {"", true, true, {}},
        {"echo cut > preferences.json.new; echo > usage", false, true, {"usage"}},
        {"mv preferences.json mine; ln -s mine preferences.json",
         true,
         false,
         {"mine", "preferences.json"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.before);
        const TemporaryFolder folder;
        const auto file = folder / "new" / "preferences.json";
        FilePreferences(file).setBool("mini", true);
        testing::runIn(folder / "new", row.before);
        {
            FilePreferences preferences(file);
            if (row.isPending)
                preferences.setBool("pending", true);
            const Preferences::Group open(preferences);
            preferences.setBool("inGroup", true);
            EXPECT_EQ(preferences.removeAll(), row.isRemoved);
            preferences.setBool("later", true);
            EXPECT_EQ(preferences.boolValue("mini"), std::nullopt);
        }
        EXPECT_EQ(std::filesystem::exists(folder / "new"), !row.stays.empty());
        Names left;
        if (!row.stays.empty())
            for (const auto& entry : std::filesystem::directory_iterator(folder / "new"))
                left.insert(entry.path().filename());
        EXPECT_EQ(left, row.stays);
    }
}

TEST(StandardFolders, comeFromTheEnvironmentOrTheSystemsRecordWithoutLinks) {
    const TemporaryFolder folder;
    testing::runIn(folder.path(), "mkdir -p var/home; ln -s var/home home; ln -s missing dangling");
    const std::string home = ::getpwuid(::geteuid())->pw_dir;
    const struct {
        std::string xdg;
        std::string home;
        std::string base; ///< of XDG, in the home folder if empty
        std::string resolvedHome;
    } rows[] = {
        {"", "/no/home/\xE9", "", "/no/home/\xE9"},
        {"relative", folder / "home/a", "", folder / "var/home/a"},
        {"/data/\xFF//x/", folder / "dangling", "/data/\xFF/x", folder / "dangling"},
        {folder / "home/new/../x", "relative", folder / "var/home/x", home},
        {"", "", "", home},
    };
    for (const auto& row : rows) {
        ::setenv("XDG_DATA_HOME", row.xdg.c_str(), 1);
        ::setenv("XDG_CONFIG_HOME", row.xdg.c_str(), 1);
        ::setenv("XDG_CACHE_HOME", row.xdg.c_str(), 1);
        ::setenv("HOME", row.home.c_str(), 1);
        const auto expected = [&](const char* belowHome) {
            return row.base.empty() ? row.resolvedHome + belowHome : row.base;
        };
        EXPECT_EQ(applicationSupportFolder(), expected("/.local/share"));
        EXPECT_EQ(preferencesFolder(), expected("/.config"));
        EXPECT_EQ(cachesFolder(), expected("/.cache"));
        EXPECT_EQ(homeFolder(), row.resolvedHome);
    }
    EXPECT_EQ(FilePreferences::defaultFile(), home + "/.config/Corvane Tallywick/preferences.json");
}

} // namespace
} // namespace tallywick
