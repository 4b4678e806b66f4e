#include "sample-helper/Answers.h"

#include <algorithm>

namespace tallywick::sample {

namespace {

Json windowJson(const AllowanceWindow& window) {
    return {{"usedPercent", window.usedPercent},
            {"windowDurationMins", window.minutes},
            {"resetsAt", window.resetsAt}};
}

Json emptyWindowJson() {
    return {{"usedPercent", nullptr}, {"windowDurationMins", nullptr}, {"resetsAt", nullptr}};
}

/// One limit; the members "primary" and "secondary" are for the caller to fill.
Json limitJson(std::string_view limitId, const SampleAccount& account) {
    return {{"limitId", limitId},
            {"limitName", nullptr},
            {"planType", account.planType},
            {"credits", {{"hasCredits", false}, {"unlimited", false}, {"balance", nullptr}}},
            {"primary", nullptr},
            {"secondary", nullptr}};
}

Json codexLimitJson(const SampleAccount& account, Scenario::Windows windows, Second now) {
    using enum Scenario::Windows;
    Json limit = limitJson("codex", account);
    switch (windows) {
    case week:
        limit["primary"] = windowJson(weeklyWindow(account, now));
        break;
    case fiveHoursAndWeek:
        limit["primary"] = windowJson(fiveHourWindow(account, now));
        limit["secondary"] = windowJson(weeklyWindow(account, now));
        break;
    case fiveHours:
        limit["primary"] = windowJson(fiveHourWindow(account, now));
        break;
    case withoutNumbers:
        limit["primary"] = emptyWindowJson();
        limit["secondary"] = emptyWindowJson();
        break;
    }
    return limit;
}

/// A limit that is not the one of Codex, with a week of its own: nobody should show this one.
Json otherLimitJson(std::string_view limitId, const SampleAccount& account, Second now) {
    AllowanceWindow week = weeklyWindow(account, now);
    week.usedPercent = 100 - week.usedPercent;
    Json limit = limitJson(limitId, account);
    limit["primary"] = windowJson(week);
    return limit;
}

} // namespace

Json accountResult(const SampleAccount* account) {
    Json result = {{"account", nullptr}, {"userId", nullptr}, {"requiresOpenaiAuth", true}};
    if (account) {
        result["account"] = {
            {"type", "chatgpt"}, {"email", account->email}, {"planType", account->planType}};
        result["userId"] = "user-of-" + account->accountId;
    }
    return result;
}

Json apiKeyResult() {
    return {{"account", {{"type", "apiKey"}}}, {"userId", nullptr}, {"requiresOpenaiAuth", true}};
}

Json rateLimitsResult(const SampleAccount& account, const Scenario& scenario, Second now) {
    const Json codex = codexLimitJson(account, scenario.windows, now);
    Json result = {{"accountId", account.accountId},
                   {"rateLimits", codex},
                   {"rateLimitsByLimitId",
                    {{"a_sample_limit", otherLimitJson("a_sample_limit", account, now)},
                     {"codex", codex},
                     {"codex_sample", otherLimitJson("codex_sample", account, now)}}}};
    if (!scenario.workspaceId.empty())
        result["workspaceId"] = scenario.workspaceId;
    return result;
}

Json usageResult(const SampleAccount& account, Second now) {
    Json buckets = Json::array();
    std::int64_t lifetime = 0;
    std::int64_t peak = 0;
    for (const DailyTokens& day : dailyTokens(account, now)) {
        buckets.push_back({{"startDate", day.day}, {"tokens", day.tokens}});
        lifetime += day.tokens;
        peak = std::max(peak, day.tokens);
    }
    return {{"summary", {{"lifetimeTokens", lifetime}, {"peakDailyTokens", peak}}},
            {"dailyUsageBuckets", std::move(buckets)}};
}

} // namespace tallywick::sample
