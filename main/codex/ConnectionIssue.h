#pragma once

#include "base/Mutex.h"
#include "base/Time.h"

#include <cstdint>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace tallywick {

/// What can be wrong with the Codex connection. Every failure of the helper, its transport or the
/// account becomes one of these before anybody sees it; inside the account service they are thrown
/// as they are.
enum class ConnectionIssue {
    missingHelper,
    incompatible,
    signedOut,
    authentication,
    externalSession, ///< the session is kept fresh by another Codex client
    unsupportedAccount,
    forbidden,
    throttled,
    offline,
    timeout,
    stopped, ///< the helper ended, or the account changed while it was read
    invalidResponse
};

/// What the user reads. Fixed for each case: no text of a helper enters it.
std::string_view sentence(ConnectionIssue issue);

/// The name of the case, which the connection details show.
std::string_view rawValue(ConnectionIssue issue);

/// The issue behind a caught exception (not null): a `ConnectionIssue` is itself, a `BridgeFailure`
/// is judged by its kind, code and message, and whatever else was thrown means `stopped`.
ConnectionIssue classify(const std::exception_ptr& error);

/// The gate that lets an expired session be recovered at most once every five minutes. Any thread.
class RecoveryPolicy {
  public:
    static constexpr double cooldown = 300; ///< seconds

    /// Whether a recovery may run now; a yes is recorded as the last attempt.
    ///
    /// The attempt holds the gate for `cooldown` seconds on both sides of its time: where the clock
    /// was set back by more than that, the attempt lies in a future that need not be waited for.
    bool claim(Timestamp now) EXCLUDES(mutex);

  private:
    Mutex mutex;
    std::optional<Timestamp> lastAttempt GUARDED_BY(mutex);
};

/// Seconds to wait after the given number of consecutive failures: 15, doubled with each further
/// failure, at most 300.
double retryDelay(std::int64_t failures);

/// What a user may show to others when the connection does not work: nothing in it tells who is
/// signed in, how much is used, any credential, or a path of the user's.
struct ConnectionDetails {
    std::string helperVersion = "not yet identified";
    std::string location = "not found";  ///< masked
    std::string stage = "discovery";     ///< the last step that was reached
    std::string category = "connecting"; ///< how it stands; an issue's raw value when it failed
    std::string authMode = "not reported";
    std::string recovery = "not needed";      ///< of an expired session
    std::string tokens = "not yet requested"; ///< outcome of reading the token activity

    bool operator==(const ConnectionDetails&) const = default;

    /// Eight lines for the clipboard, no line feed at the end. `appVersion` is the application's
    /// short version; "test" stands for one that is not known.
    std::string copyText(const std::optional<std::string>& appVersion) const;
};

/// Where a helper lies, told without its path.
std::string maskedLocation(const std::filesystem::path& executable,
                           const std::filesystem::path& homeFolder);

} // namespace tallywick
