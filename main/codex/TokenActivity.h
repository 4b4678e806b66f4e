#pragma once

#include "base/Json.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tallywick {

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

/// Whether the text is a day of the Gregorian calendar from year 1 on, written "yyyy-MM-dd" with
/// ASCII digits and nothing else.
bool isCalendarDay(std::string_view text);

/// The count for display: "1.5K", "123.5M", "2.5B", below a thousand all its digits, "—" when
/// absent. The decimal point is a full stop in every locale.
std::string compactTokenCount(std::optional<std::int64_t> count);

} // namespace tallywick
