#include "sample-helper/Scenario.h"

#include <algorithm>

namespace tallywick::sample {

namespace {

using Session = Scenario::Session;
using Windows = Scenario::Windows;
using Service = Scenario::Service;
using SignIn = Scenario::SignIn;

constexpr Second tenYears = Second{3652} * 24 * 3600;

constexpr Scenario all[] = {
    {.name = "default", .summary = "signed in; the week is the primary allowance"},
    {.name = "week-as-secondary",
     .summary = "a five-hour allowance stands before the week",
     .windows = Windows::fiveHoursAndWeek},
    {.name = "no-weekly-window",
     .summary = "only a five-hour allowance",
     .windows = Windows::fiveHours},
    {.name = "null-numbers",
     .summary = "allowances whose every number is null",
     .windows = Windows::withoutNumbers},
    {.name = "used-up", .summary = "nothing is left of the week", .usedUp = true},
    {.name = "long-history", .summary = "ten years of daily tokens", .longHistory = true},
    {.name = "workspace",
     .summary = "the account belongs to a workspace",
     .workspaceId = "sample-workspace-0001"},
    {.name = "account-switch",
     .summary = "another account every three minutes",
     .switchesAccount = true},
    {.name = "signed-out", .summary = "nobody is signed in", .session = Session::none},
    {.name = "sign-in-completes",
     .summary = "signed out; a browser sign-in completes by itself after three seconds",
     .session = Session::none,
     .signIn = SignIn::completes},
    {.name = "sign-in-fails",
     .summary = "signed out; a browser sign-in fails after three seconds",
     .session = Session::none,
     .signIn = SignIn::fails},
    {.name = "expired-session",
     .summary = "401 after the first allowance, until the helper is started anew",
     .service = Service::expiresAfterReading},
    {.name = "needs-token-refresh",
     .summary = "401 until the account is read with a token refresh",
     .service = Service::wantsTokenRefresh},
    {.name = "external-session",
     .summary = "another client owns the session; the helper asks for its tokens",
     .session = Session::otherClient},
    {.name = "api-key",
     .summary = "signed in with an API key, which has no weekly allowance",
     .session = Session::apiKey},
    {.name = "throttled", .summary = "429 from the usage service", .service = Service::throttles},
    {.name = "forbidden", .summary = "403 from the usage service", .service = Service::forbids},
    {.name = "offline",
     .summary = "the usage service cannot be reached",
     .service = Service::unreachable},
    {.name = "outages",
     .summary = "500 from the usage service, for a minute and a half of three",
     .service = Service::isOutOfOrder},
    {.name = "long-errors",
     .summary = "errors that quote an e-mail address and 200 kB of HTML",
     .service = Service::answersWithPage},
    {.name = "old-helper",
     .summary = "does not know account/usage/read, and makes no report of its account",
     .missingMethod = "account/usage/read",
     .checksAccount = false},
    {.name = "incompatible",
     .summary = "does not know account/read",
     .missingMethod = "account/read"},
    {.name = "slow", .summary = "every reading takes some seconds", .slow = true},
    {.name = "hanging",
     .summary = "never answers account/rateLimits/read",
     .service = Service::hangs},
    {.name = "crash",
     .summary = "dies in the middle of its answer to account/rateLimits/read",
     .service = Service::crashes},
};

} // namespace

std::span<const Scenario> scenarios() { return all; }

const Scenario* findScenario(std::string_view name) {
    const auto* const found = std::ranges::find(all, name, &Scenario::name);
    return found == std::end(all) ? nullptr : found;
}

SampleAccount accountAt(const Scenario& scenario, Second now) {
    const bool second = scenario.switchesAccount && now / accountTurn % 2 == 1;
    SampleAccount account = second ? secondSampleAccount() : firstSampleAccount();
    if (scenario.usedUp)
        account.weeklyAllowance = 1;
    if (scenario.longHistory)
        account.opened -= tenYears;
    return account;
}

} // namespace tallywick::sample
