#include "UtilityApp/ReportCommand.h"

#include "UtilityApp/Report.h"
#include "codex/AccountService.h"
#include "codex/CodexBridge.h"
#include "codex/CodexLocator.h"
#include "codex/HelperDiscovery.h"
#include "history/HistoryStore.h"
#include "platform/files/StandardFolders.h"
#include "platform/process/ChildProcess.h"

#include <cstdio>
#include <cstdlib>
#include <future>

namespace tallywick {

namespace {

/// A helper is killed two seconds after it was asked to end.
constexpr std::chrono::seconds helperEnd{3};

struct Poll {
    ConnectionDetails details;
    AccountService::SnapshotOutcome snapshot = tl::make_unexpected(ConnectionIssue::stopped);
    TokenActivity tokens; ///< empty when the activity could not be read: it is an extra
};

/// The callbacks run on the service's queue, and all of them before this returns.
Poll pollOnce(AccountService::Candidates candidates) {
    Poll poll;
    AccountService::Environment environment;
    environment.launcher = std::make_shared<HelperLauncher>(codexBridgeFactory());
    environment.clock = systemNow;
    environment.homeFolder = homeFolder();
    environment.onDetails = [&](const ConnectionDetails& details) { poll.details = details; };
    environment.onIdentityChange = [] {};
    const auto service = AccountService::create(std::move(environment));

    std::promise<void> finished;
    AccountService::RefreshCallbacks callbacks;
    callbacks.onSnapshot = [&](std::int64_t, const AccountService::SnapshotOutcome& outcome) {
        poll.snapshot = outcome;
    };
    callbacks.onActivity = [&](std::int64_t, const std::optional<std::string>&,
                               const AccountService::ActivityOutcome& outcome) {
        poll.tokens = outcome.value_or(TokenActivity());
    };
    callbacks.onFinished = [&](std::int64_t) { finished.set_value(); };
    constexpr std::int64_t onlyPoll = 0;
    constexpr bool includeActivity = true;
    service->refresh(std::move(candidates), onlyPoll, includeActivity, std::move(callbacks));
    finished.get_future().wait();
    service->stop();
    return poll;
}

HelperDiscovery::Outcome findHelpers(const CommandLine& commandLine) {
    return HelperDiscovery(systemHelperSearch())
        .findNow({commandLine.helper, commandLine.helper.has_value()});
}

/// With the readings that the window has kept of the same account.
std::optional<Pace> paceOf(const AccountSnapshot& snapshot) {
    if (!snapshot.quota)
        return std::nullopt;
    const HistoryStore history(std::nullopt, snapshot.observedAt);
    return paceOf(*snapshot.quota, snapshot.observedAt,
                  history.samplesOf(snapshot.accountHash.value_or("")));
}

bool print(std::FILE* stream, const std::string& text) {
    return std::fputs(text.c_str(), stream) >= 0 && std::fflush(stream) == 0;
}

} // namespace

int runReport(const CommandLine& commandLine) {
    const auto helpers = findHelpers(commandLine);
    if (!helpers) {
        print(stderr, failureText(helpers.error(), std::nullopt));
        return EXIT_FAILURE;
    }
    const Poll poll = pollOnce(*helpers);
    waitForChildProcesses(helperEnd);

    const auto location = commandLine.verbose ? std::optional(poll.details.location) : std::nullopt;
    if (!poll.snapshot) {
        print(stderr, failureText(poll.snapshot.error(), location));
        return EXIT_FAILURE;
    }
    const Report report{poll.snapshot->quota, poll.tokens, poll.snapshot->observedAt,
                        paceOf(*poll.snapshot), location};
    return print(stdout, commandLine.json ? reportJson(report) : reportText(report)) ? EXIT_SUCCESS
                                                                                     : EXIT_FAILURE;
}

int runLocate(const CommandLine& commandLine) {
    const auto helpers = findHelpers(commandLine);
    std::string locations;
    for (const auto& helper : helpers.value_or(HelperDiscovery::Helpers()))
        locations += maskedLocation(helper, homeFolder()) + '\n';
    if (!locations.empty())
        return print(stdout, locations) ? EXIT_SUCCESS : EXIT_FAILURE;
    print(stderr,
          failureText(helpers ? ConnectionIssue::missingHelper : helpers.error(), std::nullopt));
    return EXIT_FAILURE;
}

} // namespace tallywick
