#pragma once

#include "base/SerialQueue.h"
#include "base/TaskRelay.h"
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
#include "state/UtilityFields.h"
#include "state/UtilityWindow.h"

#include <QObject>
#include <QRectF>
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

    const UtilityFields& fields() const { return published; }

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
    void setShowingSettings(bool showing) { change().showingSettings = showing; }
    void setShowingInstaller(bool showing) { change().showingInstaller = showing; }
    void setCreateShortcutOnInstall(bool create) { change().createShortcutOnInstall = create; }

    /// Keeps `mini`, `light` and `pinned` for the next start.
    void savePreferences();

    /// Opens a volume in the file browser once a fresh list has shown that it is still there. It
    /// becomes the list on show when the volume has gone.
    void openVolume(const VolumeInfo& volume);

    // The maker's website, in the default browser

    void openHomePage();
    void openProductPage();
    /// Begins a mail with the address of the product page in the user's mail program.
    void shareByMail();
    void copyProductAddress();

    // The window. Without one, these do nothing. `mini` follows from the height of its content,
    // unless the desktop imposes a size and the user has chosen a layout for it. A size that the
    // desktop imposes is neither disputed nor kept for the next start, and its place neither.

    /// Makes this the window that shows the state, with the size and the position that were kept.
    /// Null detaches the window, which must not be used any more.
    void attachWindow(UtilityWindow* window);
    /// Brings its level, its limits and its place on the screen in line with the state and the
    /// screens.
    void applyWindowConfiguration();
    /// Gives the content the nearest allowed size; the window keeps its top left corner.
    void setContentSize(QSizeF size);
    /// To be called whenever the window has another size or is zoomed or no longer.
    void syncLayoutWithSize();
    /// To be called when the user has finished resizing: snaps to the layout's own proportions.
    /// What the desktop makes of it is kept for the next start as soon as the window has settled.
    void endResize();
    /// The resize grip was dragged so far in all since it was grasped; right and down are positive.
    /// Ends with `endResize`.
    void resizeBy(double dx, double dy);
    /// The full layout for the mini layout or the reverse.
    void toggleLayout();
    /// Brings the window to the front, out of the dock if need be. `launchToken` is what the
    /// desktop gave the launch that asks for it.
    void showUtility(const std::string& launchToken = {});
    /// To be called when the window has stood still since its size or its place has changed, and
    /// before it is closed. A size that neither was asked for nor is imposed is the user's.
    void windowDidSettle();

    /// The most height that the content may take on the window's screen, in points.
    double maximumContentHeight() const;
    /// Whether the full layout can be seen. Without a window it cannot.
    bool isFullViewVisible() const;
    /// The window has come back after it was hidden with its application.
    void applicationDidUnhide();
    void screenParametersDidChange();

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
    /// The fields, to write to: announces the change.
    UtilityFields& change();

    /// Wraps a handler for a service that calls back on another thread. The handler is called on
    /// the main thread, and not at all once the state is gone.
    template <typename Handler>
    auto onMainThread(Handler handler) {
        return [post = relay.entrance(), handler](const auto&... results) {
            post([handler, results...] { handler(results...); });
        };
    }

    void startInstallationCheck();
    void observe();
    void willSleep();
    void didWake();
    void networkDidChange(NetworkPathStatus status);

    void advanceClock();
    void endOverdueSignIn();
    void endOverdueWork();
    void markStale();
    void refreshAccountIfDue();
    void refreshWith(const HelperDiscovery::Outcome& found);
    void refreshHardwareIfDue();
    void refreshVolumesIfDue();
    void applyVolumes(const std::vector<VolumeInfo>& volumes);

    void volumesWereListedToOpen(const VolumeInfo& volume, const std::vector<VolumeInfo>& listed,
                                 bool isMounted);
    void openPage(std::string_view address);

    QSizeF fullContentSize() const;
    QSizeF windowChrome() const;
    QSizeF maximumContentSize() const;
    QSizeF clampedContentSize(QSizeF size) const;
    QSizeF filledContentSize(QSizeF size) const;
    bool desktopImposes(QSizeF content) const;
    void keepWindow();
    void applyContentLimits(double contentHeight);
    void applyFrame(QRectF frame);
    void resizeContent(QSizeF size, QPointF topLeft);
    std::optional<QPointF> savedWindowPosition() const;
    QSizeF initialContentSize() const;
    void makeMachineDue();

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

    /// Of the size of the window's content.
    struct WindowLimits {
        QSizeF minimum;
        QSizeF maximum;
        bool operator==(const WindowLimits&) const = default;
    };

    Services services;
    UtilityFields published;
    bool changeAnnounced = false;

    std::int64_t generation = 0;
    bool stopped = false;
    bool sleeping = false;
    std::optional<NetworkPathStatus> previousNetworkState;

    std::int64_t failures = 0; ///< consecutive failed account refreshes
    DueTime nextAccountRefresh;
    DueTime nextTokenRefresh; ///< from then on an account refresh asks for token activity too
    DueTime nextHardwareRefresh;
    DueTime nextVolumeRefresh;
    bool hardwareBusy = false;
    bool volumesBusy = false;

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

    UtilityWindow* utilityWindow = nullptr;
    std::optional<WindowLimits> windowLimits; ///< that the window was given
    std::optional<bool> windowFloats;         ///< as the window was told
    std::optional<QRectF> resizeStartFrame;   ///< while the resize grip is being dragged
    QSizeF askedContent;                      ///< the size that was asked for last
    std::optional<QSizeF> disputedContent;    ///< the size instead of which another was asked for
    bool keepsSize = false;                   ///< the size that comes of it is the user's choice
    bool chosenMini = false;                  ///< the layout that is kept for the next start
    std::optional<bool> imposedMini;          ///< the user's layout for a size that is imposed

    QTimer ticker;
    const std::shared_ptr<HelperLauncher> launcher;
    std::shared_ptr<AccountService> accountService; ///< created on first use
    std::unique_ptr<SerialQueue> installationCheck; ///< until the check has answered
    TaskRelay relay; ///< last: what the services still bring is dropped first
};

} // namespace tallywick
