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

/// The real one, but for the calls that fail or are the program's last. They count from 1.
class FaultyFiles final : public FileManager {
  public:
    explicit FaultyFiles(std::set<int> failing, bool isKilled = false)
        : faults(std::move(failing)), kills(isKilled) {}

    int calls() const { return count; }

    bool exists(const fs::path& item) const override {
        static_cast<void>(isFaulty());
        return real->exists(item);
    }
    bool isWritable(const fs::path& folder) const override { return real->isWritable(folder); }
    Result createFolders(const fs::path& folder) override {
        return isFaulty() ? fault : real->createFolders(folder);
    }
    Result copy(const fs::path& from, const fs::path& to) override {
        if (!hasFault())
            return real->copy(from, to);
        EXPECT_TRUE(real->copy(from, to)); // half of it stays
        fs::remove_all(to / "Contents/MacOS");
        static_cast<void>(isFaulty());
        return fault;
    }
    Result move(const fs::path& from, const fs::path& to) override {
        return isFaulty() ? fault : real->move(from, to);
    }
    Result remove(const fs::path& item) override { return isFaulty() ? fault : real->remove(item); }

  private:
    bool hasFault() const {
        if (!faults.contains(count + 1))
            ++count;
        return faults.contains(count + 1);
    }
    bool isFaulty() const {
        if (!faults.contains(++count))
            return false;
        if (kills)
            ::raise(SIGKILL);
        return true;
    }

    const Result fault = tl::unexpected(std::string("The disk is broken."));
    std::set<int> faults;
    bool kills;
    mutable int count = 0;
    std::unique_ptr<FileManager> real = systemFileManager();
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

    /// Where the earlier copy lies then, or a sentence.
    tl::expected<std::optional<fs::path>, std::string> install(FileManager& files) const {
        return AppInstallation::install(source, destination, files, verify)
            .map([](const AppInstallation::Installed& installed) { return installed.backup; });
    }
    std::string errorOfInstalling() const {
        const auto result = install(*systemFileManager());
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
    const auto files = systemFileManager();
    EXPECT_EQ(install(*files).value(), std::nullopt) << "nothing was there";
    EXPECT_EQ(versionOf(destination), "2");

    begin();
    const auto backup = install(*files);
    ASSERT_TRUE(backup && *backup) << backup.error();
    EXPECT_THAT(
        (*backup)->filename().string(),
        MatchesRegex("\\.Corvane-previous-[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\\.app"));
    EXPECT_EQ(versionOf(**backup), "1");
    EXPECT_EQ(versionOf(destination), "2");
    EXPECT_THAT(othersIn(applications), ::testing::ElementsAre(**backup));
    EXPECT_FALSE(
        AppInstallation::install(destination / ".", destination, *files, verify).value().claim)
        << "nothing to do";
}

TEST_F(Installation, RefusesWhatIsNotOurs) {
    const struct {
        const char* name;
        const char* preparation;
        std::string error;
    } rows[] = {
        {"a damaged source", "rm *.app/Contents/MacOS/*; rm -r Applications", incomplete},
        {"another application", "mv Applications/*.app/Contents/Info.plist .", unrelated},
        {"a file in the way", "rm -r Applications/*; echo >'Applications/Corvane Tallywick.app'",
         unrelated},
        {"a link in the way",
         "mv Applications/*.app real.app; ln -s ../real.app "
         "'Applications/Corvane Tallywick.app'",
         unrelated},
        {"a dangling link in the way",
         "rm -r Applications/*; ln -s none 'Applications/Corvane Tallywick.app'", unrelated},
        {"a link on the path", "mv Applications real; ln -s real Applications",
         "The folder " + applications.string()
             + " could not be created: a symbolic link stands on the way to it."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        runIn(folder.path(), "rm -rf real real.app Info.plist Applications");
        begin();
        runIn(folder.path(), row.preparation);
        const std::string look = "ls -lAR --full-time '" + folder.path().string() + "'";
        const std::string before = testing::outputOf(look);
        EXPECT_EQ(errorOfInstalling(), row.error);
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
            SCOPED_TRACE("call " + std::to_string(first) + " and " + std::to_string(second));
            begin();
            FaultyFiles files({first, second});
            const auto result = install(files);
            EXPECT_TRUE(!result || versionOf(**result) == "1");
            if (!result && first == second) {
                EXPECT_EQ(result.error(), "The disk is broken.");
                EXPECT_THAT(othersIn(applications), IsEmpty());
            }
            if (!result && versionOf(destination) != "1") {
                EXPECT_THAT(result.error(), MatchesRegex(preserved));
            }
            if (first > files.calls())
                last = first;
            expectNothingIsLost(result ? "" : result.error());
        }
    }
    EXPECT_GT(last, 5) << "each step is a call";
}

TEST_F(Installation, LosesNothingWhereverItIsKilled) {
    bool isKilled = true;
    for (int step = 1; isKilled; ++step) {
        SCOPED_TRACE("killed at call " + std::to_string(step));
        begin();
        const pid_t installer = ::fork();
        if (installer == 0) {
            FaultyFiles files({step}, true);
            ::_exit(install(files) ? 0 : 1);
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
    begin();
    testing::writeAll(source / "Contents/big", std::string(200'000, 'x'));
    EXPECT_TRUE(sealBundle(source));
    fs::remove_all(applications);
    const testing::SmallDisk disk(applications, 131'072);
    makeSampleBundle(applications, {{"CFBundleVersion", "1"}});
    const auto expectRefusal = [&](const char* reason) {
        EXPECT_EQ(errorOfInstalling(), source.string() + " could not be copied: " + reason);
        EXPECT_EQ(versionOf(destination), "1");
        EXPECT_THAT(othersIn(applications), IsEmpty());
    };
    expectRefusal("No space left on device.");
    disk.makeReadOnly();
    expectRefusal("Read-only file system.");
}

TEST_F(Installation, IsClaimedByOneAtATimeAndLeavesNoFile) {
    EXPECT_FALSE(AppInstallation::claim(applications)) << "there is no such folder";
    begin(false);
    auto claim = AppInstallation::claim(applications);
    EXPECT_TRUE(claim);
    EXPECT_FALSE(AppInstallation::claim(applications));
    EXPECT_THAT(othersIn(applications), IsEmpty());
    claim.reset();
    EXPECT_TRUE(AppInstallation::claim(applications));
    runIn(folder.path(), "ln -s Applications link");
    EXPECT_FALSE(AppInstallation::claim(folder / "link"));
}

const std::string uuid = "01234567-89AB-4DEF-8123-456789ABCDEF";

TEST_F(Installation, RecoversWhatIsOursAlone) {
    const std::string backup = ".Corvane-previous-" + uuid + ".app";
    const std::string staging = ".Corvane-install-" + uuid + ".app";
    const std::string copied = "cp -r 'Corvane Tallywick.app' Applications/";
    const struct {
        const char* name;
        std::string preparation;
        bool isTaken;
    } rows[] = {
        {"a copy", copied + staging, true},
        {"an empty copy", "mkdir Applications/" + staging, true},
        {"a part of a copy", "mkdir -p Applications/" + staging + "/Contents/x", true},
        {"a folder with something else", "mkdir -p Applications/" + staging + "/Documents", false},
        {"a file", "touch Applications/" + staging, false},
        {"a link", "ln -s ../data Applications/" + staging, false},
        {"another name", copied + ".Corvane-install-1.app", false},
        {"a name in lower case",
         copied + ".Corvane-install-" + std::string(uuid).replace(9, 4, "89ab") + ".app", false},
        {"a superseded backup", copied + backup, true},
        {"a backup of something else", "mkdir -p Applications/" + backup + "/Contents", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        begin();
        runIn(folder.path(), row.preparation);
        const std::string said = recover(destination);
        EXPECT_EQ(said, row.isTaken
                            ? "What an earlier installation had left behind is in the Trash."
                            : "");
        EXPECT_EQ(othersIn(applications).empty(), row.isTaken);
        EXPECT_EQ(othersIn(folder / "data/Trash/files").empty(), !row.isTaken);
        EXPECT_EQ(versionOf(destination), "1");
    }
}

TEST_F(Installation, KeepsABackupUntilTheInstalledCopyRuns) {
    begin();
    const auto backup = install(*systemFileManager()).value().value();
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
