#pragma once

#include "install/InstallationSteps.h"
#include "platform/desktop/Alerts.h"
#include "platform/desktop/Workspace.h"
#include "state/StateContext.h"

#include <QTimer>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tallywick {

/// Installs the running copy and hands over to the installed one, makes its alias on the Desktop,
/// and uninstalls it: one of these at a time, each when the user asks. At the start it puts right
/// what an installation that was cut short has left.
///
/// Everything else rests while an installation or an uninstallation runs. The steps run on threads
/// that `waitForWorkThreads` knows; while nothing runs there are none. What the user was asked
/// about is looked at again after the answer.
///
/// Publishes `installing`, `offersInstallation` and `isManaged`, and tells in `settingsStatus` what
/// came of it. Main thread only; never waits for a disk or another program.
class Installation {
  public:
    struct Services {
        InstallationSteps::Tools tools = {};
        Alerts* alerts = nullptr; ///< null: nothing is installed, removed or put right
        /// How long the end waits for a replaced copy on its way to the Trash.
        std::chrono::milliseconds trashLimit = std::chrono::seconds(10);
    };

    /// The ways to the whole state.
    struct Owner {
        std::function<void()> pause;  ///< lets everything else rest, and closes the helper
        std::function<void()> resume; ///< lets it go on, with fresh readings
        std::function<bool()> forget; ///< keeps nothing any more, and no preferences
        std::function<void()> quit;   ///< ends the program
    };

    /// All of them must outlive it.
    Installation(StateContext& given, const RunningBundle& bundle, Workspace& desktop,
                 Services services, Owner whole);

    /// Begins what is done at every start.
    void start();

    /// "Install and Open". The installed copy is a program of its own, to which this one gives way
    /// once it has shown its window.
    void install();
    void createDesktopAlias();
    void revealDesktopAlias();
    void revealThisCopy();
    void uninstall();

    /// Ends all of it, for good: what runs is not waited for, and not applied.
    void stop();

  private:
    /// The application of which an alias is made, and what to do when that has come to its end.
    struct AliasOrder {
        std::filesystem::path copy;
        bool hasConsent = false;
        std::function<void(const InstallationSteps::AliasResult&)> then; ///< `inTheWay`: refused
    };

    bool mayBegin() const;
    template <typename Work, typename Apply>
    void run(Work work, Apply apply);
    std::optional<AlertAnswer> ask(const Alert& alert);
    void end(std::string status);
    void endMaintenance(std::string status);

    void survey(std::optional<std::filesystem::path> replacing);
    void surveyed(const InstallationSteps::Survey& found,
                  const std::optional<std::filesystem::path>& replacing);
    void confirmReplacing(const std::filesystem::path& destination);
    void makeWay(const InstallationSteps::Survey& found);
    void installWhenQuit(const InstallationSteps::Survey& found,
                         const std::vector<RunningApplication>& asked);
    void installed(const InstallationSteps::Survey& found, InstallationSteps::Installed result);
    void enterLauncher(const std::filesystem::path& copy, const std::string& aliasFailure);
    void open(const std::filesystem::path& copy, const std::string& remarks);
    void opened(std::int64_t attempt, const std::filesystem::path& copy, const std::string& remarks,
                const Workspace::OpenOutcome& outcome);
    void couldNotOpen(const std::filesystem::path& copy, const std::string& why);
    void handOver();

    void makeAlias(AliasOrder order);
    void madeAlias(AliasOrder order, const InstallationSteps::AliasResult& result);
    void confirmUninstalling();
    void uninstallNow(bool withData);
    void uninstalled(bool withData, const InstallationSteps::Uninstalled& result);

    StateContext& context;
    const UtilityFields& fields;
    Workspace& workspace;
    const std::shared_ptr<InstallationSteps> steps; ///< the threads share it
    Alerts* const alerts;
    const Owner owner;

    bool working = false; ///< something was begun whose end has not come yet
    std::int64_t attempts = 0;
    std::vector<std::filesystem::path> backups; ///< of this process, not in the Trash yet
    std::shared_ptr<FileLock> claim;            ///< on the folder that they lie in
    QTimer longestDiscarding;
    /// Tells whether this is still there when the user has answered.
    const std::shared_ptr<const bool> presence = std::make_shared<bool>(true);
};

} // namespace tallywick
