#include "codex/AccountAnswers.h"

#include "base/Sha256.h"
#include "base/WholeNumber.h"
#include "codex/ConnectionIssue.h"
#include "codex/HelperProtocol.h"

#include <QLatin1String>
#include <QString>
#include <QUrl>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace tallywick {

// Who it is

namespace {

std::optional<std::string> nonEmptyString(const Json& object, std::string_view name) {
    const std::string* text = stringMember(object, name);
    return text && !text->empty() ? std::optional(*text) : std::nullopt;
}

} // namespace

const Json& signedInAccount(const Json& result) {
    const Json* account = objectMember(result, "account");
    if (!account && boolMember(result, "requiresOpenaiAuth") != false)
        throw ConnectionIssue::signedOut;
    const std::string* type = account ? stringMember(*account, "type") : nullptr;
    if (!type || *type != managedAccount)
        throw ConnectionIssue::unsupportedAccount;
    return *account;
}

std::optional<std::string> accountIdentity(const Json& account, const Json& allowance) {
    std::optional<std::string> identity = nonEmptyString(allowance, "accountId");
    if (!identity) {
        identity = nonEmptyString(account, "email");
        if (!identity)
            return std::nullopt;
        identity = QString::fromStdString(*identity).toLower().toStdString();
    }
    if (const auto workspace = nonEmptyString(allowance, "workspaceId"))
        *identity += "|workspace:" + *workspace;
    return identity;
}

std::string accountHash(std::string_view identity) { return sha256Hex(identity); }

// The allowance

namespace {

constexpr std::int64_t weekInMinutes = 10'080;

/// The snapshot of the Codex limit among the result's limits, or null.
const Json* codexLimit(const Json& result) {
    if (const Json* limits = objectMember(result, "rateLimitsByLimitId"))
        return objectMember(*limits, "codex");
    const Json* limit = objectMember(result, "rateLimits");
    if (!limit)
        return nullptr;
    const std::string* limitId = stringMember(*limit, "limitId");
    return !limitId || *limitId == "codex" ? limit : nullptr;
}

/// A window of any length up to a week, the weekly one among them.
std::optional<ShorterWindow> windowFrom(const Json& window) {
    const auto minutes = integerValue(member(window, "windowDurationMins"));
    const auto used = integerValue(member(window, "usedPercent"));
    const auto reset = integerValue(member(window, "resetsAt"));
    if (!minutes || *minutes <= 0 || *minutes > weekInMinutes || !used || *used < 0 || *used > 100
        || !reset || !isPlausibleDate(static_cast<Timestamp>(*reset)))
        return std::nullopt;
    return ShorterWindow{.minutes = *minutes,
                         .used = static_cast<double>(*used),
                         .reset = static_cast<Timestamp>(*reset)};
}

} // namespace

std::optional<Quota> quotaFromRateLimits(const Json& result) {
    const Json* limit = codexLimit(result);
    if (!limit)
        return std::nullopt;
    std::optional<ShorterWindow> week;
    std::optional<ShorterWindow> shorter;
    for (const char* name : {"primary", "secondary"}) {
        const Json* object = objectMember(*limit, name);
        const auto window = object ? windowFrom(*object) : std::nullopt;
        if (!window)
            continue;
        auto& place = window->minutes == weekInMinutes ? week : shorter;
        if (!place)
            place = window;
    }
    if (!week)
        return std::nullopt;
    return Quota{.used = week->used, .reset = week->reset, .shorter = shorter};
}

std::string resetCountdown(Timestamp reset, Timestamp now) {
    constexpr double longest = 1e12; // seconds; more could overflow below
    constexpr std::int64_t minute = 60;
    constexpr std::int64_t hour = 60 * minute;
    constexpr std::int64_t day = 24 * hour;
    const auto seconds = static_cast<std::int64_t>(std::min(std::max(0.0, reset - now), longest));
    std::string text;
    if (seconds >= day)
        text += std::to_string(seconds / day) + "d  ";
    if (seconds >= hour)
        text += std::to_string(seconds % day / hour) + "h  ";
    return text + std::to_string(seconds % hour / minute) + "m";
}

// The token activity

namespace {

std::optional<std::int64_t> tokenCount(const Json* value) {
    const auto count = integerValue(value);
    return count && *count >= 0 ? count : std::nullopt;
}

/// Whether the text is a day of the Gregorian calendar from year 1 on, written "yyyy-MM-dd" with
/// ASCII digits and nothing else.
bool isCalendarDay(std::string_view text) {
    if (text.size() != 10 || text[4] != '-' || text[7] != '-')
        return false;
    const auto year = wholeNumber<unsigned>(text.substr(0, 4));
    const auto month = wholeNumber<unsigned>(text.substr(5, 2));
    const auto day = wholeNumber<unsigned>(text.substr(8, 2));
    return year && *year >= 1 && month && day
           && std::chrono::year_month_day(std::chrono::year(static_cast<int>(*year)),
                                          std::chrono::month(*month), std::chrono::day(*day))
                  .ok();
}

} // namespace

TokenActivity tokenActivityFromUsage(const Json& result) {
    TokenActivity activity;
    if (const Json* summary = objectMember(result, "summary"))
        activity.lifetime = tokenCount(member(*summary, "lifetimeTokens"));

    const Json* buckets = member(result, "dailyUsageBuckets");
    if (!buckets || !buckets->is_array()
        || !std::all_of(buckets->begin(), buckets->end(),
                        [](const Json& bucket) { return bucket.is_object(); }))
        return activity;
    for (const Json& bucket : *buckets) {
        const std::string* day = stringMember(bucket, "startDate");
        const auto tokens = tokenCount(member(bucket, "tokens"));
        if (!day || !isCalendarDay(*day) || !tokens)
            continue;
        // The order of the characters is the order of the days; of one day the first entry counts.
        if (!activity.latestDay || *day > *activity.latestDay) {
            activity.latestDay = *day;
            activity.latestTokens = tokens;
        }
    }
    return activity;
}

// The browser sign-in

namespace {

/// Longest sign-in address that is opened. Real ones take about 400 bytes.
constexpr std::size_t maximumSignInLinkBytes = 8192;

bool isSignInHost(std::string_view host) {
    const QLatin1String text(host.data(), static_cast<qsizetype>(host.size()));
    return text.compare(QLatin1String("auth.openai.com"), Qt::CaseInsensitive) == 0
           || text.compare(QLatin1String("chatgpt.com"), Qt::CaseInsensitive) == 0;
}

/// Printable ASCII, less what browsers take for something else ('\\') or what begins a fragment.
bool mayStandInLink(char c) { return c > ' ' && c <= '~' && c != '\\' && c != '#'; }

} // namespace

// The rules are about the text itself. QUrl alone would forgive too much: it lower-cases the scheme
// and drops an empty user, port or fragment.
std::optional<std::string> signInLink(std::string_view text) {
    constexpr std::string_view scheme = "https://";
    if (text.size() > maximumSignInLinkBytes || !text.starts_with(scheme)
        || !std::all_of(text.begin(), text.end(), mayStandInLink))
        return std::nullopt;

    // Nothing but the host may stand before the path: no user, no password, no port.
    const std::string_view afterScheme = text.substr(scheme.size());
    if (!isSignInHost(afterScheme.substr(0, afterScheme.find_first_of("/?"))))
        return std::nullopt;

    std::string link(text);
    if (!QUrl(QString::fromStdString(link), QUrl::StrictMode).isValid())
        return std::nullopt;
    return link;
}

std::optional<SignInStart> signInStart(const Json& result) {
    const std::string* id = stringMember(result, "loginId");
    const std::string* address = stringMember(result, "authUrl");
    auto link = address ? signInLink(*address) : std::nullopt;
    if (!isLoginId(id) || !link)
        return std::nullopt;
    return SignInStart{*id, std::move(*link)};
}

} // namespace tallywick
