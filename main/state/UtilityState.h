#pragma once

#include "base/SerialQueue.h"
#include "base/Time.h"
#include "codex/AccountService.h"
#include "codex/AccountTransport.h"
#include "codex/HelperDiscovery.h"
#include "codex/HelperLauncher.h"
#include "hardware/HardwareService.h"
#include "history/HistoryStore.h"
#include "install/AppInstallation.h"
#include "platform/desktop/Workspace.h"
#include "platform/files/Preferences.h"
#include "platform/machine/NetworkPath.h"
#include "platform/machine/PowerEvents.h"
#include "state/DueTime.h"
#include "state/KeptChoices.h"
#include "state/MachineReadings.h"
#include "state/StateContext.h"
#include "state/WindowPlacement.h"

#include <QObject>
#include <QTimer>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tallywick {

/// The one object that the user interface observes: it runs the timer that drives everything,
/// decides when each reading is refreshed, applies every result to its fields, and carries out the
/// user's account actions.
///
/// Main thread only, with a running event loop. Work is done elsewhere by the services and comes
/// back as tasks of the event loop. What was asked of the account service carries the number of the
/// generation that asked; an answer to an older generation is ignored, so abandoning work means to
/// begin a new generation.
class UtilityState final : public QObject {
    Q_OBJECT

  public:
    /// What the state works with. References must outlive it.
    struct Services {
        Clock clock; ///< called on any thread
        std::filesystem::path homeFolder;
        TransportFactory transportFactory; ///< starts helpers, each on a thread of its own
        std::unique_ptr<HelperDiscovery> helperDiscovery;
        /// The only one to be used, until the user chooses another or lets it be found.
        std::optional<std::filesystem::path> namedHelper;
        HistoryStore historyStore;
        std::string storageNotice; ///< shown in Settings at first; empty when all is well
        std::unique_ptr<HardwareService> hardwareService;
        RunningBundle bundle;
        bool showsInstaller = true; ///< offers to install a copy that is not the installed one
        Preferences& preferences;
        Workspace& workspace;
        PowerEvents& powerEvents;
        NetworkPath& networkPath;
        OpenPanel* openPanel = nullptr; ///< null: no helper can be chosen
    };

    /// Starts the timer, the observers and the check of the running bundle, and ticks once.
    explicit UtilityState(Services given);

    /// Stops. Waits for the check of the bundle or a measurement that runs.
    ~UtilityState() override;

    const UtilityFields& fields() const { return context.fields(); }

    /// The short version of the running bundle, "Unknown" when it has none.
    std::string appVersion() const;
    bool isPreviewBuild() const { return services.bundle.isPreview; }
    std::string installationLabel() const;

    // The scheduler

    /// One step: brings the clock and the status up to date and starts whatever is due. The timer
    /// calls it every 5 seconds.
    void tick();

    /// Makes every reading due and ticks. A refresh that runs is not disturbed: another follows it.
    void refreshNow();

    // Account actions. Each does nothing when the state does not allow it.

    /// Drops the helper and everything under way, and reads the account anew.
    void reloadConnection();
    void startSignIn();
    void cancelSignIn();
    /// Lets the user choose a helper, which is accepted once it has completed the handshake.
    void chooseHelper();
    /// Forgets the choice.
    void useAutomaticDiscovery();
    void copyConnectionDetails();

    // Choices of the user

    /// Always on top or not, kept for the next start.
    void choosePinned(bool pinned);
    /// The day theme for the night theme or the reverse, kept for the next start.
    void toggleTheme();
    void setShowingSettings(bool showing) { context.change().showingSettings = showing; }
    void setShowingInstaller(bool showing) { context.change().showingInstaller = showing; }
    void setCreateShortcutOnInstall(bool create) {
        context.change().createShortcutOnInstall = create;
    }

    /// See `MachineReadings::open`.
    void openVolume(const VolumeInfo& volume) { machine.open(volume); }

    // The maker's website, in the default browser

    void openHomePage();
    void openProductPage();
    /// Begins a mail with the address of the product page in the user's mail program.
    void shareByMail();
    void copyProductAddress();

    // The window: see `WindowPlacement`.

    void attachWindow(UtilityWindow* attached) { window.attach(attached); }
    void applyWindowConfiguration() { window.applyConfiguration(); }
    void syncLayoutWithSize() { window.syncLayout(); }
    void endResize() { window.endResize(); }
    void resizeBy(double dx, double dy) { window.resizeBy(dx, dy); }
    void toggleLayout() { window.toggleLayout(); }
    void showUtility(const std::string& launchToken = {}) { window.show(launchToken); }
    void windowDidSettle() { window.didSettle(); }
    double maximumContentHeight() const { return window.maximumContentHeight(); }
    void screenParametersDidChange() { window.applyConfiguration(); }
    /// The window has come back after it was hidden with its application.
    void applicationDidUnhide() { machine.makeDue(); }

    // Life cycle

    /// Pauses everything for an installation or a removal and closes the helper.
    void enterMaintenance();
    /// Goes on after one that failed, with fresh readings.
    void leaveMaintenance();

    /// Ends all work, for good. Nothing is refreshed or applied any more.
    void stop();
    /// Stops, then ends the application's event loop.
    void quit();

  Q_SIGNALS:
    /// Some fields may have changed. Comes from the event loop, once for all changes of one pass.
    void changed();

  private:
    void startInstallationCheck();
    void observe();
    void willSleep();
    void didWake();
    void networkDidChange(NetworkPathStatus status);

    void endOverdueSignIn();
    void endOverdueWork();
    void markStale();
    void refreshAccountIfDue();
    void refreshWith(const HelperDiscovery::Outcome& found);

    void openPage(std::string_view address);

    AccountService& account();
    void resetAccountService();
    void dropAccountService();
    AccountService::RefreshCallbacks refreshCallbacks();
    void applyAccountResult(std::int64_t token, const AccountService::SnapshotOutcome& result);
    void applySnapshot(const AccountSnapshot& snapshot);
    void applyAccountFailure(ConnectionIssue issue);
    void applyActivityResult(std::int64_t token, const std::optional<std::string>& accountHash,
                             const AccountService::ActivityOutcome& result);
    void finishAccountRefresh(std::int64_t token);
    void identityDidChange();
    void reloadLater();
    void clearAccountData();
    void forgetReading();
    void abandonAccountWork();

    void signInWith(const HelperDiscovery::Outcome& found);
    void signInDidStart(std::int64_t token, const AccountService::LinkOutcome& result);
    void signInDidEnd(std::int64_t token, bool success);
    void endSignIn();
    void endNoteOfReading();

    HelperQuery helperQuery() const;
    /// Searches on another thread; `then` runs unless what asked for it has been given up.
    void findHelpers(const HelperQuery& query,
                     std::function<void(const HelperDiscovery::Outcome&)> then);
    void validateHelper(const HelperDiscovery::Outcome& found);
    void helperWasValidated(std::int64_t token, const std::filesystem::path& helper, bool valid);
    void reconnect();

    Services services;
    StateContext context;
    const UtilityFields& published = context.fields();
    KeptChoices choices;
    WindowPlacement window;
    MachineReadings machine;

    std::int64_t generation = 0;
    bool sleeping = false;
    std::optional<NetworkPathStatus> previousNetworkState;

    std::int64_t failures = 0; ///< consecutive failed account refreshes
    DueTime nextAccountRefresh;
    DueTime nextTokenRefresh; ///< from then on an account refresh asks for token activity too

    bool refreshRequested = false; ///< a refresh was asked for while one was in flight
    bool snapshotAwaited = false;  ///< the refresh in flight has not yet told how the account is
    DueTime refreshDeadline;       ///< of the refresh in flight
    DueTime validationDeadline;    ///< of the helper that is being checked
    std::optional<DueTime> loginDeadline;

    std::optional<std::string> knownAccountHash; ///< of the last successful refresh
    std::optional<Timestamp> lastGood;           ///< when the reading on show was observed

    /// Reloads after changes of identity since a reading has last outlived the wait for the next.
    std::int64_t automaticReloads = 0;
    /// When the identity changed for which the next account refresh begins with a new helper.
    std::optional<Timestamp> reloadPendingSince;

    QTimer ticker;
    const std::shared_ptr<HelperLauncher> launcher;
    std::shared_ptr<AccountService> accountService; ///< created on first use
    std::unique_ptr<SerialQueue> installationCheck; ///< until the check has answered
};

} // namespace tallywick
