#pragma once

#include "base/Time.h"
#include "codex/ConnectionIssue.h"

#include <optional>
#include <string>
#include <string_view>

namespace tallywick {

/// How the connection stands and how fresh the reading on show is: what the status line tells. A
/// value; its text and its badge are made where they are shown.
class Status {
  public:
    enum class Kind {
        findingCodex,
        codexNotFound,
        live,             ///< the reading on show is the newest there can be
        withoutAllowance, ///< the account was read and reports no weekly allowance
        stale,            ///< the reading on show has grown old, or a later one has failed
        retrying,         ///< a reading is on show while the account is read anew
        failed,           ///< there is no reading, or a sign-in could not begin
        reloading,        ///< there is no reading yet
        preparingSignIn,
        waitingForSignIn,
        signInCancelled
    };

    /// For any kind that needs no more than its name.
    Status(Kind named = Kind::findingCodex) : kind(named) {}
    static Status live(Timestamp observedAt);
    /// `issue` is what the last refresh failed with, if it did.
    static Status stale(Timestamp observedAt, std::optional<ConnectionIssue> issue = std::nullopt);
    static Status failed(ConnectionIssue issue);

    bool isLive() const { return kind == Kind::live; }
    /// Whether it speaks of a reading that is there.
    bool describesReading() const;
    /// Whether it calls a reading live that is too old for that: more than 120 seconds. One that
    /// lies in the future, after the clock was set back, is of unknown age and counts as old too; 5
    /// seconds are allowed for a clock that is being adjusted.
    bool isOverdue(Timestamp now) const;

    /// The status line; its times are written as the default locale writes them.
    std::string text() const;
    /// One word for it: "LIVE", "STALE", "CONNECTING" or "STATUS".
    std::string_view badge(bool loginPending) const;

    bool operator==(const Status&) const = default;

  private:
    Kind kind;
    Timestamp readAt = 0;                 ///< when the reading on show was observed
    std::optional<ConnectionIssue> issue; ///< of the last refresh, when it failed
};

} // namespace tallywick
