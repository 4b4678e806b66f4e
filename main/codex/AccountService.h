#pragma once

#include "base/Json.h"
#include "base/Mutex.h"
#include "base/SerialQueue.h"
#include "base/ThreadAnnotations.h"
#include "base/Time.h"
#include "codex/AccountAnswers.h"
#include "codex/AccountTransport.h"
#include "codex/ConnectionIssue.h"
#include "codex/HelperLauncher.h"

#include <tl/expected.hpp>

#include <cstddef>
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
    /// Helper executables in the order in which they are tried. At most the first
    /// `maximumCandidates` are.
    using Candidates = std::vector<std::filesystem::path>;
    static constexpr std::size_t maximumCandidates = 3;
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
        2 * maximumCandidates * longestStart + (3 * maximumReadings * 2 + 2) * longestRequest;
    /// It may stand behind one refresh.
    static constexpr double longestValidation = longestRefresh + longestStart;

    using SnapshotOutcome = tl::expected<AccountSnapshot, ConnectionIssue>;
    using ActivityOutcome = tl::expected<TokenActivity, ConnectionIssue>;
    using LinkOutcome = tl::expected<std::string, ConnectionIssue>;

    struct Environment {
        std::shared_ptr<HelperLauncher> launcher;
        Clock clock;
        std::filesystem::path homeFolder; ///< to mask helper locations
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
    using Transport = std::shared_ptr<AccountTransport>;

    /// What a slot holds: nothing, or one helper process and all that is true of that process only.
    struct Helper {
        Transport transport;     ///< null: the slot is empty
        std::int64_t number = 0; ///< from 1 on, another for each process: whose an event is
        bool published = false;  ///< a snapshot was made of it since it last reported a change
    };
    struct Login {
        std::weak_ptr<AccountTransport> helper;
        std::string id;
        std::function<void(bool success)> finished;
    };
    /// What an operation was asked for with. It is current as long as `epoch` is.
    struct Operation {
        std::int64_t epoch;
        Candidates candidates;
    };
    struct Poll {
        Operation operation;
        std::int64_t token;
        bool includeActivity;
        RefreshCallbacks callbacks;
    };
    struct AccountReading {
        Transport helper;
        std::int64_t revision; ///< of the helper when the reading began
        Json account;
        AccountSnapshot snapshot;
    };

    explicit AccountService(Environment given);

    void enqueue(std::function<void(AccountService&)> body);
    void supersede(bool forGood) EXCLUDES(lock);

    std::int64_t currentEpoch() EXCLUDES(lock);
    bool isCurrentLocked(std::int64_t startEpoch) const REQUIRES(lock);
    bool isCurrent(std::int64_t startEpoch) EXCLUDES(lock);
    /// Throws `stopped` when the operation is not current any more.
    void requireCurrent(std::int64_t startEpoch) EXCLUDES(lock);

    // A slot is `bridge` or `probe`.
    /// Puts a helper into the slot. One whose operation is not current is closed instead, and
    /// `stopped` thrown.
    void store(Helper AccountService::*slot, const Helper& helper, std::int64_t startEpoch)
        EXCLUDES(lock);
    /// Empties the slot and closes what was in it.
    void close(Helper AccountService::*slot) EXCLUDES(lock);
    /// Closes the bridge when the issue says that it is at fault.
    void closeIfAtFault(ConnectionIssue issue) EXCLUDES(lock);
    Transport currentBridge() EXCLUDES(lock);
    bool isBridge(std::int64_t helperNumber) EXCLUDES(lock);

    // The steps of an operation throw a `ConnectionIssue` or what the transport throws.
    Transport ensureBridge(const Operation& operation) REQUIRES(queue);
    Transport startBridge(const std::filesystem::path& executable, std::int64_t startEpoch)
        REQUIRES(queue);
    /// A helper that runs. The wait for it ends when the operation is not current any more.
    Transport launch(const std::filesystem::path& executable, BridgeEventHandler onEvent,
                     std::int64_t startEpoch) EXCLUDES(lock);
    Json ask(AccountTransport& helper, const std::string& method, const Json& params,
             std::int64_t startEpoch);
    AccountReading readAccount(const Transport& helper, std::int64_t startEpoch, bool refreshToken)
        REQUIRES(queue);
    /// One attempt. Absent when a report of the helper crossed it.
    std::optional<AccountReading> tryReading(const Transport& helper, std::int64_t startEpoch,
                                             bool refreshToken) REQUIRES(queue);
    /// From here on a report of the helper ends the reading. False when one has come already.
    bool publish(const AccountReading& reading) EXCLUDES(lock);
    AccountReading readWithRecovery(const Operation& operation) REQUIRES(queue);
    AccountReading recoverSession(const Operation& operation, const Transport& failedHelper,
                                  ConnectionIssue issue) REQUIRES(queue);
    TokenActivity readActivity(const AccountReading& reading, std::int64_t startEpoch)
        REQUIRES(queue);
    std::string beginLogin(const Operation& operation, std::function<void(bool)> onFinished)
        REQUIRES(queue);

    void runRefresh(const Poll& poll);
    void deliverSnapshot(const Poll& poll, const AccountReading& reading) REQUIRES(queue);
    void deliverActivity(const Poll& poll, const AccountReading& reading) REQUIRES(queue);
    void deliverFailure(const Poll& poll, ConnectionIssue issue) REQUIRES(queue);
    void runStartLogin(const Operation& operation,
                       const std::function<void(const LinkOutcome&)>& onStarted,
                       const std::function<void(bool)>& onFinished);
    void runValidate(const std::filesystem::path& executable, std::int64_t startEpoch,
                     const std::function<void(bool)>& completion);

    void handleEvent(const BridgeEvent& event, std::int64_t helperNumber) EXCLUDES(lock);
    void finishLogin(const LoginCompleted& event, std::int64_t helperNumber);
    bool isLoginInProgress() REQUIRES(queue);

    void updateDetails(std::string_view stage, std::optional<std::string_view> category = {})
        REQUIRES(queue);
    void publishDetails() REQUIRES(queue);

    SerialQueue queue{"com.corvane.utility.account"};
    Mutex lock;                     ///< never held while a transport is closed or a callback runs
    Helper bridge GUARDED_BY(lock); ///< the helper of polls and sign-in
    Helper probe GUARDED_BY(lock);  ///< the helper that is being validated
    DetachedCall<Transport>::Pointer launching GUARDED_BY(lock); ///< that an operation waits for
    std::int64_t epoch GUARDED_BY(lock) = 0;
    bool stopped GUARDED_BY(lock) = false;
    std::int64_t helpersStarted GUARDED_BY(queue) = 0;
    RecoveryPolicy recovery GUARDED_BY(queue);
    ConnectionDetails details GUARDED_BY(queue);
    std::optional<Login> login GUARDED_BY(queue); ///< the one that was started last
    const Environment environment;
};

} // namespace tallywick
