#pragma once

#include "base/Time.h"
#include "codex/AccountAnswers.h"
#include "codex/ConnectionIssue.h"
#include "history/Pace.h"
#include "state/UtilityFields.h"

#include <optional>
#include <string>

namespace tallywick {

/// One reading of the account, without anything that tells whose it is.
struct Report {
    std::optional<Quota> quota;
    TokenActivity tokens;
    Timestamp observedAt = 0;
    std::optional<Pace> pace;
    std::optional<std::string> helperLocation; ///< masked; only when it was asked for
};

/// A line a value, aligned, each with a line feed. Times are those of the local time zone.
std::string reportText(const Report& report);

/// One JSON object and a line feed. "schema" is 1 as long as the names and meanings of the members
/// stay; what is not known is null; times are whole seconds since 1970-01-01 00:00:00 UTC.
std::string reportJson(const Report& report);

/// What a failed poll tells: the issue's sentence and, when it was asked for, where the helper
/// lies.
std::string failureText(ConnectionIssue issue, const std::optional<std::string>& helperLocation);

/// What a watch tells on one line: the badge, the status line, and the reading as far as there is
/// one. It changes exactly when one of these does, and not with the time alone.
std::string watchLine(const UtilityFields& fields);

/// The same as one JSON object, without a line feed: "badge" and "status", and members that a
/// report has too. "schema" as there.
std::string watchJson(const UtilityFields& fields);

} // namespace tallywick
