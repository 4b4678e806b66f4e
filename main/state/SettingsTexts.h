#pragma once

#include "platform/files/FileAccess.h"

#include <optional>
#include <string>
#include <string_view>

/// The sentences that Settings and the cards show: results of the user's actions, where the helper
/// lies, how far the token activity is to be trusted, how the program is installed. All texts are
/// UTF-8.
namespace tallywick {

/// Values of the label of the token activity.
namespace TokenStatusText {
inline constexpr std::string_view notYetReported = "NOT YET REPORTED";
inline constexpr std::string_view reported = "ACCOUNT-REPORTED ACTIVITY";
inline constexpr std::string_view notReported = "NOT REPORTED";
inline constexpr std::string_view stale = "ACTIVITY STALE";
inline constexpr std::string_view unavailable = "ACTIVITY UNAVAILABLE";
} // namespace TokenStatusText

/// Where the helper lies, while there is no path to show.
namespace HelperPathText {
inline constexpr std::string_view notYetChecked = "Codex has not yet been checked";
inline constexpr std::string_view notFound = "Codex was not found";
} // namespace HelperPathText

/// Results of the user's actions, shown in Settings, and what is to be told there at first.
namespace SettingsText {
inline constexpr std::string_view preparingSignIn = "Preparing your requested browser sign-in…";
inline constexpr std::string_view waitingForSignIn =
    "Complete sign-in in your browser (up to 10 minutes).";
inline constexpr std::string_view noPlaceToKeep =
    "Readings and preferences are not kept: there is no home folder.";
inline constexpr std::string_view keptBehindLink =
    "Readings or preferences are not kept: their folder is reached through a symbolic link.";
inline constexpr std::string_view keptByAnother =
    "Readings or preferences are not kept: their folder belongs to another user.";
inline constexpr std::string_view signInTimedOut = "Browser sign-in timed out. You can try again.";
inline constexpr std::string_view signInCompleted = "Sign-in completed. Reading usage…";
inline constexpr std::string_view signInFailed = "Sign-in did not complete. You can retry.";
inline constexpr std::string_view browserFailed =
    "The browser could not open. Sign in through Codex, then retry.";
inline constexpr std::string_view detailsCopied =
    "Safe connection details copied. No account identity, usage readings, or credentials are "
    "included.";
inline constexpr std::string_view volumeGone =
    "That volume is no longer mounted. The volume list has been refreshed.";
inline constexpr std::string_view folderFailed = "The file browser could not open.";
inline constexpr std::string_view pageFailed = "The page could not be opened.";
inline constexpr std::string_view noHelperThere =
    "That selection does not contain an executable Codex helper.";
inline constexpr std::string_view checkingHelper = "Checking the selected helper's protocol…";
inline constexpr std::string_view helperRefused =
    "That helper did not complete initialization. Your previous selection is unchanged.";
inline constexpr std::string_view helperSelected = "Validated Codex helper selected.";
inline constexpr std::string_view automaticDiscovery = "Automatic Codex discovery is active.";
inline constexpr std::string_view notFoundAutomatically = "Codex was not found automatically.";
} // namespace SettingsText

std::string_view storageNotice(StorageObstacle obstacle);

/// The label for token activity that has arrived.
std::string_view tokenStatusReceived(bool hasLifetime);
/// The label after a failure, for the activity that is kept.
std::string_view tokenStatusFailed(bool hasLifetime);

/// The line under the version in Settings. `verified` is absent as long as the check runs.
std::string installationLabel(bool isPreview, bool isInstalled, std::optional<bool> verified);

} // namespace tallywick
