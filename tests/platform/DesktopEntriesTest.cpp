#include "base/Sha256.h"
#include "platform/desktop/AliasFile.h"
#include "platform/desktop/LauncherEntry.h"
#include "platform/desktop/linux/DesktopEntry.h"
#include "support/RunningProgram.h"
#include "support/SampleBundle.h"

#include <sstream>

namespace tallywick {
namespace {

namespace fs = std::filesystem;
using testing::outputOf;
using testing::readAll;
using testing::runIn;
using testing::TemporaryFolder;
using testing::writeAll;

const std::string executable = "Contents/MacOS/CorvaneUtility";

TEST(AliasFile, MakesAFileBrowserRunExactlyTheBundle) {
    const TemporaryFolder folder;
    ::setenv("XDG_DATA_HOME", (folder / "data").c_str(), 1);
    const fs::path alias = folder / aliasFileName("An alias");
    for (const char* name : {"plain", " \"a\" 'b' $c `d` \\e \\\\", "100% %f", "%%",
                             "-new\nline\t\r", ";&|<>()#~*?=[x]", "é"}) {
        SCOPED_TRACE(name);
        const fs::path bundle = testing::makeSampleBundle(folder / name);
        writeAll(bundle / executable, "#!/bin/sh\nprintf '%s|%s' \"$0\" $#\n");
        ASSERT_TRUE(writeAlias(alias, aliasContent("An alias", bundle).value()));
        EXPECT_EQ(resolveAlias(alias), bundle);
        EXPECT_EQ(outputOf("gio launch '" + alias.string() + "'"),
                  (bundle / executable).string() + "|0");
        fs::remove(alias);
    }
    EXPECT_FALSE(aliasContent("An alias", "/\xFF/X.app")) << "no UTF-8";
}

/// Whether an entry opens the application of "/a b/X.app". In its text "@" stands for the
/// executable of that, "^" for the lines that an application's entry begins with.
bool opens(std::string entry) {
    const std::pair<char, std::string> stand[] = {{'^', "[Desktop Entry]\nType=Application\n"},
                                                  {'@', "/a b/X.app/" + executable}};
    for (const auto& [sign, text] : stand)
        if (const auto at = entry.find(sign); at != std::string::npos)
            entry.replace(at, 1, text);
    return bundleOpenedBy(entry) == "/a b/X.app";
}

TEST(AliasFile, OpensWhatItsOnlyReadingSays) {
    for (const char* entry :
         {"^Exec=\"@\"", "^Exec[de]=other\nExec=\"@\"\n[Action a]\nExec=other",
          "# A\r\n\n \t# B\n[Desktop Entry] \nName=A\r\n Type = Application\r\nExec =\t\"@\"\r\n"})
        EXPECT_TRUE(opens(entry)) << entry;
    for (const char* entry : {"", "^", "Type=Application\n^Exec=\"@\"", "[Other]\n^Exec=\"@\"",
                              "\xEF\xBB\xBF^Exec=\"@\"", "^Exec=\"@\"\nExec=other",
                              "^Exec=\"@\"\n[A]\n[Desktop Entry]\nExec=other", "^Exec=\"@\"\njunk",
                              "^Exec=\"@\"\n=", "^DBusActivatable=true\nExec=\"@\"",
                              "[Desktop Entry]\nType=Link\nExec=\"@\"",
                              "[Desktop Entry]\nExec=\"@\"", "^Exec=\"@\"\nName=\xFF"})
        EXPECT_FALSE(opens(entry)) << entry;
    EXPECT_FALSE(opens("^Exec=\"@\"\n" + std::string(1, '\0')));
    for (const std::string command : {"\"@\" %f %F %u %U ", "env \"@\""})
        EXPECT_TRUE(opens("^Exec=" + command)) << command;
    std::istringstream refused(
        R"(|env|@|"@|'@'|"@"a|"@" --watch|"@" %k|sh "@"|"@" ; sh|"@";sh|"@\q")"
        R"(|"/$HOME@"|"@%f"|"@%"|"/b/..@"|"/.@"|"@/")"
        "|X.app/Contents/MacOS/CorvaneUtility|/X.app/Contents/MacOS/sh");
    for (std::string command; std::getline(refused, command, '|');)
        EXPECT_FALSE(opens("^Exec=" + command)) << command;
}

TEST(AliasFile, IsMarkedForTheDesktopAndReplacesNothing) {
    const TemporaryFolder folder;
    runIn(folder.path(),
          "mkdir bin desktop; ln -s desktop link; ln -s missing desktop/dangling\n"
          "printf '#!/bin/sh\\necho \"$@\" >> \"$0.log\"' > bin/gio; chmod +x bin/*");
    const std::string path = ::getenv("PATH");
    ::setenv("PATH", (folder / "bin").c_str(), 1);
    const std::string content = aliasContent("A", folder / "X.app").value();
    const std::string file = folder / "desktop/A.desktop";
    ASSERT_TRUE(writeAlias(file, content));
    EXPECT_EQ(readAll(file), content);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_all);
    EXPECT_EQ(readAll(folder / "bin/gio.log"), "set " + file + " metadata::trusted true\nset "
                                                   + file + " metadata::xfce-exe-checksum "
                                                   + sha256Hex(content) + "\n");

    for (const char* taken : {"desktop/A.desktop", "desktop", "desktop/dangling", "link/B.desktop"})
        EXPECT_FALSE(writeAlias(folder / taken, "other")) << taken;
    EXPECT_EQ(readAll(file), content);
    fs::create_symlink("A.desktop", folder / "desktop/alias");
    fs::create_symlink("loop", folder / "desktop/loop");
    writeAll(folder / "desktop/large", content + std::string(70'000, '\n'));
    for (const char* other :
         {"desktop/alias", "link/A.desktop", "desktop/loop", "desktop", "none", "desktop/large"})
        EXPECT_FALSE(resolveAlias(folder / other)) << other;
    ::setenv("PATH", (folder / "none").c_str(), 1);
    EXPECT_TRUE(writeAlias(folder / "desktop/unmarked", content));
    ::setenv("PATH", path.c_str(), 1);
}

TEST(LauncherEntry, IsThereAsLongAsItsApplication) {
    const TemporaryFolder folder;
    ::setenv("XDG_DATA_HOME", (folder / "data").c_str(), 1);
    const fs::path entry = folder / "data/applications/com.corvane.tallywick.desktop";
    const fs::path icon = folder / "data/icons/hicolor/256x256/apps/com.corvane.tallywick.png";
    const fs::path bundle = testing::makeSampleBundle(folder / "one");
    const fs::path other = testing::makeSampleBundle(folder / "other");
    for (const fs::path& copy : {other, bundle, bundle}) {
        ASSERT_TRUE(registerApplication(copy));
        EXPECT_EQ(bundleOpenedByFile(entry), copy);
        EXPECT_EQ(readAll(icon), "a logo");
    }
    EXPECT_NE(readAll(entry).find("\nStartupWMClass=com.corvane.tallywick\n"), std::string::npos);
    EXPECT_EQ(readAll(entry).find("TryExec"), std::string::npos) << "Xfce hides a path with blanks";
    const std::string run = "\nExec=\"" + (bundle / executable).string() + "\" --";
    EXPECT_NE(
        readAll(entry).find("\nActions=Refresh;Mini;\n\n[Desktop Action Refresh]\nName=Refresh"
                            + run + "refresh\n\n[Desktop Action Mini]\nName=Mini" + run + "mini\n"),
        std::string::npos);
    unregisterApplication(other);
    EXPECT_TRUE(fs::exists(entry) && fs::exists(icon)) << "it opens another copy";
    fs::remove_all(bundle);
    EXPECT_FALSE(registerApplication(bundle)) << "no icon";
    for (const fs::path& file : {entry, icon})
        writeAll(file.string() + ".new", "of a writer that was killed");
    unregisterApplication(bundle);
    EXPECT_TRUE(fs::is_empty(entry.parent_path()) && fs::is_empty(icon.parent_path()));
}

TEST(LauncherEntry, LeavesAloneWhatIsNotOurs) {
    for (const char* command :
         {"mkdir applications; echo '[Desktop Entry]' > applications/com.corvane.tallywick.desktop",
          "mkdir -p applications/com.corvane.tallywick.desktop",
          "mkdir applications; ln -s gone applications/com.corvane.tallywick.desktop",
          "mkdir elsewhere; ln -s elsewhere icons"}) {
        SCOPED_TRACE(command);
        const TemporaryFolder folder;
        ::setenv("XDG_DATA_HOME", folder.path().c_str(), 1);
        const fs::path bundle = testing::makeSampleBundle(folder.path());
        runIn(folder.path(), command);
        const auto tree = [&] { return outputOf("ls -lR '" + folder.path().string() + "'"); };
        const std::string before = tree();
        EXPECT_FALSE(registerApplication(bundle));
        unregisterApplication(bundle);
        EXPECT_EQ(tree(), before);
    }
}

/// A home whose session has an entry of the application's name, or none.
struct Session {
    Session() {
        ::setenv("XDG_DATA_HOME", (folder / "data").c_str(), 1);
        ::setenv("XDG_CONFIG_HOME", (folder / "config").c_str(), 1);
        fs::create_directories(entry.parent_path());
    }
    const TemporaryFolder folder;
    const fs::path bundle = testing::makeSampleBundle(folder / "a b");
    const fs::path entry = folder / "config/autostart/com.corvane.tallywick.desktop";
};

TEST(SessionStart, IsWhatTheEntrySaysAndChangesNoOther) {
    const Session session;
    const std::string ours = "[Desktop Entry]\nType=Application\nExec=\""
                             + (session.bundle / executable).string() + "\"";
    const struct {
        std::string content;
        bool starts, isOurs;
    } entries[] = {
        {ours, true, true},
        {ours + " --unfocused\nHidden=false\nX-GNOME-Autostart-enabled=true", true, true},
        {ours + " --unfocused\nHidden=true \n", false, true},
        {ours + "\nX-GNOME-Autostart-enabled=false", false, true},
        {ours + "\nX-MATE-Autostart-enabled=0", false, true},
        {ours + " --watch", false, false},
        {"[Desktop Entry]\nType=Application\nExec=other\n", false, false},
        {"", false, false},
    };
    for (const auto& [content, starts, isOurs] : entries)
        for (const bool choice : {true, false}) {
            SCOPED_TRACE(content);
            writeAll(session.entry, content);
            EXPECT_EQ(startsWithSession(session.bundle), starts);
            EXPECT_FALSE(startsWithSession(session.folder / "b")) << "another copy";
            EXPECT_EQ(setStartsWithSession(session.bundle, choice).has_value(), isOurs);
            EXPECT_EQ(startsWithSession(session.bundle), isOurs && choice);
            EXPECT_EQ(fs::exists(session.entry), !isOurs || choice);
            EXPECT_TRUE(isOurs || readAll(session.entry) == content) << "changed";
        }
}

TEST(SessionStart, FollowsTheInstallationAndEndsWithIt) {
    const Session session;
    const fs::path installed = testing::makeSampleBundle(session.folder / "installed");
    ASSERT_TRUE(setStartsWithSession(session.bundle, true)); // makes the folder, too
    writeAll(session.bundle / executable, "#!/bin/sh\nprintf '%s|%s' \"$0\" \"$*\"\n");
    EXPECT_EQ(outputOf("gio launch '" + session.entry.string() + "'"),
              (session.bundle / executable).string() + "|--unfocused");
    ASSERT_TRUE(registerApplication(installed));
    EXPECT_TRUE(startsWithSession(installed));
    unregisterApplication(session.bundle);
    EXPECT_TRUE(startsWithSession(installed));
    unregisterApplication(installed);
    EXPECT_FALSE(fs::exists(session.entry));
    ASSERT_TRUE(registerApplication(installed));
    EXPECT_FALSE(fs::exists(session.entry)) << "nobody has asked for it";
}

} // namespace
} // namespace tallywick
