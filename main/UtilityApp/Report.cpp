#include "UtilityApp/Report.h"

#include "base/Json.h"
#include "state/NumberTexts.h"

#include <QString>

#include <algorithm>
#include <cmath>
#include <string_view>

namespace tallywick {

namespace {

constexpr int reportSchema = 1;
constexpr std::string_view absent = "—";

std::string line(std::string_view name, std::string_view value) {
    constexpr std::size_t column = 17;
    std::string text(name);
    text.resize(std::max(text.size() + 1, column), ' ');
    return text.append(value) + '\n';
}

std::string paceLines(const std::optional<Pace>& pace) {
    return pace ? line("PACE", paceText(*pace)) + line("LASTS UNTIL", lastsUntilText(*pace))
                : std::string();
}

std::string windowLine(const std::optional<Quota>& quota) {
    if (!quota || !quota->shorter)
        return {};
    const QString name = QString::fromStdString(windowName(*quota->shorter));
    return line(name.toUpper().toStdString(), windowText(*quota->shorter));
}

std::string helperLine(const std::optional<std::string>& location) {
    return location ? line("HELPER", *location) : std::string();
}

template <typename Value>
Json orNull(const std::optional<Value>& value) {
    return value ? Json(*value) : Json(nullptr);
}

std::int64_t wholeSeconds(Timestamp time) { return static_cast<std::int64_t>(std::floor(time)); }

Json windowJson(const std::optional<ShorterWindow>& window) {
    if (!window)
        return nullptr;
    return {{"minutes", window->minutes},
            {"usedPercent", static_cast<std::int64_t>(window->used)}, // a whole number
            {"resetsAt", wholeSeconds(window->reset)}};
}

void addPace(Json& object, const Pace& pace) {
    constexpr double tenths = 10;
    object["percentOverEvenPace"] = std::round(pace.ahead * tenths) / tenths;
    if (pace.lastsUntil)
        object["lastsUntil"] = wholeSeconds(*pace.lastsUntil);
}

/// What a reading tells, whenever it is told.
Json readingJson(const std::optional<Quota>& quota, const TokenActivity& tokens) {
    Json object{{"schema", reportSchema},
                {"usedPercent", nullptr},
                {"remainingPercent", nullptr},
                {"resetsAt", nullptr},
                {"shorterWindow", windowJson(quota ? quota->shorter : std::nullopt)},
                {"lifetimeTokens", orNull(tokens.lifetime)},
                {"latestDay", orNull(tokens.latestDay)},
                {"latestDayTokens", orNull(tokens.latestTokens)}};
    if (quota) {
        const auto used = static_cast<std::int64_t>(quota->used); // a whole number
        object["usedPercent"] = used;
        object["remainingPercent"] = 100 - used;
        object["resetsAt"] = wholeSeconds(quota->reset);
    }
    return object;
}

} // namespace

std::string reportText(const Report& report) {
    const auto& [quota, tokens, observedAt, pace, helperLocation] = report;
    const std::string latestDay =
        tokens.latestDay ? *tokens.latestDay + " · " + compactTokenCount(tokens.latestTokens)
                         : std::string(absent);
    return line("WEEKLY USAGE", weeklyUsageText(quota)) + line("REMAINING", remainingText(quota))
           + line("RESETS", quota ? localDateTime(quota->reset) : absent)
           + line("RESET IN", quota ? resetCountdown(quota->reset, observedAt) : absent)
           + paceLines(pace) + windowLine(quota)
           + line("LIFETIME TOKENS", compactTokenCount(tokens.lifetime))
           + line("LATEST DAY", latestDay) + helperLine(helperLocation);
}

std::string reportJson(const Report& report) {
    const auto& [quota, tokens, observedAt, pace, helperLocation] = report;
    Json object = readingJson(quota, tokens);
    object["observedAt"] = wholeSeconds(observedAt);
    for (const char* unknown : {"secondsUntilReset", "percentOverEvenPace", "lastsUntil"})
        object[unknown] = nullptr;
    object["helperLocation"] = orNull(helperLocation);
    if (quota)
        object["secondsUntilReset"] =
            std::max<std::int64_t>(wholeSeconds(quota->reset - observedAt), 0);
    if (pace)
        addPace(object, *pace);
    return writeJson(object) + '\n';
}

std::string failureText(ConnectionIssue issue, const std::optional<std::string>& helperLocation) {
    return std::string(sentence(issue)) + '\n' + helperLine(helperLocation);
}

std::string watchLine(const UtilityFields& fields) {
    const auto& quota = fields.quota;
    const TokenActivity& tokens = fields.tokens;
    std::string line = "[";
    line.append(fields.status.badge(fields.loginPending)).append("] ").append(fields.status.text());
    if (quota)
        line += " | " + weeklyUsageText(quota) + ", " + remainingText(quota) + " | resets "
                + localDateTime(quota->reset);
    if (const std::string window = shorterWindowSentence(quota, distantPast); !window.empty())
        line += " | " + window;
    if (tokens.lifetime)
        line += " | " + compactTokenCount(tokens.lifetime) + " lifetime tokens";
    if (tokens.latestDay)
        line += " | " + compactTokenCount(tokens.latestTokens) + " on " + *tokens.latestDay;
    return line;
}

std::string watchJson(const UtilityFields& fields) {
    Json object = readingJson(fields.quota, fields.tokens);
    object["badge"] = fields.status.badge(fields.loginPending);
    object["status"] = fields.status.text();
    return writeJson(object);
}

} // namespace tallywick
