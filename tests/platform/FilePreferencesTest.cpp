#include "platform/files/Preferences.h"

#include "platform/files/StandardFolders.h"
#include "support/RunningProgram.h"
#include "support/TemporaryFolder.h"

#include <pwd.h>
#include <unistd.h>

namespace tallywick {
namespace {

namespace fs = std::filesystem;
using testing::readAll;
using testing::runIn;
using testing::TemporaryFolder;
using testing::writeAll;

TEST(FilePreferences, KeepsValuesAndTreatsWhatItCannotReadAsAbsent) {
    const TemporaryFolder folder;
    const fs::path file = folder / "preferences.json";
    for (const std::string& content :
         {std::string(R"({"mini":1,"codexPath":true,"resizableWidth":"5"})"), std::string("[true]"),
          "{\"mini\":true}" + std::string(FilePreferences::maximumBytes, ' ')}) {
        SCOPED_TRACE(content.substr(0, 60));
        writeAll(file, content);
        FilePreferences preferences(file);
        EXPECT_EQ(preferences.boolValue("mini"), std::nullopt);
        EXPECT_EQ(preferences.stringValue("codexPath"), std::nullopt);
        EXPECT_EQ(preferences.doubleValue("resizableWidth"), std::nullopt);
        preferences.remove("mini");
        preferences.setDouble("resizableWidth", 520.5);
        preferences.setString("codexPath", "/é");
        preferences.setString("noText", "\xFF");
        EXPECT_EQ(preferences.stringValue("noText"), "\xFF") << "until the program ends";
        preferences = FilePreferences(folder / "other"); // the end of the first waits for the disk
        EXPECT_EQ(readAll(file), "{\"codexPath\":\"/é\",\"resizableWidth\":520.5}\n");
        EXPECT_EQ(FilePreferences(file).doubleValue("resizableWidth"), 520.5);
    }
}

TEST(FilePreferences, RemovesEveryChoiceAndKeepsNoneAfterwards) {
    const struct {
        const char* before; ///< puts something into the folder
        bool isPending;     ///< a write, when all is to be removed
        bool isRemoved;
        const char* stays;
    } rows[] = {
        {"", true, true, ""},
        {"echo cut > preferences.json.new; echo > usage", false, true, "new\nnew/usage"},
        {"mv preferences.json mine; ln -s mine preferences.json", true, false,
         "new\nnew/mine\nnew/preferences.json"},
    };
    for (const auto& row : rows) {
        const TemporaryFolder folder;
        FilePreferences(folder / "new/preferences.json").setBool("mini", true);
        runIn(folder / "new", row.before);
        {
            FilePreferences preferences(folder / "new/preferences.json");
            if (row.isPending)
                preferences.setBool("pending", true);
            const Preferences::Group open(preferences);
            preferences.setBool("inGroup", true);
            EXPECT_EQ(preferences.removeAll(), row.isRemoved) << row.before;
            preferences.setBool("later", true);
            EXPECT_EQ(preferences.boolValue("mini"), std::nullopt);
        }
        const std::string look = "ls -d new new/* 2>/dev/null";
        EXPECT_EQ(testing::outputOf("cd " + folder.path().string() + "; " + look), row.stays);
    }
}

TEST(StandardFolders, comeFromTheEnvironmentOrTheSystemsRecordWithoutLinks) {
    const TemporaryFolder folder;
    runIn(folder.path(), "mkdir -p var/home; ln -s var/home home; ln -s missing dangling");
    const std::string onRecord = ::getpwuid(::geteuid())->pw_dir;
    const struct {
        std::string xdg;
        std::string home;
        std::string data;
    } rows[] = {
        {"", "/no/home/\xE9", "/no/home/\xE9/.local/share"},
        {"relative", folder / "home/a", folder / "var/home/a/.local/share"},
        {"/data/\xFF//x/", "", "/data/\xFF/x"},
        {folder / "home/new/../x", "", folder / "var/home/x"},
        {"", folder / "dangling", folder / "dangling/.local/share"},
        {"", "relative", onRecord + "/.local/share"},
    };
    for (const auto& row : rows) {
        ::setenv("XDG_DATA_HOME", row.xdg.c_str(), 1);
        ::setenv("HOME", row.home.c_str(), 1);
        EXPECT_EQ(applicationSupportFolder(), row.data);
    }
    EXPECT_EQ(homeFolder(), onRecord);
    ::unsetenv("XDG_CONFIG_HOME");
    EXPECT_EQ(FilePreferences::defaultFile(),
              onRecord + "/.config/Corvane Tallywick/preferences.json");
    ::setenv("XDG_CONFIG_HOME", "/configuration", 1);
    EXPECT_EQ(preferencesFolder(), "/configuration");
    ::unsetenv("XDG_CACHE_HOME");
    EXPECT_EQ(cachesFolder(), onRecord + "/.cache");
    ::setenv("XDG_CACHE_HOME", "/cache", 1);
    EXPECT_EQ(cachesFolder(), "/cache");
}

TEST(StandardFolders, theDesktopIsWhereTheUserHasPutIt) {
    const struct {
        std::string file;    ///< of the user's folders
        const char* desktop; ///< in the home folder; null for none
    } rows[] = {
        {"", "Desktop"},
        {"# XDG_DESKTOP_DIR=\"$HOME/a\"\nXDG_DOCUMENTS_DIR=\"$HOME/b\"\n", "Desktop"},
        {"XDG_DESKTOP_DIR=\"$HOME/a\"\n \tXDG_DESKTOP_DIR=\"$HOME/\\b \\\"c\" ", "b \"c"},
        {"XDG_DESKTOP_DIR=\"@/a\"", "a"},
        {"XDG_DESKTOP_DIR=\"$HOME/missing\"", nullptr},
        {"XDG_DESKTOP_DIR=\"$HOME/file\"", nullptr},
        {"XDG_DESKTOP_DIR=\"$HOME/\"", nullptr}, // whoever wants no desktop
        {"XDG_DESKTOP_DIR=\"$HOME\"", "Desktop"},
        {"XDG_DESKTOP_DIR=\"a\"", "Desktop"},
        {"XDG_DESKTOP_DIR=\"$HOME/a", "Desktop"},
        {"XDG_DESKTOP_DIR=\"$HOME/a\"; reboot", "Desktop"},
        {"XDG_DESKTOP_DIR=\"$HOME/$(pwd)\"\nXDG_DESKTOP_DIR=\"$HOME/`pwd`\"", "Desktop"},
    };
    const TemporaryFolder folder;
    testing::runIn(folder.path(), "mkdir -p home/Desktop home/a home/b\\ \\\"c; touch home/file");
    ::setenv("HOME", (folder / "home").c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", folder.path().c_str(), 1);
    for (auto row : rows) {
        if (const auto at = row.file.find('@'); at != std::string::npos)
            row.file.replace(at, 1, folder / "home");
        testing::writeAll(folder / "user-dirs.dirs", row.file);
        EXPECT_EQ(desktopFolder(),
                  row.desktop ? std::optional(folder / "home" / row.desktop) : std::nullopt)
            << row.file;
    }
    testing::runIn(folder.path(), "rm -r home/Desktop user-dirs.dirs");
    EXPECT_EQ(desktopFolder(), std::nullopt);
}

} // namespace
} // namespace tallywick
