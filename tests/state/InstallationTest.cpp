// Installing, the alias and uninstalling, on a disk of their own: what is asked and told in which
// order, and what lies where in the end.

#include "state/Installation.h"
#include "base/WorkThreads.h"
#include "install/DesktopAlias.h"
#include "support/SampleBundle.h"

#include <gmock/gmock.h>

#include <QCoreApplication>

#include <mutex>
#include <semaphore>

namespace tallywick::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::StartsWith;

/// A machine with the application in the user's downloads, as a description wants it: its disk,
/// what runs there, and a user who always gives the same answer. It notes what is done.
class Machine : public Workspace, public Alerts, public Trash {
  public:
    explicit Machine(const char* description) : situation(description) {
        for (const char* name : {"Applications", "Desktop", "data", "Trash"})
            fs::create_directory(folder / name);
        arrangeCopies();
        arrangeAlias();
        if (says("another installation"))
            otherInstallation = AppInstallation::claim(folder / "Applications");
        context.change().updates.busy = says("update runs");
        RunningBundle running;
        running.isInstalled = bundle == installedCopy;
        running.isManaged = says("managed");
        installation.emplace(
            context, running, *this,
            Installation::Services{tools(), this, std::chrono::hours(says("slow Trash") ? 0 : 1)},
            owner());
        installation->start();
        settle();
    }
    ~Machine() override {
        trashMoves.release();
        installation.reset();
        EXPECT_TRUE(waitForWorkThreads(std::chrono::seconds(60)));
    }
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    /// Until nothing is under way any more: one step may follow another seven times.
    void settle() const {
        for (int step = 0; step < 8; ++step) {
            EXPECT_TRUE(waitForWorkThreads(std::chrono::seconds(60)));
            QCoreApplication::processEvents();
        }
    }
    /// What was done since the last call, once all of it is.
    std::string done(void (Installation::*action)()) {
        ((*installation).*action)();
        settle();
        return take();
    }
    /// What was done when the new copy has shown its window, or could not be opened.
    std::string doneWhenOpened(const Workspace::OpenOutcome& outcome) {
        tell(outcome);
        settle();
        return take();
    }
    std::string take() {
        const std::lock_guard guard(mutex);
        return std::exchange(diary, {});
    }
    const std::string& status() const { return context.fields().settingsStatus; }
    std::set<std::string> content(const char* place) const {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder / place))
            names.insert(entry.path().filename());
        return names;
    }
    bool isFree() const { return AppInstallation::claim(folder / "Applications") != nullptr; }
    bool hasAlias() const { return DesktopAlias::resolves(alias, bundle); }

    int argumentCount = 0;
    const QCoreApplication application{argumentCount, nullptr};
    const TemporaryFolder folder;
    const fs::path installedCopy = folder / "Applications" / Product::applicationFolderName;
    StateContext context{systemNow, {.changed = [] {}, .tick = [] {}, .refreshNow = [] {}}};
    std::optional<Installation> installation;
    std::function<void(OpenOutcome)> tell;
    std::binary_semaphore trashMoves{0}; ///< where it is slow

  private:
    bool says(const char* part) const { return situation.find(part) != situation.npos; }

    void arrangeCopies() {
        const fs::path applications = folder / "Applications";
        if (says("older copy") || says("installed"))
            makeSampleBundle(applications);
        if (says("installed"))
            bundle = installedCopy;
        if (says("without a bundle"))
            fs::remove(bundle / "Contents/Info.plist");
        if (says("file in its place"))
            writeAll(installedCopy, "mine");
        if (says("behind a link"))
            runIn(folder.path(), "mv data real; ln -s real data");
        if (!says("cut short"))
            return;
        context.change().settingsStatus = "Nothing is kept.";
        fs::rename(installedCopy,
                   applications / ".Corvane-previous-0D5B3A0C-6C3F-4E0C-9E44-6C2D8F2B7B1E.app");
    }
    void arrangeAlias() {
        if (says("its alias") || says("another's alias")) {
            EXPECT_TRUE(
                DesktopAlias::create(alias, says("its") ? bundle : folder / "Other.app", *this));
        }
        if (says("folder called so"))
            fs::create_directory(alias);
        if (says("no Desktop"))
            fs::remove(alias.parent_path());
    }

    void note(const std::string& line) {
        const std::lock_guard guard(mutex);
        diary += (diary.empty() ? "" : ", ") + line;
    }
    /// "backup", "alias", "app", or its own name.
    static std::string kindOf(const fs::path& item) {
        const std::string name = item.filename();
        return name.starts_with(AppInstallation::backupPrefix) ? "backup"
               : name.ends_with(".desktop")                    ? "alias"
               : name.ends_with(".app")                        ? "app"
                                                               : name;
    }

    bool openAddress(const std::string&) override { return false; }
    bool openFolder(const fs::path&) override { return false; }
    void copyText(const std::string&) override {}
    void revealItem(const fs::path& item) override { note("reveal " + kindOf(item)); }
    void openNewInstance(const fs::path& copy, const std::vector<std::string>& arguments,
                         std::function<void(OpenOutcome)> told) override {
        EXPECT_EQ(arguments, (std::vector{std::string("--finish-install"), std::to_string(self)}));
        note("open " + kindOf(copy));
        tell = std::move(told);
    }
    /// Notes the last word of the question.
    AlertAnswer ask(const Alert& alert) override {
        note(alert.message.substr(alert.message.rfind(' ') + 1));
        context.change().updates.busy = says("update begins");
        if (says("program ends"))
            context.stop();
        if (says("file comes"))
            runIn(installedCopy.parent_path(), "rm -r *.app; echo mine >'Corvane Tallywick.app'");
        return {!says("user refuses"), says("data too")};
    }
    tl::expected<fs::path, std::string> move(const fs::path& item) override {
        if (says("full Trash"))
            return tl::make_unexpected(std::string("It is stuck."));
        if (says("slow Trash"))
            trashMoves.acquire();
        const std::string name = std::to_string(++trashed) + item.filename().string();
        fs::rename(item, folder / "Trash" / name);
        note("trash " + kindOf(item));
        return folder / "Trash" / name;
    }

    InstallationSteps::Tools tools() {
        InstallationSteps::Tools tools;
        tools.bundle = bundle;
        tools.isManaged = says("managed");
        tools.applicationsFolders = {folder / "everybody's", folder / "Applications"};
        tools.verify = [this](const fs::path& copy) {
            return !says("incomplete") && AppInstallation::hasBundleIdentity(copy);
        };
        tools.trash = std::shared_ptr<Trash>(std::shared_ptr<void>(), this);
        tools.copies = copies();
        tools.desktop = [this]() -> std::optional<fs::path> {
            if (says("no Desktop"))
                return std::nullopt;
            return folder / "Desktop";
        };
        tools.enterLauncher = [this](const fs::path&) -> tl::expected<void, std::string> {
            note("enter launcher");
            if (says("full launcher"))
                return tl::make_unexpected(std::string("The disk is full."));
            return {};
        };
        tools.leaveLauncher = [this](const fs::path&) { note("leave launcher"); };
        tools.dataFolders = {folder / "data"};
        return tools;
    }
    /// This process, the installed copy as process 7 and another one as process 8. Those that were
    /// asked to quit do so after three pauses, or after one too many.
    InstallationSteps::Copies copies() {
        std::vector<RunningApplication> running{{self, installedCopy}};
        if (says("copy 7 runs"))
            running.insert(running.end(), {{7, installedCopy}, {8, folder / "elsewhere.app"}});
        return {.list = [running] { return running; },
                .askToQuit =
                    [this](const RunningApplication& copy) {
                        note("ask " + std::to_string(copy.processId));
                        return !says("deaf");
                    },
                .isRunning = [this](const auto&) { return pauses < (says("stubborn") ? 51 : 3); },
                .pause = [this] { ++pauses; }};
    }
    Installation::Owner owner() {
        return {.pause = [this] { note("pause"); },
                .resume = [this] { note("resume"); },
                .forget =
                    [this] {
                        note("forget");
                        return !says("kept preferences");
                    },
                .quit =
                    [this] {
                        note("quit");
                        context.stop();
                    }};
    }

    const std::string situation;
    const int self = static_cast<int>(QCoreApplication::applicationPid());
    const fs::path alias = DesktopAlias::location(folder / "Desktop");
    fs::path bundle = makeSampleBundle(folder / "Downloads");
    std::unique_ptr<FileLock> otherInstallation;
    std::atomic<int> pauses = 0, trashed = 0;
    std::mutex mutex;
    std::string diary;
};

TEST(Installation, HandsOverStepByStep) {
    Machine machine("older copy, copy 7 runs, its alias");
    machine.context.change().createShortcutOnInstall = false; // the one there follows nevertheless
    EXPECT_TRUE(machine.context.fields().offersInstallation);
    EXPECT_EQ(machine.done(&Installation::install),
              "utility?, ask 7, pause, trash alias, enter launcher, open app");
    EXPECT_TRUE(machine.context.fields().installing);
    EXPECT_EQ(machine.status(), "Installed. Opening the Applications copy…");
    EXPECT_FALSE(machine.isFree()) << "the earlier copy lies there";
    for (const auto action : {&Installation::install, &Installation::createDesktopAlias,
                              &Installation::revealThisCopy, &Installation::uninstall})
        EXPECT_EQ(machine.done(action), "") << "not meanwhile";
    EXPECT_EQ(machine.doneWhenOpened(std::nullopt), "trash backup, quit");
    EXPECT_TRUE(machine.isFree());
}

TEST(Installation, EndsWhenTheTrashTakesTooLong) {
    Machine machine("older copy, slow Trash");
    machine.done(&Installation::install);
    machine.tell(std::nullopt);
    QCoreApplication::processEvents(); // it begins to wait
    QCoreApplication::processEvents();
    EXPECT_EQ(machine.take(), "quit");
    machine.trashMoves.release();
    machine.settle();
    EXPECT_EQ(machine.take(), "trash backup");
}

TEST(Installation, AsksTellsAndMovesWhatTheSituationAllows) {
    constexpr auto install = &Installation::install;
    constexpr auto makeAlias = &Installation::createDesktopAlias;
    constexpr auto reveal = &Installation::revealDesktopAlias;
    constexpr auto uninstall = &Installation::uninstall;
    const struct {
        const char* situation;
        void (Installation::*action)();
        std::string words; ///< of what is told; none when empty
        std::string done = "";
    } cases[] = {
        {"without a bundle", install, "Run the packaged app before installing it."},
        {"installed", install, "This copy is already installed in Applications."},
        {"file in its place", install, "An unrelated item already uses this name in Applications."},
        {"incomplete", install, "Install failed: This app is incomplete.", "pause, resume"},
        {"update runs", install, ""},
        {"managed", install, ""},
        {"older copy, user refuses", install, "", "utility?"},
        {"older copy, update begins", install, "", "utility?"},
        {"older copy, file comes", install, "An unrelated item already uses", "utility?"},
        {"older copy, copy 7 runs, deaf", install, "Quit the installed utility, then try Install",
         "utility?, ask 7"},
        {"older copy, copy 7 runs, stubborn", install,
         "Install failed: The installed utility is still running.",
         "utility?, ask 7, pause, resume"},
        {"another installation", install, "Install failed: Another copy is being installed",
         "pause, resume"},

        {"installed", makeAlias, "Desktop alias created and verified.", "reveal alias"},
        {"installed, its alias", makeAlias, "created", "trash alias, reveal alias"},
        {"installed, folder called so", makeAlias, "created", "item?, trash alias, reveal alias"},
        {"installed, folder called so, user refuses", makeAlias, "", "item?"},
        {"installed, folder called so, full Trash", makeAlias,
         "Could not create the Desktop alias: It is stuck.", "item?"},
        {"installed, no Desktop", makeAlias, "The Desktop folder is unavailable."},
        {"installed, incomplete", makeAlias, "Install in Applications first. A portable or test"},
        {"installed, its alias", reveal, "", "reveal alias"},
        {"installed, another's alias", reveal, "No verified Desktop alias exists for this"},

        {"installed", uninstall, "Uninstalling…", "Trash?, pause, trash app, leave launcher, quit"},
        {"installed, its alias, copy 7 runs", uninstall, "Uninstalling…",
         "Trash?, pause, ask 7, trash app, trash alias, leave launcher, quit"},
        {"installed, folder called so, copy 7 runs, data too", uninstall, "Uninstalling…",
         "Trash?, pause, ask 7, ask 8, trash app, trash data, leave launcher, forget, quit"},
        {"installed, data too, behind a link", uninstall,
         "could not be removed: A utility data folder points to another location.",
         "Trash?, pause, trash app, leave launcher"},
        {"installed, data too, kept preferences", uninstall,
         "could not be removed: Its preferences are still there.",
         "Trash?, pause, trash app, trash data, leave launcher, forget"},
        {"installed, full Trash", uninstall, "Uninstall stopped: It is stuck. Any items",
         "Trash?, pause"},
        {"installed, copy 7 runs, stubborn", uninstall,
         "Uninstall stopped: Another copy of the utility is still running.",
         "Trash?, pause, ask 7, resume"},
        {"installed, user refuses", uninstall, "", "Trash?"},
        {"installed, program ends", uninstall, "", "Trash?"},
        {"installed, update begins", uninstall, "Finish or cancel the update first", "Trash?"},
        {"installed, update runs", uninstall, "Finish or cancel the update first"},
        {"in the downloads", uninstall, "This development copy is not installed"},
        {"installed, managed", uninstall, ""},
    };
    for (const auto& [situation, action, words, expected] : cases) {
        SCOPED_TRACE(situation + (": " + words));
        Machine machine(situation);
        const auto before = machine.content("Applications");
        EXPECT_EQ(machine.done(action), expected);
        EXPECT_EQ(machine.status().empty(), words.empty());
        EXPECT_THAT(machine.status(), HasSubstr(words));
        EXPECT_FALSE(machine.context.fields().installing && action == install);
        const auto has = [&deeds = expected](const char* deed) {
            return deeds.find(deed) != deeds.npos;
        };
        EXPECT_TRUE(has("trash app") || machine.content("Applications") == before);
        EXPECT_EQ(machine.hasAlias(), has("reveal alias"));
    }
}

TEST(Installation, ThatCannotBeOpenedTellsWhereThePreviousCopyIs) {
    Machine machine("older copy, full launcher");
    for (const std::size_t attempt : {1U, 2U}) { // the second one replaces the first one's copy
        machine.done(&Installation::install);
        EXPECT_EQ(machine.doneWhenOpened("It has not shown its window."), "resume, reveal app");
        EXPECT_FALSE(machine.context.fields().installing);
        EXPECT_THAT(machine.status(),
                    StartsWith("Installed in Applications, but it could not open: It has not shown "
                               "its window. It is missing in the launcher: The disk is full. The "
                               "previous copy is kept at "
                               + (machine.folder / "Applications/.Corvane-previous-").string()));
        EXPECT_EQ(machine.content("Applications").size(), 1 + attempt);
    }
    EXPECT_EQ(machine.doneWhenOpened(std::nullopt), "trash backup, trash backup, quit")
        << "it was only slow";
}

TEST(Installation, PutsRightAtTheStartWhatWasCutShort) {
    const Machine machine("installed, cut short");
    EXPECT_TRUE(fs::exists(machine.installedCopy));
    EXPECT_THAT(machine.status(), StartsWith("Nothing is kept. An installation was interrupted."));
}

} // namespace
} // namespace tallywick::testing
