#include "codex/AccountService.h"

#include "codex/AccountAnswers.h"
#include "codex/AccountTransport.h"

#include <algorithm>
#include <exception>
#include <utility>
#include <variant>

namespace tallywick {

namespace {

/// The protocol's bound of a login identifier.
constexpr std::size_t maximumLoginIdBytes = 128;

constexpr std::string_view managedMode = "chatgpt";
/// The mode in which another client provides the tokens.
constexpr std::string_view externalMode = "chatgptAuthTokens";

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

/// The account in the result of "account/read". Throws when nobody is signed in, or with something
/// that has no weekly allowance.
const Json& signedInAccount(const Json& result) {
    const Json* account = objectMember(result, "account");
    if (!account && boolMember(result, "requiresOpenaiAuth") != false)
        throw ConnectionIssue::signedOut;
    const std::string* type = account ? stringMember(*account, "type") : nullptr;
    if (!type || *type != "chatgpt")
        throw ConnectionIssue::unsupportedAccount;
    return *account;
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
        [poll = Poll{{currentEpoch(), std::move(candidates)},
                     token,
                     includeActivity,
                     std::move(callbacks)}](AccountService& service) { service.runRefresh(poll); });
}

void AccountService::startLogin(Candidates candidates,
                                std::function<void(const LinkOutcome&)> onStarted,
                                std::function<void(bool)> onFinished) {
    enqueue([operation = Operation{currentEpoch(), std::move(candidates)},
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
    enqueue([executable = std::move(executable), startEpoch = currentEpoch(),
             completion = std::move(completion)](AccountService& service) {
        service.runValidate(executable, startEpoch, completion);
    });
}

void AccountService::reset() { supersede(false); }

void AccountService::stop() { supersede(true); }

void AccountService::supersede(bool forGood) {
    Helper takenBridge;
    Helper takenProbe;
    DetachedCall<Transport>::Pointer abandoned;
    {
        MutexLock guard(lock);
        ++epoch;
        stopped = stopped || forGood;
        std::swap(takenBridge, bridge);
        std::swap(takenProbe, probe);
        std::swap(abandoned, launching);
    }
    if (abandoned)
        abandoned->abandon();
    for (const Transport& taken : {takenBridge.transport, takenProbe.transport}) {
        if (taken)
            taken->close();
    }
}

void AccountService::enqueue(std::function<void(AccountService&)> body) {
    queue.async([weakService = weak_from_this(), body = std::move(body)] {
        if (const auto service = weakService.lock())
            body(*service);
    });
}

// Epochs and helpers

std::int64_t AccountService::currentEpoch() {
    MutexLock guard(lock);
    return epoch;
}

bool AccountService::isCurrentLocked(std::int64_t startEpoch) const {
    return !stopped && epoch == startEpoch;
}

bool AccountService::isCurrent(std::int64_t startEpoch) {
    MutexLock guard(lock);
    return isCurrentLocked(startEpoch);
}

void AccountService::requireCurrent(std::int64_t startEpoch) {
    if (!isCurrent(startEpoch))
        throw ConnectionIssue::stopped;
}

void AccountService::store(Helper AccountService::*slot, const Helper& helper,
                           std::int64_t startEpoch) {
    {
        MutexLock guard(lock);
        if (isCurrentLocked(startEpoch)) {
            this->*slot = helper;
            return;
        }
    }
    helper.transport->close();
    throw ConnectionIssue::stopped;
}

void AccountService::close(Helper AccountService::*slot) {
    Helper taken;
    {
        MutexLock guard(lock);
        std::swap(taken, this->*slot);
    }
    if (taken.transport)
        taken.transport->close();
}

void AccountService::closeIfAtFault(ConnectionIssue issue) {
    if (isHelperIssue(issue))
        close(&AccountService::bridge);
}

AccountService::Transport AccountService::currentBridge() {
    MutexLock guard(lock);
    return bridge.transport;
}

bool AccountService::isBridge(std::int64_t helperNumber) {
    MutexLock guard(lock);
    return bridge.number == helperNumber;
}

AccountService::Transport AccountService::ensureBridge(const Operation& operation) {
    requireCurrent(operation.epoch);
    if (Transport helper = currentBridge())
        return helper;
    if (operation.candidates.empty())
        throw ConnectionIssue::missingHelper;

    ConnectionIssue lastIssue = ConnectionIssue::incompatible;
    const std::size_t count = std::min(operation.candidates.size(), maximumCandidates);
    for (std::size_t i = 0; i < count; ++i) {
        requireCurrent(operation.epoch);
        try {
            return startBridge(operation.candidates[i], operation.epoch);
        } catch (...) {
            lastIssue = classify(std::current_exception());
        }
        close(&AccountService::bridge);
    }
    requireCurrent(operation.epoch);
    throw lastIssue;
}

AccountService::Transport AccountService::startBridge(const std::filesystem::path& executable,
                                                      std::int64_t startEpoch) {
    details.location = maskedLocation(executable, environment.homeFolder);
    updateDetails("helper startup", "connecting");
    const std::int64_t number = ++helpersStarted;
    const auto onEvent = [weakService = weak_from_this(), number](const BridgeEvent& event) {
        if (const auto service = weakService.lock())
            service->handleEvent(event, number);
    };
    Transport helper = launch(executable, onEvent, startEpoch);
    store(&AccountService::bridge, {helper, number}, startEpoch);
    updateDetails("initialize / initialized");
    helper->initialize();
    requireCurrent(startEpoch);
    return helper;
}

AccountService::Transport AccountService::launch(const std::filesystem::path& executable,
                                                 BridgeEventHandler onEvent,
                                                 std::int64_t startEpoch) {
    const auto start = environment.launcher->start(executable, std::move(onEvent));
    {
        MutexLock guard(lock);
        if (isCurrentLocked(startEpoch))
            launching = start.helper;
        else
            start.helper->abandon();
    }
    if (const auto helper = start.helper->take(start.deadline))
        return *helper;
    requireCurrent(startEpoch);
    throw BridgeFailure::timeout();
}

void AccountService::handleEvent(const BridgeEvent& event, std::int64_t helperNumber) {
    if (const auto* completed = std::get_if<LoginCompleted>(&event)) {
        enqueue([completed = *completed, helperNumber](AccountService& service) {
            service.finishLogin(completed, helperNumber);
        });
        return;
    }
    {
        MutexLock guard(lock);
        if (bridge.number != helperNumber)
            return;
        // A report before the first snapshot tells how the helper found the account, and a second
        // one after it tells nothing new.
        if (std::holds_alternative<AccountChanged>(event)
            && !std::exchange(bridge.published, false))
            return;
    }
    environment.onIdentityChange();
}

// Polling

void AccountService::runRefresh(const Poll& poll) {
    queue.assertIsCurrent();
    if (!isCurrent(poll.operation.epoch))
        return;
    tl::expected<AccountReading, ConnectionIssue> reading =
        tl::unexpected(ConnectionIssue::stopped);
    try {
        reading = readWithRecovery(poll.operation);
    } catch (...) {
        reading = tl::unexpected(classify(std::current_exception()));
    }
    if (!isCurrent(poll.operation.epoch))
        return;
    if (reading)
        deliverSnapshot(poll, *reading);
    else
        deliverFailure(poll, reading.error());
    if (isCurrent(poll.operation.epoch))
        poll.callbacks.onFinished(poll.token);
}

Json AccountService::ask(AccountTransport& helper, const std::string& method, const Json& params,
                         std::int64_t startEpoch) {
    Json result = helper.request(method, params);
    requireCurrent(startEpoch);
    return result;
}

AccountService::AccountReading
AccountService::readAccount(const Transport& helper, std::int64_t startEpoch, bool refreshToken) {
    for (int attempt = 0; attempt < maximumReadings; ++attempt) {
        const bool firstAttempt = attempt == 0; // one refresh of the token is enough
        const auto reading = tryReading(helper, startEpoch, refreshToken && firstAttempt);
        if (reading && publish(*reading))
            return *reading;
    }
    throw ConnectionIssue::stopped;
}

std::optional<AccountService::AccountReading>
AccountService::tryReading(const Transport& helper, std::int64_t startEpoch, bool refreshToken) {
    updateDetails("account read");
    const std::int64_t revision = helper->revision();
    const auto isCrossed = [&] { return helper->revision() != revision; };
    try {
        const Json result =
            ask(*helper, "account/read", {{"refreshToken", refreshToken}}, startEpoch);
        if (isCrossed())
            return std::nullopt;
        const Json& account = signedInAccount(result);

        updateDetails("weekly allowance");
        const Json allowance = ask(*helper, "account/rateLimits/read", Json::object(), startEpoch);
        if (isCrossed())
            return std::nullopt;
        return AccountReading{helper, revision, account,
                              snapshotOf(account, allowance, environment.clock())};
    } catch (...) {
        // What was refused may have been refused to the account before.
        if (!isCrossed() || isEndOfHelper(classify(std::current_exception())))
            throw;
        return std::nullopt;
    }
}

bool AccountService::publish(const AccountReading& reading) {
    bool publishedBefore = false;
    {
        MutexLock guard(lock);
        if (bridge.transport != reading.helper)
            throw ConnectionIssue::stopped;
        publishedBefore = std::exchange(bridge.published, true);
    }
    if (reading.helper->revision() == reading.revision)
        return true;
    // A report has come since the last answer. Whoever clears `published` takes care of it: its
    // event, which ends what was published, or this reading, which is not delivered but repeated.
    // So only what this reading has set is taken back.
    MutexLock guard(lock);
    if (bridge.transport == reading.helper && !publishedBefore)
        bridge.published = false;
    return false;
}

AccountService::AccountReading AccountService::readWithRecovery(const Operation& operation) {
    Transport helper;
    ConnectionIssue issue;
    try {
        helper = ensureBridge(operation);
        return readAccount(helper, operation.epoch, false);
    } catch (...) {
        issue = classify(std::current_exception());
    }
    requireCurrent(operation.epoch);
    if (!isSessionIssue(issue))
        throw issue;
    AccountReading reading = recoverSession(operation, helper, issue);
    details.recovery = "recovered; five-minute cooldown";
    return reading;
}

AccountService::AccountReading AccountService::recoverSession(const Operation& operation,
                                                              const Transport& failedHelper,
                                                              ConnectionIssue issue) {
    // Without a helper, the handshake itself was refused.
    const auto failedMode = failedHelper ? failedHelper->mode() : std::nullopt;
    if (failedMode == externalMode)
        throw ConnectionIssue::externalSession;
    if (!recovery.claim(environment.clock())) {
        details.recovery = "five-minute cooldown";
        throw issue;
    }

    details.recovery = "reloading utility-owned helper";
    close(&AccountService::bridge);
    const Transport helper = ensureBridge(operation);
    try {
        return readAccount(helper, operation.epoch, false);
    } catch (...) {
        issue = classify(std::current_exception());
    }
    requireCurrent(operation.epoch);
    const auto mode = helper->mode();
    if (!isSessionIssue(issue) || (mode ? mode : failedMode) != managedMode)
        throw issue;
    details.recovery = "one managed-session refresh";
    return readAccount(helper, operation.epoch, true);
}

void AccountService::deliverSnapshot(const Poll& poll, const AccountReading& reading) {
    updateDetails(allowanceReceived,
                  reading.snapshot.quota ? "live" : "weekly allowance unavailable");
    if (isCurrent(poll.operation.epoch))
        poll.callbacks.onSnapshot(poll.token, reading.snapshot);
    if (poll.includeActivity && isCurrent(poll.operation.epoch))
        deliverActivity(poll, reading);
}

void AccountService::deliverActivity(const Poll& poll, const AccountReading& reading) {
    ActivityOutcome outcome;
    try {
        outcome = readActivity(reading, poll.operation.epoch);
    } catch (...) {
        outcome = tl::unexpected(classify(std::current_exception()));
    }
    if (!isCurrent(poll.operation.epoch))
        return;
    if (outcome)
        details.tokens = outcome->lifetime ? "received" : "not reported";
    else
        details.tokens = "unavailable (" + std::string(rawValue(outcome.error())) + ")";
    poll.callbacks.onActivity(poll.token, reading.snapshot.accountHash, outcome);
    if (isCurrent(poll.operation.epoch))
        updateDetails(allowanceReceived);
}

TokenActivity AccountService::readActivity(const AccountReading& reading, std::int64_t startEpoch) {
    AccountTransport& helper = *reading.helper;
    const Json usage = ask(helper, "account/usage/read", Json::object(), startEpoch);
    if (helper.revision() != reading.revision)
        throw ConnectionIssue::stopped;

    // Usage names no account: it counts only if the same one is still signed in afterwards.
    const Json result = ask(helper, "account/read", {{"refreshToken", false}}, startEpoch);
    const Json* account = objectMember(result, "account");
    if (helper.revision() != reading.revision || !account || *account != reading.account) {
        environment.onIdentityChange();
        throw ConnectionIssue::stopped;
    }
    return tokenActivityFromUsage(usage);
}

void AccountService::deliverFailure(const Poll& poll, ConnectionIssue issue) {
    details.category = rawValue(issue);
    publishDetails();
    if (!isCurrent(poll.operation.epoch))
        return;
    closeIfAtFault(issue);
    poll.callbacks.onSnapshot(poll.token, tl::unexpected(issue));
}

// Browser sign-in

void AccountService::runStartLogin(const Operation& operation,
                                   const std::function<void(const LinkOutcome&)>& onStarted,
                                   const std::function<void(bool)>& onFinished) {
    queue.assertIsCurrent();
    if (!isCurrent(operation.epoch) || isLoginInProgress())
        return;
    login.reset();
    LinkOutcome outcome;
    try {
        outcome = beginLogin(operation, onFinished);
    } catch (...) {
        outcome = tl::unexpected(classify(std::current_exception()));
    }
    if (!isCurrent(operation.epoch))
        return;
    if (!outcome) {
        closeIfAtFault(outcome.error());
        updateDetails("browser sign-in", rawValue(outcome.error()));
    }
    onStarted(outcome);
}

std::string AccountService::beginLogin(const Operation& operation,
                                       std::function<void(bool)> onFinished) {
    const Transport helper = ensureBridge(operation);
    const Json result = ask(*helper, "account/login/start", {{"type", "chatgpt"}}, operation.epoch);

    const std::string* id = stringMember(result, "loginId");
    const std::string* address = stringMember(result, "authUrl");
    const auto link = address ? signInLink(*address) : std::nullopt;
    if (!id || id->empty() || id->size() > maximumLoginIdBytes || !link)
        throw ConnectionIssue::invalidResponse;
    login = Login{helper, *id, std::move(onFinished)};
    updateDetails("browser sign-in", "waiting for user");
    return *link;
}

void AccountService::finishLogin(const LoginCompleted& event, std::int64_t helperNumber) {
    queue.assertIsCurrent();
    if (!isBridge(helperNumber) || !isLoginInProgress() || login->id != event.loginId)
        return;
    const auto finished = std::move(login->finished);
    login.reset();
    finished(event.success);
}

bool AccountService::isLoginInProgress() {
    const Transport helper = login ? login->helper.lock() : nullptr;
    return helper && helper == currentBridge();
}

// Validation

void AccountService::runValidate(const std::filesystem::path& executable, std::int64_t startEpoch,
                                 const std::function<void(bool)>& completion) {
    queue.assertIsCurrent();
    if (!isCurrent(startEpoch))
        return;
    bool valid = false;
    try {
        const Transport helper = launch(
            executable, [](const BridgeEvent&) {}, startEpoch);
        store(&AccountService::probe, {.transport = helper}, startEpoch);
        helper->initialize();
        valid = true;
    } catch (...) {
        valid = false; // whatever was thrown, it is no helper of ours
    }
    close(&AccountService::probe);
    if (isCurrent(startEpoch))
        completion(valid);
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
    if (const Transport helper = currentBridge()) {
        details.helperVersion = helper->version();
        details.authMode = helper->mode().value_or("not reported");
    }
    environment.onDetails(details);
}

} // namespace tallywick
