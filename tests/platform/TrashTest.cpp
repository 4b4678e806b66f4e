#include "platform/files/Trash.h"

#include "support/RunningProgram.h"
#include "support/SmallDisk.h"
#include "support/TemporaryFolder.h"

#include <QRegularExpression>

#include <gmock/gmock.h>

#include <sys/stat.h>

namespace tallywick {
namespace {

namespace fs = std::filesystem;
using ::testing::EndsWith;
using testing::readAll;
using testing::runIn;

class DesktopTrash : public ::testing::Test {
  protected:
    DesktopTrash() { ::setenv("XDG_DATA_HOME", (folder / "data").c_str(), 1); }
    ~DesktopTrash() override { ::unsetenv("XDG_DATA_HOME"); }

    /// Where the info file of an item in a Trash says that it was.
    static std::string origin(const fs::path& place) {
        const fs::path trash = place.parent_path().parent_path();
        const std::string info =
            readAll(trash / "info" / (place.filename().string() + ".trashinfo"));
        static const QRegularExpression form(
            QStringLiteral("\\A\\[Trash Info\\]\nPath=([-A-Za-z0-9._~/%]+)\n"
                           "DeletionDate=\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\n\\z"));
        const auto parts = form.match(QString::fromStdString(info));
        return parts.hasMatch() ? parts.captured(1).toStdString() : "bad: " + info;
    }

    const testing::TemporaryFolder folder;
    const std::unique_ptr<Trash> trash = desktopTrash();
};

TEST_F(DesktopTrash, KeepsWhateverItTakesSoThatItCanBePutBack) {
    const std::string longName(255, 'x');
    const struct {
        const char* name;
        std::string item;
        std::string command;
        std::string origin; ///< encoded, behind the folder
    } rows[] = {
        {"a file", "file", "echo 1 >file", "/file"},
        {"a full folder", "a b.app", "mkdir -p 'a b.app/c'; echo 1 >'a b.app/c/d'", "/a%20b.app"},
        {"the longest name", longName, "echo 1 >" + longName, "/" + longName},
        {"a line feed and an accent", "\n\xC3\xA9%", "touch \"$(printf '\\n\\303\\251%%')\"",
         "/%0A%C3%A9%25"},
        {"no valid text", "\xFF", "touch \"$(printf '\\377')\"", "/%FF"},
        {"a dangling link", "link", "ln -s nowhere link", "/link"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        runIn(folder.path(), row.command);
        struct stat before {};
        struct stat after {};
        ASSERT_EQ(::lstat((folder / row.item).c_str(), &before), 0);
        const auto place = trash->move(folder / row.item);
        ASSERT_TRUE(place) << place.error();
        EXPECT_EQ(place->parent_path(), folder / "data/Trash/files");
        ASSERT_EQ(::lstat(place->c_str(), &after), 0);
        EXPECT_EQ(before.st_ino, after.st_ino);
        EXPECT_EQ(origin(*place), folder.path().string() + row.origin);
        EXPECT_FALSE(fs::is_symlink(folder / row.item) || fs::exists(folder / row.item));
    }
    EXPECT_EQ(fs::status(folder / "data/Trash").permissions(), fs::perms{0700});
}

TEST_F(DesktopTrash, TakesAnotherNameWhereOneIsTaken) {
    runIn(folder.path(), "mkdir -p data/Trash/files data/Trash/info; echo 0 >data/Trash/files/a\n"
                         "echo 1 >data/Trash/info/a.2.trashinfo; echo mine >a");
    const auto place = trash->move(folder / "a");
    ASSERT_TRUE(place) << place.error();
    EXPECT_EQ(place->filename(), "a.3");
    EXPECT_EQ(readAll(*place), "mine\n");
    EXPECT_EQ(readAll(folder / "data/Trash/files/a"), "0\n");
    EXPECT_EQ(readAll(folder / "data/Trash/info/a.2.trashinfo"), "1\n");
    EXPECT_FALSE(fs::exists(folder / "data/Trash/info/a.trashinfo"));
}

TEST_F(DesktopTrash, LeavesTheItemWhereNoTrashCanTakeIt) {
    for (const char* preparation :
         {"mkdir -p real data; ln -s ../real data/Trash", "mkdir data; echo >data/Trash",
          "mkdir -p data/Trash; ln -s .. data/Trash/files", "echo >data",
          "mkdir -p data/Trash; echo >data/Trash/info"}) {
        SCOPED_TRACE(preparation);
        runIn(folder.path(), "rm -rf data real; echo mine >item\n" + std::string(preparation));
        const auto place = trash->move(folder / "item");
        ASSERT_FALSE(place);
        EXPECT_THAT(place.error(), ::testing::StartsWith((folder / "item").string()
                                                         + " could not be moved to the Trash: "));
        EXPECT_EQ(readAll(folder / "item"), "mine\n");
        EXPECT_EQ(testing::outputOf("find " + folder.path().string() + " -name '*.trashinfo'"), "");
    }
    EXPECT_THAT(trash->move(folder / "missing").error(), EndsWith(": No such file or directory."));
    EXPECT_FALSE(trash->move("/"));
}

TEST_F(DesktopTrash, OfAnotherDiskLiesAtItsTop) {
    if (!testing::SmallDisk::isPossible())
        GTEST_SKIP() << "this machine lets nobody mount a file system of his own";
    const testing::SmallDisk disk(folder / "disk", 1'000'000);
    const std::string user = std::to_string(::geteuid());
    const auto trashed = [&](const char* preparation) {
        runIn(disk.path(), std::string("mkdir -p 'a b'; echo >'a b/c'; ") + preparation);
        const auto place = trash->move(disk.path() / "a b/c");
        EXPECT_TRUE(place) << place.error();
        EXPECT_EQ(origin(place.value_or("")), "a%20b/c");
        return place.value_or("").parent_path().lexically_relative(disk.path()).string();
    };
    const std::string own = ".Trash-" + user + "/files";
    EXPECT_EQ(trashed(""), own);
    EXPECT_EQ(trashed("mkdir .Trash"), own) << "not sticky";
    EXPECT_EQ(trashed("chmod 1777 .Trash"), ".Trash/" + user + "/files");
    EXPECT_EQ(trashed("mv .Trash real; ln -s real .Trash"), own) << "a link";

    runIn(disk.path(), "echo >'a b/c'; rm -r .Trash*; ln -s real .Trash-" + user);
    EXPECT_THAT(trash->move(disk.path() / "a b/c").error(), EndsWith(": Not a directory."));
    disk.makeReadOnly();
    EXPECT_FALSE(trash->move(disk.path() / "a b/c"));
    EXPECT_TRUE(fs::exists(disk.path() / "a b/c"));
}

TEST_F(DesktopTrash, TakesNothingWhenItsDiskIsFull) {
    if (!testing::SmallDisk::isPossible())
        GTEST_SKIP() << "this machine lets nobody mount a file system of his own";
    const testing::SmallDisk disk(folder / "disk", 65'536);
    ::setenv("XDG_DATA_HOME", (disk.path() / "data").c_str(), 1);
    runIn(disk.path(), "echo 1 >first; echo 2 >second");
    ASSERT_TRUE(trash->move(disk.path() / "first"));
    runIn(disk.path(), "cat /dev/zero 2>&- >filler || true");
    EXPECT_THAT(trash->move(disk.path() / "second").error(),
                EndsWith(": No space left on device."));
    EXPECT_EQ(readAll(disk.path() / "second"), "2\n");
    EXPECT_EQ(testing::outputOf("ls -A " + (disk.path() / "data/Trash/info").string()),
              "first.trashinfo");
    EXPECT_EQ(testing::outputOf("ls -A " + (disk.path() / "data/Trash/files").string()), "first");
}

} // namespace
} // namespace tallywick
