#include "sample-helper/HelperSession.h"

#include "sample-helper/Answers.h"

#include <algorithm>
#include <array>
#include <iostream>
#include <utility>

namespace tallywick::sample {

namespace {

using namespace std::chrono_literals;

// What a real helper takes.
constexpr auto initializeDelay = 60ms;
constexpr auto knownAccountDelay = 5ms;
constexpr auto checkedAccountDelay = 100us; ///< after the check for which it has waited
constexpr auto allowanceDelay = 90ms;
constexpr auto usageDelay = 140ms;
constexpr auto loginDelay = 40ms;
constexpr auto slowness = 5s; ///< more for each reading of a slow helper
constexpr auto signInDelay = 3s;

// Error codes of JSON-RPC 2.0.
constexpr int invalidRequest = -32600;
constexpr int methodNotFound = -32601;
constexpr int internalError = -32603;

constexpr int exitStatusOfCrash = 101;

/// The identifier of the request for tokens: one that the client uses for its own, too.
constexpr int tokensRequestId = 1;

constexpr std::string_view helperVersion = "0.169.0";

std::string_view authMode(Scenario::Session session) {
    using enum Scenario::Session;
    switch (session) {
    case managed:
        return "chatgpt";
    case apiKey:
        return "apikey";
    case otherClient:
        return "chatgptAuthTokens";
    case none:
        break;
    }
    return {};
}

/// One line of some kilobytes that lists the methods of a helper, as the real one does when it is
/// asked for another.
std::string unknownMethodMessage() {
    static constexpr std::array areas = {"agent",    "approval", "archive", "command", "config",
                                         "editor",   "files",    "history", "memory",  "model",
                                         "notice",   "plugin",   "review",  "search",  "session",
                                         "settings", "thread",   "window"};
    static constexpr std::array actions = {"cancel", "compact", "create", "describe", "export",
                                           "fork",   "import",  "list",   "open",     "read",
                                           "rename", "resume",  "start",  "stop",     "write"};
    std::string message = "Invalid request: this method is unknown; expected one of";
    for (const char* area : areas)
        for (const char* action : actions)
            message.append(" `").append(area).append("/").append(action).append("`,");
    message.back() = '.';
    return message;
}

/// What a gateway's page looks like inside an error message.
std::string pageMessage(const SampleAccount& account) {
    constexpr std::size_t pageSize = 200'000;
    std::string message = "unexpected status 502 Bad Gateway for " + account.email
                          + ", url: https://service.example.invalid/usage, body: <html><body>";
    while (message.size() < pageSize)
        message += "<p>The gateway takes a rest. Please come back in a moment.</p>";
    return message + "</body></html>";
}

/// An address as a real helper makes it: on the authentication host, to come back to the helper.
std::string signInAddress(const std::string& loginId) {
    return "https://auth.openai.com/oauth/authorize?response_type=code&client_id=sample-client"
           "&redirect_uri=http%3A%2F%2Flocalhost%3A1455%2Fauth%2Fcallback"
           "&scope=openid%20profile%20email&code_challenge_method=S256&state="
           + loginId;
}

void log(std::string_view text) {
    std::cerr << "\x1b[2mcodex\x1b[0m \x1b[32mINFO\x1b[0m " << text << '\n';
}

} // namespace

struct HelperSession::Method {
    std::string_view name;
    void (HelperSession::*run)(const Json& id, const Json& params);
};

HelperSession::HelperSession(const Scenario& theScenario, Clock theClock, Delay theAccountCheck,
                             EventLoop& theLoop)
    : scenario(theScenario), clock(std::move(theClock)), accountCheck(theAccountCheck),
      loop(theLoop), session(scenario.session), accountSeen(now()),
      account(accountAt(scenario, accountSeen)) {}

void HelperSession::receive(std::string_view line) {
    const std::optional<Json> message = parseJson(line);
    if (!message || !message->is_object())
        return log("a line that is no message was ignored");
    const std::string* method = stringMember(*message, "method");
    if (!method)
        return receiveReply(*message);
    const Json* id = member(*message, "id");
    if (!id)
        return; // a notification: "initialized" and others need no action
    const Json* params = objectMember(*message, "params");
    receiveRequest(*method, *id, params ? *params : Json::object());
}

void HelperSession::receiveRequest(const std::string& method, const Json& id, const Json& params) {
    static constexpr std::array<Method, 6> methods = {{
        {"initialize", &HelperSession::initialize},
        {"account/read", &HelperSession::readAccount},
        {"account/rateLimits/read", &HelperSession::readRateLimits},
        {"account/usage/read", &HelperSession::readUsage},
        {"account/login/start", &HelperSession::startLogin},
        {"account/login/cancel", &HelperSession::cancelLogin},
    }};
    const auto* const known = std::ranges::find(methods, method, &Method::name);
    if (!initialized && method != "initialize")
        return refuse(id, 0us, {invalidRequest, "Not initialized"});
    if (known == methods.end() || method == scenario.missingMethod)
        return refuse(id, 0us, {methodNotFound, unknownMethodMessage()});
    log(known->name);
    (this->*known->run)(id, params);
}

void HelperSession::initialize(const Json& id, const Json& params) {
    const Json* client = objectMember(params, "clientInfo");
    const std::string* name = client ? stringMember(*client, "name") : nullptr;
    const std::string* version = client ? stringMember(*client, "version") : nullptr;
    if (!name || !version)
        return refuse(id, 0us, {invalidRequest, "Invalid request: clientInfo is missing"});
    if (initialized)
        return refuse(id, 0us, {invalidRequest, "Already initialized"});
    initialized = true;

    const std::string userAgent = *name + "/" + std::string(helperVersion)
                                  + " (Debian 12.0.0; x86_64) unknown (" + *name + "; " + *version
                                  + ")";
    loop.after(initializeDelay, [this, id, userAgent] {
        send({{"id", id},
              {"result",
               {{"userAgent", userAgent},
                {"codexHome", "/home/sample/.codex"},
                {"platformFamily", "unix"},
                {"platformOs", "linux"}}}});
        notify("configWarning", {{"summary", "This helper is a sample."}, {"details", nullptr}});
        notify("remoteControl/status/changed",
               {{"status", "disabled"}, {"installationId", nullptr}});
        if (scenario.switchesAccount)
            scheduleAccountSwitch();
    });
    if (session != Scenario::Session::none && scenario.checksAccount)
        checkAccount();
}

/// The service's answer to it, when there is one, is reported at once.
void HelperSession::checkAccount() {
    const Delay length = initializeDelay + accountCheck;
    loop.after(length, [this] {
        if (scenario.service != Scenario::Service::unreachable)
            announceAccount();
    });
    checkEnds = SteadyClock::now() + length; // not before the report
}

void HelperSession::announceAccount() {
    const bool subscribed = session != Scenario::Session::apiKey;
    notify("account/updated", {{"authMode", authMode(session)},
                               {"planType", subscribed ? Json(account.planType) : Json()}});
}

/// At the end of the turn in which the account was looked up, even when that has passed by now.
void HelperSession::scheduleAccountSwitch() {
    const Second turnEnd = (accountSeen / accountTurn + 1) * accountTurn;
    const std::chrono::duration<Timestamp> wait(static_cast<Timestamp>(turnEnd) - clock());
    loop.after(std::chrono::duration_cast<Delay>(wait), [this] {
        accountSeen = now();
        account = accountAt(scenario, accountSeen);
        announceAccount();
        scheduleAccountSwitch();
    });
}

void HelperSession::readAccount(const Json& id, const Json& params) {
    const Delay delay = accountDelay();
    if (scenario.service == Scenario::Service::unreachable)
        return refuse(id, delay, *refusal());
    if (boolMember(params, "refreshToken").value_or(false))
        tokensRefreshed = true;
    answer(id, delay, [this] {
        if (session == Scenario::Session::apiKey)
            return apiKeyResult();
        return accountResult(session == Scenario::Session::none ? nullptr : &account);
    });
}

void HelperSession::readRateLimits(const Json& id, const Json&) {
    const Delay delay = readingDelay(allowanceDelay);
    if (session == Scenario::Session::otherClient)
        return requestTokens(id);
    if (scenario.service == Scenario::Service::hangs)
        return loop.delayEnd();
    if (scenario.service == Scenario::Service::crashes) {
        return loop.after(delay, [this] {
            loop.write(R"({"id":)");
            loop.end(exitStatusOfCrash);
        });
    }
    const bool expired =
        scenario.service == Scenario::Service::expiresAfterReading && allowancesRead > 0;
    if (expired)
        return refuse(id, delay, {internalError, "the session has expired: 401 Unauthorized"});
    if (const auto error = refusal())
        return refuse(id, delay, *error);
    ++allowancesRead;
    answer(id, delay, [this] { return rateLimitsResult(account, scenario, now()); });
}

void HelperSession::readUsage(const Json& id, const Json&) {
    const Delay delay = readingDelay(usageDelay);
    if (const auto error = refusal())
        return refuse(id, delay, *error);
    answer(id, delay, [this] { return usageResult(account, now()); });
}

/// Why nothing can be read from the usage service, if so.
std::optional<HelperSession::RpcError> HelperSession::refusal() const {
    using enum Scenario::Service;
    if (session == Scenario::Session::none || session == Scenario::Session::apiKey)
        return RpcError{invalidRequest, "this reading needs a ChatGPT sign-in"};
    switch (scenario.service) {
    case wantsTokenRefresh:
        if (tokensRefreshed)
            return std::nullopt;
        return RpcError{internalError, "token expired: 401 Unauthorized"};
    case throttles:
        return RpcError{internalError, "the usage service answered 429 Too Many Requests"};
    case forbids:
        return RpcError{internalError, "the usage service answered 403 Forbidden"};
    case unreachable:
        return RpcError{internalError, "error sending request for url "
                                       "(https://service.example.invalid/accounts/check/401)"};
    case isOutOfOrder:
        if (now() / outageTurn % 2 == 0)
            return std::nullopt;
        return RpcError{internalError, "unexpected status 500 Internal Server Error"};
    case answersWithPage:
        return RpcError{internalError, pageMessage(account)};
    case works:
    case expiresAfterReading:
    case hangs:
    case crashes:
        break;
    }
    return std::nullopt;
}

HelperSession::Delay HelperSession::readingDelay(Delay usual) const {
    return scenario.slow ? usual + slowness : usual;
}

/// An account that is still being checked waits for that.
HelperSession::Delay HelperSession::accountDelay() const {
    const auto check = std::chrono::ceil<Delay>(checkEnds - SteadyClock::now());
    return readingDelay(check > 0us ? check + checkedAccountDelay : knownAccountDelay);
}

/// Asks the client for the tokens that it is said to hold. The reading goes on with its reply.
void HelperSession::requestTokens(const Json& waitingId) {
    if (waitingForTokens)
        return refuse(waitingId, 0us, {internalError, "tokens are being refreshed: 401"});
    waitingForTokens = waitingId;
    send({{"method", "account/chatgptAuthTokens/refresh"},
          {"id", tokensRequestId},
          {"params", {{"reason", "unauthorized"}, {"previousAccountId", account.accountId}}}});
}

/// The only reply awaited is the one to the request for tokens; whatever it holds, tokens are
/// nothing that this helper takes.
void HelperSession::receiveReply(const Json& message) {
    const Json* id = member(message, "id");
    if (!waitingForTokens || !id || *id != tokensRequestId)
        return log("a reply that answers nothing was ignored");
    refuse(*std::exchange(waitingForTokens, std::nullopt), allowanceDelay,
           {internalError, "no fresh tokens from the client: 401 Unauthorized"});
}

void HelperSession::startLogin(const Json& id, const Json& params) {
    const std::string* type = stringMember(params, "type");
    if (!type || *type != "chatgpt")
        return refuse(id, 0us, {invalidRequest, "Invalid request: unknown type of sign-in"});
    if (openLogin)
        closeLogin(false);
    const std::string loginId = "sample-login-" + std::to_string(++loginsStarted);
    openLogin = loginId;
    answer(id, loginDelay, [loginId] {
        return Json{{"type", "chatgpt"}, {"loginId", loginId}, {"authUrl", signInAddress(loginId)}};
    });
    if (scenario.signIn == Scenario::SignIn::staysOpen)
        return;
    loop.after(signInDelay, [this, loginId] {
        if (openLogin == loginId)
            closeLogin(scenario.signIn == Scenario::SignIn::completes);
    });
}

void HelperSession::cancelLogin(const Json& id, const Json& params) {
    const std::string* loginId = stringMember(params, "loginId");
    if (!loginId)
        return refuse(id, 0us, {invalidRequest, "Invalid request: loginId is missing"});
    const bool found = openLogin == *loginId;
    answer(id, 0us, [found] { return Json{{"status", found ? "canceled" : "notFound"}}; });
    if (found)
        closeLogin(false);
}

/// Ends the sign-in in progress.
void HelperSession::closeLogin(bool success) {
    notify("account/login/completed",
           {{"loginId", *openLogin},
            {"success", success},
            {"error", success ? Json() : Json("the sign-in was not completed")}});
    openLogin.reset();
    if (!success)
        return;
    session = Scenario::Session::managed;
    announceAccount();
}

/// The result is made when it is sent, so that it tells of that moment.
void HelperSession::answer(const Json& id, Delay delay, std::function<Json()> result) {
    loop.after(delay, [this, id, result = std::move(result)] {
        send({{"id", id}, {"result", result()}});
    });
}

void HelperSession::refuse(const Json& id, Delay delay, RpcError error) {
    loop.after(delay, [this, id, error = std::move(error)] {
        send({{"error", {{"code", error.code}, {"message", error.message}}}, {"id", id}});
    });
}

void HelperSession::notify(std::string_view method, Json params) {
    send({{"method", method}, {"params", std::move(params)}, {"emittedAt", now()}});
}

void HelperSession::send(const Json& message) { loop.write(writeJson(message) + "\n"); }

} // namespace tallywick::sample
