#pragma once

#include <exception>
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

} // namespace tallywick
