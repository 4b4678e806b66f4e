#pragma once

#include "base/Time.h"
#include "codex/AccountAnswers.h"
#include "codex/ConnectionIssue.h"
#include "hardware/HardwareSnapshot.h"
#include "history/HistoryGraphModel.h"
#include "history/Pace.h"
#include "state/SettingsTexts.h"
#include "state/Status.h"
#include "update/UpdateFields.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace tallywick {

/// What the user interface shows: the published fields of `UtilityState`. All texts are UTF-8.
struct UtilityFields {
    std::optional<Quota> quota; ///< the current account's last reading
    std::optional<Pace> pace;   ///< of that reading, as it was observed
    TokenActivity tokens;
    Status status;
    std::vector<VolumeInfo> volumes;
    std::optional<double> cpuPercent;
    std::optional<double> memoryPercent;
    std::size_t historyCount = 0; ///< readings of the current account that are kept
    HistoryGraph week;            ///< those of the current allowance week
    bool mini = false;            ///< the mini layout, else the full one
    /// The desktop decides the window's size: it shows the layout of `mini`, whatever its height.
    bool sizeIsImposed = false;
    bool light = false;        ///< the day theme, else the night theme
    bool pinned = false;       ///< always on top, where the desktop lets a window be that
    bool canBePlaced = true;   ///< the desktop lets the window choose its place and stay on top
    bool tellsOfUsage = false; ///< by notices of the desktop
    bool showingSettings = false;
    std::string settingsStatus; ///< result of the user's last action
    bool showingInstaller = false;
    bool createShortcutOnInstall = true;
    bool offersInstallation = false; ///< of this copy, which is not the installed one
    bool isManaged = false;          ///< this copy is looked after by the system's package manager
    bool installing = false;         ///< an installation or a removal runs
    bool offersSessionStart = false; ///< this copy can be started with the user's session
    /// The session starts this copy; absent as long as that is unknown.
    std::optional<bool> startsWithSession;
    Timestamp now = 0; ///< the clock of all countdowns and ages; each tick advances it
    ConnectionDetails connectionDetails;
    bool loginPending = false;     ///< a browser sign-in is in progress
    bool validatingHelper = false; ///< a newly chosen helper is being checked
    std::string tokenStatus{TokenStatusText::notYetReported};
    bool accountBusy = false;                 ///< an account refresh is in flight
    std::optional<bool> installationVerified; ///< absent until the check has answered
    std::string displayedHelperPath{HelperPathText::notYetChecked};
    bool maintenance = false; ///< nothing is refreshed, because of one
    UpdateFields updates;
};

/// Whether the account actions of Settings have to wait.
inline bool accountActionsBusy(const UtilityFields& fields) {
    return fields.accountBusy || fields.validatingHelper || fields.loginPending
           || fields.maintenance;
}

} // namespace tallywick
