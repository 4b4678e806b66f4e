#pragma once

#include "base/SerialQueue.h"
#include "hardware/HardwareService.h"
#include "history/HistoryStore.h"
#include "install/AppInstallation.h"
#include "platform/desktop/Workspace.h"
#include "platform/files/Preferences.h"
#include "platform/machine/NetworkPath.h"
#include "platform/machine/PowerEvents.h"
#include "state/AccountConnection.h"
#include "state/AccountRefresh.h"
#include "state/HelperChoice.h"
#include "state/Installation.h"
#include "state/KeptChoices.h"
#include "state/MachineReadings.h"
#include "state/SessionStart.h"
#include "state/SignIn.h"
#include "state/StateContext.h"
#include "state/UsageNotices.h"
#include "state/WindowPlacement.h"
#include "update/UpdateController.h"

#include <QObject>
#include <QTimer>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tallywick {

/// The one object that the user interface observes: it owns the concerns, which do the work and
/// publish its fields, runs the timer that drives them, and hands on what the user asks for.
///
/// Main thread only, with a running event loop. Work is done elsewhere by the services and comes
/// back as tasks of the event loop.
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
        UpdateController::Services updates;
        Installation::Services installation = {}; ///< without alerts: nothing is installed
        std::filesystem::path sessionBundle = {}; ///< that the session can start; or empty
        UsageNotices::Services notices = {};
    };

    /// Starts the timer, the observers and the check of the running bundle, and ticks once.
    explicit UtilityState(Services given);

    /// Stops. Waits for the check of the bundle or a measurement that runs.
    ~UtilityState() override;

    const UtilityFields& fields() const { return context.fields(); }

    /// The short version of the running bundle, "Unknown" when it has none.
    std::string appVersion() const { return bundle.version.value_or("Unknown"); }
    bool isPreviewBuild() const { return bundle.isPreview; }
    std::string installationLabel() const;

    // The scheduler

    /// One step: brings the clock and the status up to date and starts whatever is due. The timer
    /// calls it every 5 seconds.
    void tick();

    /// Makes every reading due and ticks. A refresh that runs is not disturbed: another follows it.
    void refreshNow();

    // What the user asks for. Each does nothing when the state does not allow it.

    void reloadConnection() { refresh.reload(); }
    void startSignIn() { signIn.start(); }
    void cancelSignIn() { signIn.cancel(); }
    void chooseHelper() { helperChoice.choose(); }
    void useAutomaticDiscovery() { helperChoice.useAutomaticDiscovery(); }
    void openVolume(const VolumeInfo& volume) { machine.open(volume); }
    void copyConnectionDetails();
    void checkForUpdates() { update(&UpdateController::check); }
    void downloadUpdate() { update(&UpdateController::download); }
    void cancelUpdate() { updates.cancel(); }
    void showUpdate() { update(&UpdateController::showDownload); }
    void openUpdate() { update(&UpdateController::openUpdate); }
    void install() { installation.install(); }
    void createDesktopAlias() { installation.createDesktopAlias(); }
    void revealDesktopAlias() { installation.revealDesktopAlias(); }
    void revealThisCopy() { installation.revealThisCopy(); }
    void uninstall() { installation.uninstall(); }

    /// Always on top or not, kept for the next start.
    void choosePinned(bool pinned);
    /// The day theme for the night theme or the reverse, kept for the next start.
    void toggleTheme();
    void setShowingSettings(bool showing);
    /// The session starts this copy, or no longer.
    void chooseSessionStart(bool starts) { sessionStart.choose(starts); }
    /// Notices of the desktop at 80 % and 95 % and when a week begins, or none.
    void chooseUsageNotices(bool wanted) { usageNotices.choose(wanted); }
    void setShowingInstaller(bool showing) { context.change().showingInstaller = showing; }
    void setCreateShortcutOnInstall(bool create) {
        context.change().createShortcutOnInstall = create;
    }

    // The maker's website, in the default browser

    void openHomePage();
    void openProductPage();
    /// Begins a mail with the address of the product page in the user's mail program.
    void shareByMail();
    void copyProductAddress();

    // The window: see `WindowPlacement`.

    void attachWindow(UtilityWindow* attached) { window.attach(attached); }
    void applyWindowConfiguration() { window.applyConfiguration(); }
    void screenParametersDidChange() { window.applyConfiguration(); }
    void syncLayoutWithSize() { window.syncLayout(); }
    void windowDidSettle() { window.didSettle(); }
    void resizeBy(double dx, double dy) { window.resizeBy(dx, dy); }
    void endResize() { window.endResize(); }
    void toggleLayout() { window.toggleLayout(); }
    void showUtility(const std::string& launchToken = {}) { window.show(launchToken); }
    double maximumContentHeight() const { return window.maximumContentHeight(); }
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
    void willSleep();
    void didWake();
    void networkDidChange(NetworkPathStatus status);
    void update(void (UpdateController::*operation)());
    bool forgetAll();
    void openPage(std::string_view address);

    const RunningBundle bundle;
    Workspace& workspace;
    PowerEvents& powerEvents;
    NetworkPath& networkPath;

    // What the concerns share, and the concerns: each knows those above it at most.
    StateContext context;
    KeptChoices choices;
    WindowPlacement window;
    MachineReadings machine;
    UsageNotices usageNotices;
    AccountConnection connection;
    AccountRefresh refresh;
    SignIn signIn;
    HelperChoice helperChoice;
    UpdateController updates;
    Installation installation;
    SessionStart sessionStart;

    QTimer ticker;
    bool sleeping = false;
    std::optional<NetworkPathStatus> previousNetworkState;
    std::unique_ptr<SerialQueue> installationCheck; ///< until the check has answered
};

} // namespace tallywick
