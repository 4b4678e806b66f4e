#pragma once

#include "base/Json.h"
#include "base/Time.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tallywick {

/// The account in the result of "account/read". Throws a `ConnectionIssue` when nobody is signed
/// in, or with something that has no weekly allowance.
const Json& signedInAccount(const Json& result);

/// What tells one account from another, in clear: the account id of the allowance result, else the
/// account's e-mail address in lower case; with the workspace when there is one. Absent when the
/// helper reports neither. Only its hash is kept.
std::optional<std::string> accountIdentity(const Json& account, const Json& allowance);

/// The only form in which an identity is kept or compared: the SHA-256 of its UTF-8 bytes as 64
/// lower-case hexadecimal digits.
std::string accountHash(std::string_view identity);

/// A window of the Codex limit that is shorter than a week.
struct ShorterWindow {
    std::int64_t minutes = 0; ///< how long it is
    double used = 0;          ///< percentage used; a whole number from 0 to 100
    Timestamp reset = 0;

    bool operator==(const ShorterWindow&) const = default;
};

/// The weekly allowance of the Codex limit.
struct Quota {
    double used = 0;     ///< percentage used; a whole number from 0 to 100
    Timestamp reset = 0; ///< when the allowance resets
    /// The other window that was reported with it, if there is one.
    std::optional<ShorterWindow> shorter = std::nullopt;

    bool operator==(const Quota&) const = default;
};

/// Reads the result of "account/rateLimits/read". Absent when it reports no seven-day window of the
/// Codex limit whose every number is an integer in its range; nothing is rounded or clamped. The
/// windows are told apart by their durations, wherever they stand; another that is malformed counts
/// as none.
std::optional<Quota> quotaFromRateLimits(const Json& result);

/// The time left until the reset in days, hours and minutes, "2d  5h  13m"; "0m" when it has
/// passed.
std::string resetCountdown(Timestamp reset, Timestamp now);

/// How many tokens the account has used, as far as its provider reports it. Counts are never
/// negative; the two fields of the latest day are both there or both absent.
struct TokenActivity {
    std::optional<std::int64_t> lifetime;
    std::optional<std::string> latestDay; ///< the most recent day reported, "yyyy-MM-dd"
    std::optional<std::int64_t> latestTokens;

    bool operator==(const TokenActivity&) const = default;
};

/// Reads the result of "account/usage/read". Never fails: what is missing or malformed is absent,
/// and a malformed day is skipped. When any entry of the daily list is no object, the whole list
/// is rejected.
TokenActivity tokenActivityFromUsage(const Json& result);

/// The text, unchanged, when it is an address that may be opened in the browser for a sign-in: a
/// valid ASCII URL (RFC 3986) of at most 8,192 bytes that begins with "https://" and one of the
/// account provider's two sign-in hosts, without user, password, port or fragment, not even an
/// empty one.
std::optional<std::string> signInLink(std::string_view text);

/// A browser sign-in that a helper has begun.
struct SignInStart {
    std::string id;   ///< by which the helper reports its end
    std::string link; ///< that is opened in the browser; `signInLink` has checked it
};

/// Reads the result of "account/login/start". Absent when it cannot be trusted.
std::optional<SignInStart> signInStart(const Json& result);

} // namespace tallywick
