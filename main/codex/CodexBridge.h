#pragma once

#include "base/Mutex.h"
#include "base/SerialQueue.h"
#include "codex/AccountTransport.h"
#include "codex/HelperProtocol.h"
#include "platform/process/ChildProcess.h"

#include <map>
#include <string_view>

namespace tallywick {

/// The transport to one helper process: line-delimited JSON-RPC over its standard input and output.
///
/// It sends six methods and no others, bounds every message in both directions, executes nothing
/// that the helper asks for, and lets no message of the helper reach the screen, a file or a log.
/// A helper that has ended is not started again: requests fail with `closed` from then on, and its
/// owner makes a new bridge. A helper whose output has ended counts as one that has ended.
class CodexBridge final : public AccountTransport,
                          public std::enable_shared_from_this<CodexBridge> {
  public:
    struct Options {
        Seconds initializeTimeout = defaultTimeout;
        std::chrono::milliseconds killGrace{2000};
    };

    /// Requests that may wait for their answers at once.
    static constexpr std::size_t maximumPending = 4;

    /// Starts the helper with the argument "app-server" in the user's home folder; with
    /// `initialize` set it also completes the handshake. Throws `BridgeFailure::invalidExecutable`
    /// when there is no executable file, std::system_error when it cannot be started, and what the
    /// handshake throws. `onEvent` is called on the parse queue, never after this bridge is gone.
    static std::shared_ptr<CodexBridge> launch(const std::filesystem::path& executable,
                                               bool initialize, BridgeEventHandler onEvent,
                                               const Options& options);

    ~CodexBridge() override;

    std::optional<std::string> mode() const override;
    std::int64_t revision() const override;
    std::string version() const override;
    void initialize() override;
    using AccountTransport::request;
    Json request(const std::string& method, const Json& params, Seconds timeout) override;
    void close() override;

  private:
    using Completion = std::function<void(HelperAnswer)>;

    CodexBridge(const Options& options, BridgeEventHandler onEvent);
    void start(const std::filesystem::path& executable);

    // Requests, on the caller's thread.
    std::int64_t addPending(Completion completion);
    void removePending(std::int64_t id);
    void send(const Json& message) { sendText(writeJson(message), maximumUnreadRequests); }
    void sendText(std::string text, std::size_t maximumUnread);

    // Input, on the parse queue.
    void receive(std::string_view piece);
    void receiveLine(std::string_view line) REQUIRES(parseQueue);
    void receiveResponse(Json message) REQUIRES(parseQueue);
    void receiveServerRequest(const std::string& method, const Json& id, std::string_view line)
        REQUIRES(parseQueue);
    void receiveNotification(const std::string& method, const Json& message) REQUIRES(parseQueue);
    void endOfHelper();

    // Any thread.
    void complete(std::int64_t id, HelperAnswer answer);
    void failAll(const BridgeFailure& failure);
    bool isUsable() const REQUIRES(stateLock);

    /// What may lie unread in front of a helper: as many of the longest requests as may be pending.
    static constexpr std::size_t maximumUnreadRequests = maximumPending * (maximumMessage + 1);
    /// The same for replies to its own requests, which a helper may make without end and never read
    /// the replies: one of the longest.
    static constexpr std::size_t maximumUnreadReplies = maximumMessage + 1;

    const Options options;
    const BridgeEventHandler onEvent;
    std::unique_ptr<ChildProcess> process; ///< constant once `start` has returned

    mutable Mutex stateLock;
    std::map<std::int64_t, Completion> pending GUARDED_BY(stateLock);
    std::int64_t sequence GUARDED_BY(stateLock) = 0;
    bool closed GUARDED_BY(stateLock) = false;
    bool helperEnded GUARDED_BY(stateLock) = false; ///< itself, its output or its input
    std::optional<std::string> currentMode GUARDED_BY(stateLock);
    std::int64_t currentRevision GUARDED_BY(stateLock) = 0;
    std::string currentVersion GUARDED_BY(stateLock) = "not reported";

    LineBuffer lines GUARDED_BY(parseQueue);
    bool discarding GUARDED_BY(parseQueue) = false; ///< after an oversized message

    SerialQueue parseQueue{
        "com.corvane.utility.rpc-reader"}; ///< last: its tasks use all of the above
};

/// Makes bridges that are not initialised yet.
TransportFactory codexBridgeFactory();

} // namespace tallywick
