#pragma once

#include "sample-helper/SampleAccount.h"

#include <span>
#include <string_view>

namespace tallywick::sample {

/// One way for a helper to behave. The defaults are a helper without any fault, signed in.
struct Scenario {
    /// Whose session the helper holds at its start.
    enum class Session { managed, none, apiKey, otherClient };

    /// The allowances that the account has.
    enum class Windows { week, fiveHoursAndWeek, fiveHours, withoutNumbers };

    /// How reading from the usage service goes.
    enum class Service {
        works,
        expiresAfterReading, ///< 401 from the second allowance on, until a new helper is started
        wantsTokenRefresh,   ///< 401 until the account is read with "refreshToken" true
        throttles,           ///< 429
        forbids,             ///< 403
        unreachable,         ///< the account cannot be read either
        isOutOfOrder,        ///< 500, every other `outageTurn`
        answersWithPage,     ///< an error that quotes an e-mail address and a long page
        hangs,               ///< the allowance is never answered
        crashes              ///< the helper dies while it answers the allowance
    };

    /// What becomes of a browser sign-in.
    enum class SignIn { staysOpen, completes, fails };

    std::string_view name;
    std::string_view summary; ///< one line for people
    Session session = Session::managed;
    Windows windows = Windows::week;
    Service service = Service::works;
    SignIn signIn = SignIn::staysOpen;
    std::string_view missingMethod = {}; ///< a method that this helper is too old to know
    std::string_view workspaceId = {};
    bool slow = false;
    bool checksAccount = true;    ///< and reports it, as helpers from 0.13x on do
    bool switchesAccount = false; ///< every `accountTurn`
    bool usedUp = false;
    bool longHistory = false; ///< ten years of days
};

/// How long each of the two accounts of a switching helper stays.
inline constexpr Second accountTurn = 180;

/// How long a service that is out of order by turns works, and how long it does not.
inline constexpr Second outageTurn = 90;

/// All scenarios, the default first.
std::span<const Scenario> scenarios();

/// The scenario of that name, or null.
const Scenario* findScenario(std::string_view name);

/// The account that is signed in at that time. Which of two it is depends on the time alone, so
/// that it outlives the helper.
SampleAccount accountAt(const Scenario& scenario, Second now);

} // namespace tallywick::sample
