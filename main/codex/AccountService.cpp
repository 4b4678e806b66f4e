#include "codex/AccountService.h"

#include "codex/AccountTransport.h"
#include "codex/HelperProtocol.h"

#include <algorithm>
#include <exception>
#include <utility>
#include <variant>

namespace tallywick {

namespace {

constexpr std::string_view allowanceReceived = "allowance received";

/// Whether a fresh helper process, which reads the saved sign-in again, may cure it.
bool isSessionIssue(ConnectionIssue issue) {
    return issue == ConnectionIssue::authentication || issue == ConnectionIssue::signedOut;
}

/// Whether the helper itself is at fault, so that the next poll needs another one.
bool isHelperIssue(ConnectionIssue issue) {
    return issue == ConnectionIssue::stopped || issue == ConnectionIssue::timeout
           || issue == ConnectionIssue::incompatible || issue == ConnectionIssue::invalidResponse;
}

/// Whether nothing can be asked of the helper any more, whatever else is true of a request.
bool isEndOfHelper(ConnectionIssue issue) {
    return issue == ConnectionIssue::stopped || issue == ConnectionIssue::timeout;
}

AccountSnapshot snapshotOf(const Json& account, const Json& allowance, Timestamp now) {
    AccountSnapshot snapshot;
    snapshot.quota = quotaFromRateLimits(allowance);
    snapshot.observedAt = now;
    if (const auto identity = accountIdentity(account, allowance))
        snapshot.accountHash = accountHash(*identity);
    return snapshot;
}

} // namespace

std::shared_ptr<AccountService> AccountService::create(Environment environment) {
    return std::shared_ptr<AccountService>(new AccountService(std::move(environment)));
}

AccountService::AccountService(Environment given) : environment(std::move(given)) {}

AccountService::~AccountService() { stop(); }

// Operations

void AccountService::refresh(Candidates candidates, std::int64_t token, bool includeActivity,
                             RefreshCallbacks callbacks) {
    enqueue(
        [poll = Poll{{slots.currentEpoch(), std::move(candidates)},
                     token,
                     includeActivity,
                     std::move(callbacks)}](AccountService& service) { service.runRefresh(poll); });
}

void AccountService::startLogin(Candidates candidates,
                                std::function<void(const LinkOutcome&)> onStarted,
                                std::function<void(bool)> onFinished) {
    enqueue([operation = Operation{slots.currentEpoch(), std::move(candidates)},
             onStarted = std::move(onStarted),
             onFinished = std::move(onFinished)](AccountService& service) {
        service.runStartLogin(operation, onStarted, onFinished);
    });
}

void AccountService::cancelLogin() {
    reset();
    enqueue([](AccountService& service) {
        service.queue.assertIsCurrent();
        service.login.reset();
        service.updateDetails("browser sign-in", "cancelled");
    });
}

void AccountService::validate(std::filesystem::path executable,
                              std::function<void(bool)> completion) {
    enqueue([executable = std::move(executable), epoch = slots.currentEpoch(),
             completion = std::move(completion)](AccountService& service) {
        service.runValidate(executable, epoch, completion);
    });
}

void AccountService::reset() { slots.supersede(false); }

void AccountService::stop() { slots.supersede(true); }

void AccountService::enqueue(std::function<void(AccountService&)> body) {
    queue.async([weakService = weak_from_this(), body = std::move(body)] {
        if (const auto service = weakService.lock())
            body(*service);
    });
}

template <typename Result, typename... Parameters, typename... Arguments>
AccountService::Attempt<Result>
AccountService::attempt(Result (AccountService::*step)(Parameters...), Arguments&&... arguments) {
    try {
        return (this->*step)(std::forward<Arguments>(arguments)...);
    } catch (...) {
        return tl::unexpected(classify(std::current_exception()));
    }
}

std::optional<Json> AccountService::ask(const Inquiry& inquiry, const char* method,
                                        const Json& params) {
    Json result = inquiry.helper->request(method, params);
    slots.requireCurrent(inquiry.epoch);
    if (inquiry.isCrossed())
        return std::nullopt;
    return result;
}

// Helpers

HelperSlots::Transport AccountService::ensureBridge(const Operation& operation) {
    slots.requireCurrent(operation.epoch);
    if (Transport helper = slots.bridge())
        return helper;
    if (operation.candidates.empty())
        throw ConnectionIssue::missingHelper;

    ConnectionIssue lastIssue = ConnectionIssue::incompatible;
    const std::size_t count = std::min(operation.candidates.size(), maximumHelpers);
    for (std::size_t i = 0; i < count; ++i) {
        slots.requireCurrent(operation.epoch);
        const auto helper =
            attempt(&AccountService::startBridge, operation.candidates[i], operation.epoch);
        if (helper)
            return *helper;
        lastIssue = helper.error();
        slots.close(Slot::bridge);
    }
    slots.requireCurrent(operation.epoch);
    throw lastIssue;
}

HelperSlots::Transport AccountService::startBridge(const std::filesystem::path& executable,
                                                   Epoch epoch) {
    details.location = maskedLocation(executable, environment.homeFolder);
    updateDetails("helper startup", "connecting");
    const std::int64_t number = slots.newNumber();
    const auto onEvent = [weakService = weak_from_this(), number](const BridgeEvent& event) {
        if (const auto service = weakService.lock())
            service->handleEvent(event, number);
    };
    Transport helper = slots.await(environment.launcher->start(executable, onEvent), epoch);
    slots.put(Slot::bridge, helper, epoch, number);
    updateDetails("initialize / initialized");
    helper->initialize();
    slots.requireCurrent(epoch);
    return helper;
}

HelperSlots::Transport AccountService::startProbe(const std::filesystem::path& executable,
                                                  Epoch epoch) {
    const auto onEvent = [](const BridgeEvent&) {};
    Transport helper = slots.await(environment.launcher->start(executable, onEvent), epoch);
    slots.put(Slot::probe, helper, epoch);
    helper->initialize();
    return helper;
}

void AccountService::closeIfAtFault(ConnectionIssue issue) {
    if (isHelperIssue(issue))
        slots.close(Slot::bridge);
}

void AccountService::handleEvent(const BridgeEvent& event, std::int64_t helperNumber) {
    if (const auto* completed = std::get_if<LoginCompleted>(&event)) {
        enqueue([completed = *completed, helperNumber](AccountService& service) {
            service.finishLogin(completed, helperNumber);
        });
        return;
    }
    // A report before the first snapshot tells how the helper found the account, and a second one
    // after it tells nothing new.
    const bool isReport = std::holds_alternative<AccountChanged>(event);
    if (isReport ? slots.retract(helperNumber) : slots.isBridge(helperNumber))
        environment.onIdentityChange();
}

// Polling

void AccountService::runRefresh(const Poll& poll) {
    queue.assertIsCurrent();
    if (!slots.isCurrent(poll.operation.epoch))
        return;
    const auto reading = attempt(&AccountService::readWithRecovery, poll.operation);
    if (!slots.isCurrent(poll.operation.epoch))
        return;
    if (reading)
        deliverSnapshot(poll, *reading);
    else
        deliverFailure(poll, reading.error());
    if (slots.isCurrent(poll.operation.epoch))
        poll.callbacks.onFinished(poll.token);
}

AccountService::AccountReading AccountService::readWithRecovery(const Operation& operation) {
    const auto helper = attempt(&AccountService::ensureBridge, operation);
    const auto reading =
        helper ? attempt(&AccountService::readAccount, *helper, operation.epoch, false)
               : Attempt<AccountReading>(tl::unexpected(helper.error()));
    if (reading)
        return *reading;
    slots.requireCurrent(operation.epoch);
    if (!isSessionIssue(reading.error()))
        throw reading.error();
    // Without a helper, the handshake itself was refused.
    const auto failedMode = helper ? (*helper)->mode() : std::nullopt;
    AccountReading recovered = recoverSession(operation, failedMode, reading.error());
    details.recovery = "recovered; five-minute cooldown";
    return recovered;
}

AccountService::AccountReading
AccountService::recoverSession(const Operation& operation,
                               const std::optional<std::string>& failedMode,
                               ConnectionIssue issue) {
    if (failedMode == externalMode)
        throw ConnectionIssue::externalSession;
    if (!environment.recovery->claim(environment.clock())) {
        details.recovery = "five-minute cooldown";
        throw issue;
    }

    details.recovery = "reloading utility-owned helper";
    slots.close(Slot::bridge);
    const Transport helper = ensureBridge(operation);
    const auto reading = attempt(&AccountService::readAccount, helper, operation.epoch, false);
    if (reading)
        return *reading;
    slots.requireCurrent(operation.epoch);
    const auto mode = helper->mode();
    if (!isSessionIssue(reading.error()) || (mode ? mode : failedMode) != managedAccount)
        throw reading.error();
    details.recovery = "one managed-session refresh";
    return readAccount(helper, operation.epoch, true);
}

AccountService::AccountReading AccountService::readAccount(const Transport& helper, Epoch epoch,
                                                           bool refreshToken) {
    for (int reading = 0; reading < maximumReadings; ++reading) {
        updateDetails("account read");
        const Inquiry inquiry{helper, epoch, helper->revision()};
        const bool isFirst = reading == 0; // one refresh of the token is enough
        const auto found = attempt(&AccountService::readOnce, inquiry, refreshToken && isFirst);
        // What was refused may have been refused to the account before.
        if (!found && (!inquiry.isCrossed() || isEndOfHelper(found.error())))
            throw found.error();
        if (found && *found && slots.publish(helper, *inquiry.revision))
            return **found;
    }
    throw ConnectionIssue::stopped;
}

std::optional<AccountService::AccountReading> AccountService::readOnce(const Inquiry& inquiry,
                                                                       bool refreshToken) {
    const auto result = ask(inquiry, HelperMethod::readAccount, {{"refreshToken", refreshToken}});
    if (!result)
        return std::nullopt;
    const Json& account = signedInAccount(*result);

    updateDetails("weekly allowance");
    const auto allowance = ask(inquiry, HelperMethod::readAllowance, Json::object());
    if (!allowance)
        return std::nullopt;
    return AccountReading{inquiry, account, snapshotOf(account, *allowance, environment.clock())};
}

void AccountService::deliverSnapshot(const Poll& poll, const AccountReading& reading) {
    updateDetails(allowanceReceived,
                  reading.snapshot.quota ? "live" : "weekly allowance unavailable");
    if (slots.isCurrent(poll.operation.epoch))
        poll.callbacks.onSnapshot(poll.token, reading.snapshot);
    if (poll.includeActivity && slots.isCurrent(poll.operation.epoch))
        deliverActivity(poll, reading);
}

void AccountService::deliverActivity(const Poll& poll, const AccountReading& reading) {
    const ActivityOutcome outcome = attempt(&AccountService::readActivity, reading);
    if (!slots.isCurrent(poll.operation.epoch))
        return;
    if (outcome)
        details.tokens = outcome->lifetime ? "received" : "not reported";
    else
        details.tokens = "unavailable (" + std::string(rawValue(outcome.error())) + ")";
    poll.callbacks.onActivity(poll.token, reading.snapshot.accountHash, outcome);
    if (slots.isCurrent(poll.operation.epoch))
        updateDetails(allowanceReceived);
}

TokenActivity AccountService::readActivity(const AccountReading& reading) {
    const auto usage = ask(reading.inquiry, HelperMethod::readUsage, Json::object());
    if (!usage)
        throw ConnectionIssue::stopped;

    // Usage names no account: it counts only if the same one is still signed in afterwards.
    const auto result = ask(reading.inquiry, HelperMethod::readAccount, {{"refreshToken", false}});
    const Json* account = result ? objectMember(*result, "account") : nullptr;
    if (!account || *account != reading.account) {
        environment.onIdentityChange();
        throw ConnectionIssue::stopped;
    }
    return tokenActivityFromUsage(*usage);
}

void AccountService::deliverFailure(const Poll& poll, ConnectionIssue issue) {
    details.category = rawValue(issue);
    publishDetails();
    if (!slots.isCurrent(poll.operation.epoch))
        return;
    closeIfAtFault(issue);
    poll.callbacks.onSnapshot(poll.token, tl::unexpected(issue));
}

// Browser sign-in

void AccountService::runStartLogin(const Operation& operation,
                                   const std::function<void(const LinkOutcome&)>& onStarted,
                                   const std::function<void(bool)>& onFinished) {
    queue.assertIsCurrent();
    if (!slots.isCurrent(operation.epoch) || isLoginInProgress())
        return;
    login.reset();
    const LinkOutcome outcome = attempt(&AccountService::beginLogin, operation, onFinished);
    if (!slots.isCurrent(operation.epoch))
        return;
    if (!outcome) {
        closeIfAtFault(outcome.error());
        updateDetails("browser sign-in", rawValue(outcome.error()));
    }
    onStarted(outcome);
}

std::string AccountService::beginLogin(const Operation& operation,
                                       const std::function<void(bool)>& onFinished) {
    const Inquiry inquiry{ensureBridge(operation), operation.epoch, std::nullopt};
    const auto result = ask(inquiry, HelperMethod::startLogin, {{"type", managedAccount}});
    const auto start = result ? signInStart(*result) : std::nullopt;
    if (!start)
        throw ConnectionIssue::invalidResponse;
    login = Login{inquiry.helper, start->id, onFinished};
    updateDetails("browser sign-in", "waiting for user");
    return start->link;
}

void AccountService::finishLogin(const LoginCompleted& event, std::int64_t helperNumber) {
    queue.assertIsCurrent();
    if (!slots.isBridge(helperNumber) || !isLoginInProgress() || login->id != event.loginId)
        return;
    const auto finished = std::move(login->finished);
    login.reset();
    finished(event.success);
}

bool AccountService::isLoginInProgress() {
    const Transport helper = login ? login->helper.lock() : nullptr;
    return helper && helper == slots.bridge();
}

// Validation

void AccountService::runValidate(const std::filesystem::path& executable, Epoch epoch,
                                 const std::function<void(bool)>& completion) {
    queue.assertIsCurrent();
    if (!slots.isCurrent(epoch))
        return;
    const bool isValid = attempt(&AccountService::startProbe, executable, epoch).has_value();
    slots.close(Slot::probe);
    if (slots.isCurrent(epoch))
        completion(isValid);
}

// Details

void AccountService::updateDetails(std::string_view stage,
                                   std::optional<std::string_view> category) {
    details.stage = stage;
    if (category)
        details.category = *category;
    publishDetails();
}

void AccountService::publishDetails() {
    if (const Transport helper = slots.bridge()) {
        details.helperVersion = helper->version();
        details.authMode = helper->mode().value_or("not reported");
    }
    environment.onDetails(details);
}

} // namespace tallywick
