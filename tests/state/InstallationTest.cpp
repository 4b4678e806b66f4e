// Installing, the alias and uninstalling, on a disk of their own: what is asked and told in which
// order, and what lies where in the end.

#include "state/Installation.h"
#include "base/WorkThreads.h"
#include "install/DesktopAlias.h"
#include "support/SampleBundle.h"

#include <gmock/gmock.h>

#include <QCoreApplication>

#include <algorithm>
#include <mutex>

namespace tallywick::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

using Strings = std::vector<std::string>;

const std::string replaceQuestion = "Replace the installed utility?";
const std::string aliasQuestion = "Replace the existing Desktop item?";
const std::string uninstallQuestion = "Move Tallywick to the Trash?";

/// What was done, one line each, in its order. Any thread.
class Diary {
  public:
    void note(const std::string& line) {
        const std::lock_guard guard(mutex);
        lines.push_back(line);
    }
    Strings take() {
        const std::lock_guard guard(mutex);
        return std::exchange(lines, {});
    }

  private:
    std::mutex mutex;
    Strings lines;
};

/// A desktop whose user always gives the same answer.
struct FakeDesktop : Workspace, Alerts {
    explicit FakeDesktop(Diary& kept) : diary(kept) {}

    bool openAddress(const std::string&) override { return false; }
    bool openFolder(const fs::path&) override { return false; }
    void copyText(const std::string&) override {}
    void revealItem(const fs::path& item) override {
        diary.note("reveal " + item.filename().string());
    }
    void openNewInstance(const fs::path& bundle, const Strings& arguments,
                         std::function<void(OpenOutcome)> told) override {
        diary.note("open " + bundle.filename().string() + " " + arguments.at(0));
        EXPECT_EQ(arguments.at(1), std::to_string(QCoreApplication::applicationPid()));
        tell = std::move(told);
    }
    AlertAnswer ask(const Alert& alert) override {
        diary.note(alert.message);
        whileAsking();
        return answer;
    }

    Diary& diary;
    std::function<void(OpenOutcome)> tell;
    AlertAnswer answer{true, false};
    std::function<void()> whileAsking = [] {};
};

/// A Trash of one folder, which may refuse everything.
struct FakeTrash : Trash {
    FakeTrash(fs::path place, Diary& kept) : folder(std::move(place)), diary(kept) {
        fs::create_directories(folder);
    }
    tl::expected<fs::path, std::string> move(const fs::path& item) override {
        if (refuses)
            return tl::make_unexpected(std::string("It is stuck."));
        const fs::path place = folder / (std::to_string(++count) + item.filename().string());
        fs::rename(item, place);
        const std::string name = item.filename();
        diary.note("trash " + (name.starts_with(".Corvane-previous-") ? "the earlier copy" : name));
        return place;
    }
    const fs::path folder;
    Diary& diary;
    bool refuses = false;
    std::atomic<int> count = 0;
};

/// A machine with the application in the user's downloads, and what runs there and is asked.
class Machine {
  public:
    Machine() {
        fs::create_directories(desktopFolder);
        fs::create_directories(folder / "Applications");
        fs::create_directories(folder / "data");
    }
    ~Machine() {
        installation.reset();
        EXPECT_TRUE(waitForWorkThreads(std::chrono::seconds(60)));
    }
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    void start() {
        RunningBundle running;
        running.isInstalled = bundle == installedCopy;
        running.isManaged = isManaged;
        installation.emplace(context, running, desktop, Installation::Services{tools(), &desktop},
                             Installation::Owner{.pause = noting("pause"),
                                                 .resume = noting("resume"),
                                                 .forget =
                                                     [this] {
                                                         diary.note("forget");
                                                         return true;
                                                     },
                                                 .quit = noting("quit")});
        installation->start();
        settle();
    }
    /// Until nothing is under way any more: one step may follow another seven times.
    void settle() {
        for (int step = 0; step < 8; ++step) {
            EXPECT_TRUE(waitForWorkThreads(std::chrono::seconds(60)));
            QCoreApplication::processEvents();
        }
    }
    const std::string& status() const { return context.fields().settingsStatus; }
    Strings contentOf(const char* place) const {
        Strings names;
        for (const auto& entry : fs::directory_iterator(folder / place))
            names.push_back(entry.path().filename().string());
        std::ranges::sort(names);
        return names;
    }

    int argumentCount = 0;
    const QCoreApplication application{argumentCount, nullptr};
    TemporaryFolder folder;
    const fs::path installedCopy = folder / "Applications" / Product::applicationFolderName;
    const fs::path desktopFolder = folder / "Desktop";
    const fs::path alias = DesktopAlias::location(desktopFolder);
    fs::path bundle = makeSampleBundle(folder / "Downloads");
    bool isManaged = false;
    bool isComplete = true;
    std::vector<RunningApplication> copies; ///< that run beside this one
    bool listen = true;                     ///< when they are asked to quit
    std::atomic<int> pauses = 0;
    int quitAfter = 3; ///< pauses
    std::string launcherFailure;
    std::unique_ptr<FileLock> otherInstallation;
    Diary diary;
    FakeDesktop desktop{diary};
    std::shared_ptr<FakeTrash> trash = std::make_shared<FakeTrash>(folder / "Trash", diary);
    StateContext context{systemNow, {.changed = [] {}, .tick = [] {}, .refreshNow = [] {}}};
    std::optional<Installation> installation;

  private:
    std::function<void()> noting(const char* line) {
        return [this, line] { diary.note(line); };
    }
    InstallationSteps::Tools tools() {
        InstallationSteps::Tools tools;
        tools.bundle = bundle;
        tools.isManaged = isManaged;
        tools.applicationsFolders = {folder / "everybody's", folder / "Applications"};
        tools.verify = [this](const fs::path& copy) {
            return isComplete && AppInstallation::hasBundleIdentity(copy);
        };
        tools.trash = trash;
        tools.copies = {.list = [this] { return copies; },
                        .askToQuit =
                            [this](const RunningApplication& copy) {
                                diary.note("ask " + std::to_string(copy.processId) + " to quit");
                                return listen;
                            },
                        .isRunning = [this](const auto&) { return pauses < quitAfter; },
                        .pause = [this] { ++pauses; }};
        tools.desktop = [this] {
            return fs::exists(desktopFolder) ? std::optional(desktopFolder) : std::nullopt;
        };
        tools.enterLauncher = [this](const fs::path&) -> tl::expected<void, std::string> {
            diary.note("enter launcher");
            if (launcherFailure.empty())
                return {};
            return tl::make_unexpected(launcherFailure);
        };
        tools.leaveLauncher = [this](const fs::path&) { diary.note("leave launcher"); };
        tools.dataFolders = {folder / "data"};
        return tools;
    }
};

/// Makes of a machine with the application in the user's downloads the one of that description.
void arrange(Machine& machine, std::string_view description) {
    const auto says = [description](auto part) {
        return description.find(part) != description.npos;
    };
    const fs::path applications = machine.folder / "Applications";
    if (says("older copy") || says("installed"))
        makeSampleBundle(applications);
    if (says("installed"))
        machine.bundle = machine.installedCopy;
    if (says("without a bundle"))
        fs::remove(machine.bundle / "Contents/Info.plist");
    if (says("file in its place"))
        writeAll(machine.installedCopy, "mine");
    if (says("its alias") || says("alias of another")) {
        EXPECT_TRUE(DesktopAlias::create(machine.alias,
                                         says("its") ? machine.bundle : applications / "Other.app",
                                         *machine.trash));
    }
    if (says("folder called so"))
        fs::create_directory(machine.alias);
    if (says("no Desktop"))
        fs::remove(machine.alias.parent_path());
    if (says("behind a link"))
        runIn(machine.folder.path(), "mv data real; ln -s real data");
    if (says("another installation"))
        machine.otherInstallation = AppInstallation::claim(applications);
    if (says("copy 7 runs"))
        machine.copies = {{7, machine.installedCopy}, {8, machine.folder / "elsewhere.app"}};
    machine.isComplete = !says("incomplete");
    machine.isManaged = says("managed");
    machine.listen = !says("deaf");
    machine.quitAfter = says("stubborn") ? 51 : 3;
    machine.context.change().updates.busy = says("update runs");
    machine.desktop.answer = {!says("refuses"), says("data too")};
    machine.trash->refuses = says("full Trash");
    machine.desktop.whileAsking = [&machine, says] {
        machine.context.change().updates.busy = says("update begins");
        if (says("program ends"))
            machine.context.stop();
        if (says("file comes"))
            runIn(machine.folder / "Applications",
                  "rm -r *.app; echo mine >'Corvane Tallywick.app'");
    };
}

TEST(Installation, HandsOverStepByStep) {
    Machine machine;
    arrange(machine, "an older copy");
    const int self = static_cast<int>(QCoreApplication::applicationPid());
    machine.copies = {{7, machine.installedCopy},
                      {8, machine.folder / "elsewhere.app"},
                      {self, machine.installedCopy}};
    ASSERT_TRUE(DesktopAlias::create(machine.alias, machine.bundle, *machine.trash));
    machine.context.change().createShortcutOnInstall = false; // the one there follows nevertheless
    machine.start();
    EXPECT_TRUE(machine.context.fields().offersInstallation);
    machine.installation->install();
    machine.settle();
    EXPECT_THAT(machine.diary.take(),
                ElementsAre(replaceQuestion, "ask 7 to quit", "pause",
                            "trash Corvane Tallywick alias.desktop", "enter launcher",
                            "open Corvane Tallywick.app --finish-install"));
    EXPECT_EQ(machine.pauses, machine.quitAfter);
    EXPECT_TRUE(machine.context.fields().installing);
    EXPECT_EQ(machine.status(), "Installed. Opening the Applications copy…");
    EXPECT_TRUE(DesktopAlias::resolves(machine.alias, machine.installedCopy));
    EXPECT_THAT(machine.contentOf("Applications"), Contains(StartsWith(".Corvane-previous-")));
    EXPECT_FALSE(AppInstallation::claim(machine.folder / "Applications"));

    machine.installation->install(); // does nothing meanwhile, and neither do the others
    machine.installation->createDesktopAlias();
    machine.installation->revealThisCopy();
    machine.settle();
    EXPECT_THAT(machine.diary.take(), IsEmpty());
    machine.desktop.tell(std::nullopt);
    machine.settle();
    EXPECT_THAT(machine.diary.take(), ElementsAre("trash the earlier copy", "quit"));
    EXPECT_THAT(machine.contentOf("Applications"), Not(Contains(StartsWith(".Corvane-previous-"))));
    EXPECT_TRUE(AppInstallation::claim(machine.folder / "Applications"));
}

TEST(Installation, AsksTellsAndMovesWhatTheSituationAllows) {
    constexpr auto install = &Installation::install;
    constexpr auto makeAlias = &Installation::createDesktopAlias;
    constexpr auto reveal = &Installation::revealDesktopAlias;
    constexpr auto uninstall = &Installation::uninstall;
    const std::string unrelated =
        "An unrelated item already uses this name in Applications. It has not been changed.";
    const std::string updateFirst = "Finish or cancel the update first, then uninstall.";
    const std::string aliasMade = "Desktop alias created and verified.";
    const std::string app = "trash Corvane Tallywick.app";
    const std::string shown = "reveal Corvane Tallywick alias.desktop";
    const struct {
        const char* situation;
        void (Installation::*action)();
        std::string status;
        Strings done;
    } cases[] = {
        {"without a bundle", install, "Run the packaged app before installing it.", {}},
        {"installed", install, "This copy is already installed in Applications.", {}},
        {"a file in its place", install, unrelated, {}},
        {"incomplete",
         install,
         "Install failed: This app is incomplete. Download a fresh copy and try again.",
         {"pause", "resume"}},
        {"an update runs", install, "", {}},
        {"managed", install, "", {}},
        {"an older copy, the user refuses", install, "", {replaceQuestion}},
        {"an older copy, an update begins", install, "", {replaceQuestion}},
        {"an older copy, a file comes", install, unrelated, {replaceQuestion}},
        {"an older copy, the program ends", install, "", {replaceQuestion}},
        {"an older copy, copy 7 runs, deaf",
         install,
         "Quit the installed utility, then try Install and Open again.",
         {replaceQuestion, "ask 7 to quit"}},
        {"an older copy, copy 7 runs, stubborn",
         install,
         "Install failed: The installed utility is still running. Quit it, then try again.",
         {replaceQuestion, "ask 7 to quit", "pause", "resume"}},
        {"another installation",
         install,
         "Install failed: Another copy is being installed in Applications. Try again in a moment.",
         {"pause", "resume"}},

        {"installed", makeAlias, aliasMade, {shown}},
        {"installed, its alias",
         makeAlias,
         aliasMade,
         {"trash Corvane Tallywick alias.desktop", shown}},
        {"installed, a folder called so",
         makeAlias,
         aliasMade,
         {aliasQuestion, "trash Corvane Tallywick alias.desktop", shown}},
        {"installed, a folder called so, the user refuses", makeAlias, "", {aliasQuestion}},
        {"installed, a folder called so, a full Trash",
         makeAlias,
         "Could not create the Desktop alias: It is stuck.",
         {aliasQuestion}},
        {"installed, no Desktop", makeAlias, "The Desktop folder is unavailable.", {}},
        {"installed, incomplete",
         makeAlias,
         "Install in Applications first. A portable or test copy cannot create the installed app’s "
         "alias.",
         {}},
        {"installed, its alias", reveal, "", {shown}},
        {"installed, alias of another",
         reveal,
         "No verified Desktop alias exists for this installed copy.",
         {}},

        {"installed",
         uninstall,
         "Uninstalling…",
         {uninstallQuestion, "pause", app, "leave launcher", "quit"}},
        {"installed, its alias, copy 7 runs",
         uninstall,
         "Uninstalling…",
         {uninstallQuestion, "pause", "ask 7 to quit", app, "trash Corvane Tallywick alias.desktop",
          "leave launcher", "quit"}},
        {"installed, a folder called so, copy 7 runs, data too",
         uninstall,
         "Uninstalling…",
         {uninstallQuestion, "pause", "ask 7 to quit", "ask 8 to quit", app, "trash data",
          "leave launcher", "forget", "quit"}},
        {"installed, data too, behind a link",
         uninstall,
         "The app moved to Trash, but some utility data could not be removed: A utility data "
         "folder "
         "points to another location. It was left unchanged for safety. Quit and restore the app "
         "from Trash if you need to retry.",
         {uninstallQuestion, "pause", app, "leave launcher"}},
        {"installed, a full Trash",
         uninstall,
         "Uninstall stopped: It is stuck. Any items already moved remain recoverable in Trash. "
         "Quit "
         "and reopen the remaining app before retrying.",
         {uninstallQuestion, "pause"}},
        {"installed, copy 7 runs, stubborn",
         uninstall,
         "Uninstall stopped: Another copy of the utility is still running. Quit it, then try "
         "again.",
         {uninstallQuestion, "pause", "ask 7 to quit", "resume"}},
        {"installed, the user refuses", uninstall, "", {uninstallQuestion}},
        {"installed, an update begins", uninstall, updateFirst, {uninstallQuestion}},
        {"installed, an update runs", uninstall, updateFirst, {}},
        {"in the downloads",
         uninstall,
         "This development copy is not installed in Applications.",
         {}},
        {"installed, managed", uninstall, "", {}},
    };
    for (const auto& tried : cases) {
        SCOPED_TRACE(tried.situation + (": " + tried.status));
        Machine machine;
        arrange(machine, tried.situation);
        machine.start();
        const Strings before = machine.contentOf("Applications");
        machine.diary.take();
        ((*machine.installation).*tried.action)();
        machine.settle();
        const Strings done = machine.diary.take();
        EXPECT_EQ(machine.status(), tried.status);
        EXPECT_EQ(done, tried.done);
        EXPECT_FALSE(machine.context.fields().installing && tried.action == install);
        const bool isMoved = std::ranges::find(done, app) != done.end();
        EXPECT_TRUE(isMoved || machine.contentOf("Applications") == before);
        EXPECT_EQ(DesktopAlias::resolves(machine.alias, machine.bundle),
                  std::ranges::find(done, shown) != done.end());
    }
}

TEST(Installation, ThatCannotBeOpenedTellsWhereThePreviousCopyIs) {
    Machine machine;
    arrange(machine, "an older copy");
    machine.launcherFailure = "The disk is full.";
    machine.start();
    for (int attempt = 1; attempt <= 2; ++attempt) { // the second one replaces the first one's copy
        machine.installation->install();
        machine.settle();
        EXPECT_EQ(machine.status(),
                  "Installed. Opening the Applications copy… It is missing in the "
                  "launcher: The disk is full.");
        machine.diary.take();
        machine.desktop.tell("It has not shown its window.");
        machine.settle();
        EXPECT_THAT(machine.diary.take(), ElementsAre("resume", "reveal Corvane Tallywick.app"));
        EXPECT_FALSE(machine.context.fields().installing);
        EXPECT_THAT(machine.status(),
                    StartsWith("Installed in Applications, but it could not open: It has not shown "
                               "its window. It is missing in the launcher: The disk is full. The "
                               "previous copy is kept at "
                               + (machine.folder / "Applications/.Corvane-previous-").string()));
        EXPECT_THAT(machine.contentOf("Applications"), ::testing::SizeIs(1 + attempt));
    }
    machine.desktop.tell(std::nullopt); // it was only slow
    machine.settle();
    EXPECT_THAT(machine.diary.take(),
                ElementsAre("trash the earlier copy", "trash the earlier copy", "quit"));
    EXPECT_THAT(machine.contentOf("Applications"), ElementsAre("Corvane Tallywick.app"));
}

TEST(Installation, PutsRightAtTheStartWhatWasCutShort) {
    Machine machine;
    arrange(machine, "installed");
    fs::rename(machine.installedCopy,
               machine.folder
                   / "Applications/.Corvane-previous-0D5B3A0C-6C3F-4E0C-9E44-6C2D8F2B7B1E.app");
    machine.context.change().settingsStatus = "Nothing is kept.";
    machine.start();
    EXPECT_THAT(machine.contentOf("Applications"), ElementsAre("Corvane Tallywick.app"));
    EXPECT_THAT(machine.status(), StartsWith("Nothing is kept. "));
    EXPECT_THAT(machine.status(), Not(EndsWith("kept.")));
}

} // namespace
} // namespace tallywick::testing
