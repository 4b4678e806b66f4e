// An installation, each of its steps failing or being the last, and what is found of it afterwards.

#include "install/AppInstallation.h"
#include "install/InstallationRecovery.h"
#include "support/RunningProgram.h"
#include "support/SampleBundle.h"
#include "support/SmallDisk.h"

#include <gmock/gmock.h>

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <set>

namespace tallywick {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::makeSampleBundle;
using ::testing::MatchesRegex;
using testing::runIn;

const std::string incomplete = "This app is incomplete. Download a fresh copy and try again.";
const std::string unrelated =
    "An unrelated item already uses this name in Applications. It has not been changed.";

const std::string preserved = "Installation stopped\\. The previous app is preserved at /.*\\.app"
                              "\\. Move it back to Applications to restore it\\.";

bool verify(const fs::path& bundle) {
    return AppInstallation::isVerifiedBundle(bundle, *systemCodeSignature());
}

/// The real one, but for the changes that fail or are the program's last. They count from 1.
class FaultyFiles final : public FileManager {
  public:
    explicit FaultyFiles(std::set<int> failing, bool isKilled = false)
        : faults(std::move(failing)), kills(isKilled) {}

    int changes() const { return count; }

    bool exists(const fs::path& item) const override { return real->exists(item); }
    bool isWritable(const fs::path& folder) const override { return real->isWritable(folder); }
    Result createFolders(const fs::path& folder) override {
        return isFaulty() ? fault : real->createFolders(folder);
    }
    Result copy(const fs::path& from, const fs::path& to) override {
        const Result copied = real->copy(from, to);
        if (faults.contains(count + 1))
            fs::remove_all(to / "Contents/MacOS"); // a part of it stays
        return isFaulty() ? fault : copied;
    }
    Result move(const fs::path& from, const fs::path& to) override {
        return isFaulty() ? fault : real->move(from, to);
    }
    Result remove(const fs::path& item) override { return isFaulty() ? fault : real->remove(item); }

  private:
    bool isFaulty() {
        const bool isOne = faults.contains(++count);
        if (isOne && kills)
            ::raise(SIGKILL);
        return isOne;
    }

    const Result fault = tl::unexpected(std::string("The disk is broken."));
    const std::set<int> faults;
    const bool kills;
    int count = 0;
    const std::unique_ptr<FileManager> real = systemFileManager();
};

/// A user's Applications folder with version 1, and version 2 elsewhere.
class Installation : public ::testing::Test {
  protected:
    Installation() { ::setenv("XDG_DATA_HOME", (folder / "data").c_str(), 1); }
    ~Installation() override { ::unsetenv("XDG_DATA_HOME"); }

    void begin(bool hasEarlier = true) {
        fs::remove_all(applications);
        fs::remove_all(folder / "data");
        fs::create_directory(applications);
        if (hasEarlier)
            makeSampleBundle(applications, {{"CFBundleVersion", "1"}});
        makeSampleBundle(folder.path(), {{"CFBundleVersion", "2"}});
    }

    std::string errorOfInstalling() const {
        const auto result =
            AppInstallation::install(source, destination, *systemFileManager(), verify);
        return result ? "none" : result.error();
    }
    std::string recover(const fs::path& running) const {
        return InstallationRecovery::recover(applications, verify, *systemFileManager(),
                                             *desktopTrash(), running);
    }

    /// Of a complete copy, else "none".
    static std::string versionOf(const fs::path& bundle) {
        return verify(bundle)
                   ? stringMember(informationDictionary(bundle).value(), "CFBundleVersion")[0]
                   : "none";
    }
    /// What lies in a folder besides the installed copy.
    std::vector<fs::path> othersIn(const fs::path& place) const {
        std::vector<fs::path> others;
        if (fs::exists(place))
            for (const auto& entry : fs::directory_iterator(place))
                if (entry.path() != destination)
                    others.push_back(entry.path());
        return others;
    }

    /// After whatever has happened, a verified copy runs, or is named, or comes back at the next
    /// start; then nothing hidden is left, and the earlier version is never gone.
    void expectNothingIsLost(const std::string& said) const {
        if (versionOf(destination) == "none" && said.find(".Corvane-previous-") != said.npos) {
            const auto start = said.find(applications.string());
            EXPECT_EQ(versionOf(said.substr(start, said.find(". Move") - start)), "1");
        }
        recover("/elsewhere");
        EXPECT_NE(versionOf(destination), "none");
        recover(destination);
        EXPECT_THAT(othersIn(applications), IsEmpty());
        std::set<std::string> versions{versionOf(destination)};
        for (const fs::path& item : othersIn(folder / "data/Trash/files"))
            versions.insert(versionOf(item));
        EXPECT_TRUE(versions.contains("1"));
    }

    const testing::TemporaryFolder folder;
    const fs::path applications = folder / "Applications";
    const fs::path source = folder / "Corvane Tallywick.app";
    const fs::path destination = applications / "Corvane Tallywick.app";
};

TEST_F(Installation, PutsACopyInPlaceAndKeepsTheEarlierOneBeside) {
    begin(false);
    fs::remove(applications);
    EXPECT_EQ(errorOfInstalling(), "none");
    EXPECT_EQ(versionOf(destination), "2");

    begin();
    const auto install = [&](const fs::path& from) {
        return AppInstallation::install(from, destination, *systemFileManager(), verify).value();
    };
    const auto installed = install(source);
    ASSERT_TRUE(installed.backup);
    EXPECT_EQ(versionOf(*installed.backup), "1");
    EXPECT_EQ(versionOf(destination), "2");
    EXPECT_THAT(othersIn(applications), ElementsAre(*installed.backup));
    EXPECT_FALSE(AppInstallation::claim(applications)) << "as long as a copy lies there";
    EXPECT_FALSE(install(destination / ".").claim) << "nothing to do";
}

TEST_F(Installation, RefusesWhatIsNotOurs) {
    const std::string linked = "The folder " + applications.string()
                               + " could not be created: a symbolic link stands on the way to it.";
    const std::pair<const char*, std::string> rows[] = {
        {"rm *.app/Contents/MacOS/*; rm -r Applications", incomplete},
        {"mv Applications/*.app/Contents/Info.plist .", unrelated},
        {"rm -r Applications/*; echo >'Applications/Corvane Tallywick.app'", unrelated},
        {"mv Applications/* real; ln -s ../real 'Applications/Corvane Tallywick.app'", unrelated},
        {"rm -r Applications/*; ln -s none 'Applications/Corvane Tallywick.app'", unrelated},
        {"mv Applications real; ln -s real Applications", linked},
    };
    for (const auto& [preparation, error] : rows) {
        SCOPED_TRACE(preparation);
        runIn(folder.path(), "rm -rf real Info.plist Applications");
        begin();
        runIn(folder.path(), preparation);
        const std::string look = "ls -lAR --full-time '" + folder.path().string() + "'";
        const std::string before = testing::outputOf(look);
        EXPECT_EQ(errorOfInstalling(), error);
        EXPECT_EQ(testing::outputOf(look), before);
    }
    begin();
    const auto isSource = [this](const fs::path& copy) { return copy == source; };
    EXPECT_EQ(AppInstallation::install(source, destination, *systemFileManager(), isSource).error(),
              incomplete)
        << "damaged on its way";
    EXPECT_THAT(othersIn(applications), IsEmpty());
}

TEST_F(Installation, LosesNothingWhicheverOfItsStepsFail) {
    int last = 0;
    for (int first = 1; last == 0; ++first) {
        for (int second = first; second <= first + 4; ++second) {
            SCOPED_TRACE("change " + std::to_string(first) + " and " + std::to_string(second));
            begin();
            FaultyFiles files({first, second});
            const auto result = AppInstallation::install(source, destination, files, verify);
            EXPECT_TRUE(!result || versionOf(*result->backup) == "1");
            if (!result && first == second) {
                EXPECT_EQ(result.error(), "The disk is broken.");
                EXPECT_THAT(othersIn(applications), IsEmpty());
            }
            if (!result && versionOf(destination) != "1") {
                EXPECT_THAT(result.error(), MatchesRegex(preserved));
            }
            if (first > files.changes())
                last = first;
            expectNothingIsLost(result ? "" : result.error());
        }
    }
    EXPECT_GT(last, 4) << "each step is a change";
}

TEST_F(Installation, LosesNothingWhereverItIsKilled) {
    bool isKilled = true;
    for (int change = 1; isKilled; ++change) {
        SCOPED_TRACE("killed at change " + std::to_string(change));
        begin();
        const pid_t installer = ::fork();
        if (installer == 0) {
            FaultyFiles files({change}, true);
            ::_exit(AppInstallation::install(source, destination, files, verify) ? 0 : 1);
        }
        int status = 0;
        ASSERT_EQ(::waitpid(installer, &status, 0), installer);
        isKilled = WIFSIGNALED(status);
        EXPECT_TRUE(isKilled || WEXITSTATUS(status) == 0);
        EXPECT_TRUE(AppInstallation::claim(applications)) << "a lock ends with its holder";
        expectNothingIsLost("");
    }
}

TEST_F(Installation, LeavesADiskThatIsFullOrReadOnlyAsItWas) {
    if (!testing::SmallDisk::isPossible())
        GTEST_SKIP() << "this machine lets nobody mount a file system of his own";
    begin(false);
    testing::writeAll(source / "Contents/big", std::string(200'000, 'x'));
    EXPECT_TRUE(sealBundle(source));
    const testing::SmallDisk disk(applications, 131'072);
    makeSampleBundle(applications, {{"CFBundleVersion", "1"}});
    for (const char* reason : {"No space left on device.", "Read-only file system."}) {
        EXPECT_EQ(errorOfInstalling(), source.string() + " could not be copied: " + reason);
        EXPECT_EQ(versionOf(destination), "1");
        EXPECT_THAT(othersIn(applications), IsEmpty());
        disk.makeReadOnly();
    }
}

const std::string uuid = "01234567-89AB-4DEF-8123-456789ABCDEF";

TEST_F(Installation, RecoversWhatIsOursAlone) {
    const std::pair<const char*, bool> rows[] = {
        {"cp -r *.app Applications/.Corvane-install-$UUID.app", true},
        {"mkdir Applications/.Corvane-install-$UUID.app", true},
        {"mkdir -p Applications/.Corvane-install-$UUID.app/Contents/x", true},
        {"mkdir -p Applications/.Corvane-install-$UUID.app/Documents", false},
        {"touch Applications/.Corvane-install-$UUID.app", false},
        {"ln -s ../data Applications/.Corvane-install-$UUID.app", false},
        {"cp -r *.app Applications/.Corvane-install-1.app", false},
        {"cp -r *.app Applications/.Corvane-install-$(echo $UUID | tr A-F a-f).app", false},
        {"cp -r *.app Applications/.Corvane-previous-$UUID.app", true},
        {"mkdir -p Applications/.Corvane-previous-$UUID.app/Contents", false},
    };
    for (const auto& [preparation, isTaken] : rows) {
        SCOPED_TRACE(preparation);
        begin();
        runIn(folder.path(), "UUID=" + uuid + "; " + preparation);
        EXPECT_EQ(recover(destination),
                  isTaken ? "What an earlier installation had left behind is in the Trash." : "");
        EXPECT_EQ(othersIn(applications).empty(), isTaken);
        EXPECT_EQ(othersIn(folder / "data/Trash/files").empty(), !isTaken);
        EXPECT_EQ(versionOf(destination), "1");
    }
}

TEST_F(Installation, KeepsABackupUntilTheInstalledCopyRuns) {
    begin();
    ASSERT_EQ(errorOfInstalling(), "none");
    const fs::path backup = othersIn(applications).at(0);
    EXPECT_EQ(recover("/elsewhere"), "");
    EXPECT_EQ(versionOf(backup), "1");
    fs::remove(destination / "Contents/Info.plist");
    EXPECT_EQ(recover(destination), "") << "it is damaged";
    EXPECT_EQ(versionOf(backup), "1");

    fs::remove_all(destination);
    runIn(applications, "sleep 0.01; cp -r .Corvane-previous-* .Corvane-previous-" + uuid
                            + ".app; rm .Corvane-previous-" + uuid + ".app/Contents/MacOS/*");
    EXPECT_EQ(recover(destination), "An installation was interrupted. The previous copy is back at "
                                        + destination.string() + ".");
    EXPECT_EQ(versionOf(destination), "1");

    fs::rename(destination, backup);
    fs::remove(backup / "Contents/Resources/CorvaneIcon.icns");
    EXPECT_EQ(recover(destination),
              "An earlier copy that is incomplete lies at " + backup.string() + ".");
    runIn(folder.path(), "touch data; mkdir 'Applications/.Corvane-install-" + uuid + ".app'");
    EXPECT_THAT(recover(destination), HasSubstr("could not be moved to the Trash"));
}

} // namespace
} // namespace tallywick
