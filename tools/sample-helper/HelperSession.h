#pragma once

#include "base/Json.h"
#include "base/Time.h"
#include "sample-helper/EventLoop.h"
#include "sample-helper/Scenario.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tallywick::sample {

/// What one helper process knows and says: takes the client's lines and answers them through the
/// loop, each after the time that a real helper takes. Whoever owns it destroys it after the loop
/// has run; the scenario lives longer.
class HelperSession {
  public:
    using Delay = std::chrono::microseconds;

    /// What the check takes where the service is near.
    static constexpr Delay usualAccountCheck{1500};

    /// `accountCheck` is the time from the answer to "initialize" until the service has answered
    /// the helper's own check of the account.
    HelperSession(const Scenario& scenario, Clock clock, Delay accountCheck, EventLoop& loop);
    HelperSession(const HelperSession&) = delete;
    HelperSession& operator=(const HelperSession&) = delete;

    /// One line of the client. What is no message is ignored.
    void receive(std::string_view line);

  private:
    using SteadyClock = std::chrono::steady_clock;

    struct RpcError {
        int code;
        std::string message;
    };

    struct Method;

    /// The methods.
    void initialize(const Json& id, const Json& params);
    void readAccount(const Json& id, const Json& params);
    void readRateLimits(const Json& id, const Json& params);
    void readUsage(const Json& id, const Json& params);
    void startLogin(const Json& id, const Json& params);
    void cancelLogin(const Json& id, const Json& params);

    void receiveRequest(const std::string& method, const Json& id, const Json& params);
    void receiveReply(const Json& message);
    void requestTokens(const Json& waitingId);
    std::optional<RpcError> refusal() const;
    Delay readingDelay(Delay usual) const;
    Delay accountDelay() const;

    void checkAccount();
    void announceAccount();
    void scheduleAccountSwitch();
    void closeLogin(bool success);

    void answer(const Json& id, Delay delay, std::function<Json()> result);
    void refuse(const Json& id, Delay delay, RpcError error);
    void notify(std::string_view method, Json params);
    void send(const Json& message);

    Second now() const { return static_cast<Second>(clock()); }

    const Scenario& scenario;
    const Clock clock;
    const Delay accountCheck;
    EventLoop& loop;

    bool initialized = false;
    SteadyClock::time_point checkEnds; ///< of the check of the account, if there is one
    Scenario::Session session;         ///< changes with a sign-in
    Second accountSeen;                ///< when `account` was looked up
    SampleAccount account;             ///< whose session it is, if anybody's
    bool tokensRefreshed = false;
    int allowancesRead = 0;
    int loginsStarted = 0;
    std::optional<std::string> openLogin; ///< the identifier of the sign-in in progress
    std::optional<Json> waitingForTokens; ///< the request that waits for the client's tokens
};

} // namespace tallywick::sample
