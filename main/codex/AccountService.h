#pragma once

#include "base/Json.h"
#include "base/SerialQueue.h"
#include "base/Time.h"
#include "codex/AccountAnswers.h"
#include "codex/ConnectionIssue.h"
#include "codex/HelperDiscovery.h"
#include "codex/HelperSlots.h"

#include <tl/expected.hpp>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tallywick {

/// What one successful poll found.
struct AccountSnapshot {
    std::optional<Quota> quota;             ///< absent: the account reports no weekly allowance
    std::optional<std::string> accountHash; ///< absent: the account has neither id nor e-mail
    Timestamp observedAt = 0;

    bool operator==(const AccountSnapshot&) const = default;
};

/// The only client of the Codex helper: polls the signed-in account, runs the browser sign-in and
/// tests a helper that the user chose.
///
/// Every operation may be called from any thread, a callback of the service included, and returns
/// at once. The work is done on the queue "com.corvane.utility.account", one operation after the
/// other, and may block there on the helper. Outcomes arrive through callbacks, which are called on
/// that queue without any lock held and must not throw.
///
/// `reset` and `stop` supersede everything that was asked for before: it ends without a further
/// callback, but for one that was already being called. The owner calls `stop` before it lets go of
/// the service, since work that is under way keeps the service alive.
class AccountService : public std::enable_shared_from_this<AccountService> {
  public:
    /// Helper executables in the order in which they are tried. At most the first `maximumHelpers`
    /// are.
    using Candidates = std::vector<std::filesystem::path>;
    /// How often account and allowance are read at most before one reading fails: what a report of
    /// the helper crosses may belong to two accounts, and is read again.
    static constexpr int maximumReadings = 3;

    // The longest that an operation may take, in seconds. What is longer will not end any more.
    static constexpr double longestRequest = AccountTransport::defaultTimeout.count();
    /// Of a helper, until its process runs, and the handshake.
    static constexpr double longestStart =
        std::chrono::duration<double>(HelperLauncher::usualLimit).count() + longestRequest;
    /// All candidates are started, account and allowance read; to recover the session all of that
    /// again, and one reading more; then usage and account for the token activity.
    static constexpr double longestRefresh =
        2 * maximumHelpers * longestStart + (3 * maximumReadings * 2 + 2) * longestRequest;
    /// It may stand behind one refresh.
    static constexpr double longestValidation = longestRefresh + longestStart;

    using SnapshotOutcome = tl::expected<AccountSnapshot, ConnectionIssue>;
    using ActivityOutcome = tl::expected<TokenActivity, ConnectionIssue>;
    using LinkOutcome = tl::expected<std::string, ConnectionIssue>;

    struct Environment {
        std::shared_ptr<HelperLauncher> launcher;
        Clock clock;
        std::filesystem::path homeFolder; ///< to mask helper locations
        /// That of the service before this one, if there was one: its attempts still count.
        std::shared_ptr<RecoveryPolicy> recovery = std::make_shared<RecoveryPolicy>();
        /// The diagnostic record after each change.
        std::function<void(const ConnectionDetails&)> onDetails;
        /// Another account may be signed in now. Comes on the service's queue or on the helper's.
        std::function<void()> onIdentityChange;
    };

    /// Each is handed the token of its poll.
    struct RefreshCallbacks {
        std::function<void(std::int64_t token, const SnapshotOutcome&)> onSnapshot;
        /// Only after a snapshot, with the snapshot's account hash.
        std::function<void(std::int64_t token, const std::optional<std::string>& accountHash,
                           const ActivityOutcome&)>
            onActivity;
        /// Always the last one.
        std::function<void(std::int64_t token)> onFinished;
    };

    static std::shared_ptr<AccountService> create(Environment environment);

    AccountService(const AccountService&) = delete;
    AccountService& operator=(const AccountService&) = delete;
    ~AccountService();

    /// One poll: account and allowance, then token activity if asked for. An expired session is
    /// recovered on the way, at most once every five minutes. The helper stays for the next poll
    /// unless its failure says that a new one is needed.
    ///
    /// A helper's report of its account ends what was published from that helper process:
    /// `onIdentityChange`. One that crosses a reading has it repeated on the same helper.
    void refresh(Candidates candidates, std::int64_t token, bool includeActivity,
                 RefreshCallbacks callbacks);

    /// Starts the browser sign-in. `onStarted` gets the checked address, which the caller opens;
    /// `onFinished` is called when the helper reports the end of that sign-in.
    ///
    /// While a sign-in is in progress a second start does nothing and calls nothing. A sign-in
    /// belongs to the helper on which it was started: once that helper is closed, for whatever
    /// reason, it is over, its `onFinished` is not called, and it does not stand in the way of the
    /// next start.
    void startLogin(Candidates candidates, std::function<void(const LinkOutcome&)> onStarted,
                    std::function<void(bool success)> onFinished);

    /// Abandons the sign-in in progress without calling its `onFinished`. Implies `reset`.
    void cancelLogin();

    /// Whether the executable completes the handshake of a helper. Leaves the helper of the polls
    /// and the details alone.
    void validate(std::filesystem::path executable, std::function<void(bool)> completion);

    /// Closes the helpers and drops all work begun so far; the next poll starts afresh.
    void reset();

    /// As `reset`, for good: later operations do nothing.
    void stop();

  private:
    using Transport = HelperSlots::Transport;
    using Epoch = HelperSlots::Epoch;
    using Slot = HelperSlots::Slot;
    /// What a step of an operation gave, or the issue behind what it threw.
    template <typename Result>
    using Attempt = tl::expected<Result, ConnectionIssue>;

    /// What an operation was asked for with. It is current as long as `epoch` is.
    struct Operation {
        Epoch epoch;
        Candidates candidates;
    };
    struct Poll {
        Operation operation;
        std::int64_t token;
        bool includeActivity;
        RefreshCallbacks callbacks;
    };
    /// For what requests to one helper are made.
    struct Inquiry {
        Transport helper;
        Epoch epoch;
        /// Of the helper when the inquiry began: one that reports its account later crosses it.
        /// Absent where reports do not matter.
        std::optional<std::int64_t> revision;

        bool isCrossed() const { return revision && helper->revision() != *revision; }
    };
    struct AccountReading {
        Inquiry inquiry;
        Json account;
        AccountSnapshot snapshot;
    };
    /// A browser sign-in. It is over with its helper.
    struct Login {
        std::weak_ptr<AccountTransport> helper;
        std::string id;
        std::function<void(bool success)> finished;
    };

    explicit AccountService(Environment given);

    void enqueue(std::function<void(AccountService&)> body);

    // The steps of an operation throw a `ConnectionIssue` or what the transport throws.
    template <typename Result, typename... Parameters, typename... Arguments>
    Attempt<Result> attempt(Result (AccountService::*step)(Parameters...), Arguments&&... arguments)
        REQUIRES(queue);
    /// One request. Absent when a report of the helper has crossed the inquiry. Throws `stopped`
    /// when the operation is not current any more.
    std::optional<Json> ask(const Inquiry& inquiry, const char* method, const Json& params)
        REQUIRES(queue);

    Transport ensureBridge(const Operation& operation) REQUIRES(queue);
    Transport startBridge(const std::filesystem::path& executable, Epoch epoch) REQUIRES(queue);
    Transport startProbe(const std::filesystem::path& executable, Epoch epoch) REQUIRES(queue);
    /// Closes the bridge when the issue says that it is at fault.
    void closeIfAtFault(ConnectionIssue issue);
    void handleEvent(const BridgeEvent& event, std::int64_t helperNumber);

    void runRefresh(const Poll& poll);
    AccountReading readWithRecovery(const Operation& operation) REQUIRES(queue);
    AccountReading recoverSession(const Operation& operation,
                                  const std::optional<std::string>& failedMode,
                                  ConnectionIssue issue) REQUIRES(queue);
    /// From its return on a report of the helper ends the reading.
    AccountReading readAccount(const Transport& helper, Epoch epoch, bool refreshToken)
        REQUIRES(queue);
    /// Absent when a report of the helper crossed it.
    std::optional<AccountReading> readOnce(const Inquiry& inquiry, bool refreshToken)
        REQUIRES(queue);
    TokenActivity readActivity(const AccountReading& reading) REQUIRES(queue);
    void deliverSnapshot(const Poll& poll, const AccountReading& reading) REQUIRES(queue);
    void deliverActivity(const Poll& poll, const AccountReading& reading) REQUIRES(queue);
    void deliverFailure(const Poll& poll, ConnectionIssue issue) REQUIRES(queue);

    void runStartLogin(const Operation& operation,
                       const std::function<void(const LinkOutcome&)>& onStarted,
                       const std::function<void(bool)>& onFinished);
    std::string beginLogin(const Operation& operation, const std::function<void(bool)>& onFinished)
        REQUIRES(queue);
    void finishLogin(const LoginCompleted& event, std::int64_t helperNumber);
    bool isLoginInProgress() REQUIRES(queue);

    void runValidate(const std::filesystem::path& executable, Epoch epoch,
                     const std::function<void(bool)>& completion);

    void updateDetails(std::string_view stage, std::optional<std::string_view> category = {})
        REQUIRES(queue);
    void publishDetails() REQUIRES(queue);

    SerialQueue queue{"com.corvane.utility.account"};
    HelperSlots slots;
    ConnectionDetails details GUARDED_BY(queue);
    std::optional<Login> login GUARDED_BY(queue); ///< the one that was started last
    const Environment environment;
};

} // namespace tallywick
