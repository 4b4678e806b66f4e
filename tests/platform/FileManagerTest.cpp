#include "platform/files/FileManager.h"

#include "platform/files/FileAccess.h"
#include "support/RunningProgram.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <sys/xattr.h>

namespace tallywick {
namespace {

namespace fs = std::filesystem;
using ::testing::EndsWith;
using testing::runIn;

class SystemFileManager : public ::testing::Test {
  protected:
    std::string reasonToRefuse(const FileManager::Result& result) const {
        return result ? "none" : result.error().substr(result.error().rfind(": ") + 2);
    }
    std::string tree(const char* root) const {
        return testing::outputOf(
            "cd '" + (folder / root).string()
            + "' && find . -printf '%P %y %m %l\\n' | sort; cat */big | md5sum");
    }
    std::string mark(const char* item) const {
        std::string value(99, ' ');
        const auto size = ::getxattr((folder / item).c_str(), "user.com.apple.quarantine",
                                     value.data(), value.size());
        return value.substr(0, size < 0 ? 0 : static_cast<std::size_t>(size));
    }
    const testing::TemporaryFolder folder;
    const std::unique_ptr<FileManager> files = systemFileManager();
};

TEST_F(SystemFileManager, CopiesATreeAsItIs) {
    runIn(folder.path(), "mkdir -p from/closed from/empty; echo '#!' >from/run\n"
                         "head -c 700000 /dev/urandom >from/closed/big; chmod 4755 from/run\n"
                         "ln -s /etc from/link; ln -s nowhere from/closed/dangling\n"
                         "chmod 555 from/closed; chmod 640 from/closed/big; umask 77");
    EXPECT_EQ(markAsDownloaded(folder / "from/run", "0081;x"), WriteResult::written);
    const std::string before = tree("from");
    ASSERT_TRUE(files->copy(folder / "from", folder / "to"));
    EXPECT_EQ(fs::status(folder / "to/run").permissions(), fs::perms{0755}) << "lends no rights";
    fs::permissions(folder / "to/run", fs::perms{04755});
    EXPECT_EQ(tree("to"), before);
    EXPECT_EQ(mark("to/run"), mark("from/run"));
    EXPECT_EQ(mark("to/closed"), "");
    EXPECT_NE(before.find("big f 640"), std::string::npos) << before;

    EXPECT_EQ(reasonToRefuse(files->copy(folder / "from", folder / "to")), "File exists.");
    ASSERT_TRUE(files->remove(folder / "to"));
    EXPECT_FALSE(files->exists(folder / "to"));
    EXPECT_TRUE(files->remove(folder / "to")) << "none is no failure";
    EXPECT_TRUE(files->remove(folder / "none/to"));
    EXPECT_EQ(tree("from"), before) << "no link was followed";
}

TEST_F(SystemFileManager, CopiesNothingElse) {
    const std::string deep = "for i in $(seq 40); do mkdir d; cd d; done";
    for (const std::string& content : {std::string("mkfifo x"), deep}) {
        runIn(folder.path(), "mkdir from; cd from; " + content);
        EXPECT_FALSE(files->copy(folder / "from", folder / "to")) << content;
        EXPECT_TRUE(files->remove(folder / "to")) << content;
        EXPECT_FALSE(fs::exists(folder / "to"));
        fs::remove_all(folder / "from");
    }
    runIn(folder.path(), "mkdir real; ln -s real link; echo >file");
    EXPECT_FALSE(files->copy(folder / "link", folder / "to"));
    EXPECT_FALSE(files->copy(folder / "file", folder / "to"));
    EXPECT_EQ(reasonToRefuse(files->copy(folder / "real", folder / "link/to")),
              "a symbolic link stands on the way to it.");
    EXPECT_FALSE(fs::exists(folder / "real/to"));
}

TEST_F(SystemFileManager, MovesWithoutReplacingAndMakesFolders) {
    runIn(folder.path(), "mkdir a; echo 1 >a/1; mkdir taken; ln -s nowhere dangling");
    EXPECT_EQ(reasonToRefuse(files->move(folder / "a", folder / "taken")), "File exists.");
    EXPECT_EQ(reasonToRefuse(files->move(folder / "a", folder / "dangling")), "File exists.");
    EXPECT_TRUE(files->exists(folder / "dangling"));
    EXPECT_TRUE(files->createFolders(folder / "x/y"));
    EXPECT_TRUE(files->createFolders(folder / "x/y"));
    EXPECT_TRUE(files->move(folder / "a", folder / "x/y/b"));
    EXPECT_EQ(testing::readAll(folder / "x/y/b/1"), "1\n");
    EXPECT_FALSE(files->createFolders(folder / "dangling/z"));
    EXPECT_FALSE(files->createFolders(folder / "x/y/b/1/z"));
    EXPECT_TRUE(files->isWritable(folder / "x"));
    EXPECT_FALSE(files->isWritable(folder / "x/y/b/1"));
}

} // namespace
} // namespace tallywick
