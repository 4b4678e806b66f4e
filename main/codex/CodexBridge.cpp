#include "codex/CodexBridge.h"

#include "platform/files/FileAccess.h"
#include "platform/files/StandardFolders.h"

#include <exception>
#include <utility>

namespace tallywick {

namespace {

using SteadyClock = std::chrono::steady_clock;

/// The answer of one request, handed from the parse queue to the thread that waits for it.
class AnswerSlot {
  public:
    void put(HelperAnswer newAnswer) {
        MutexLock lock(mutex);
        answer = std::move(newAnswer);
        filled.notifyAll();
    }

    /// Absent when nothing came before the deadline.
    std::optional<HelperAnswer> take(SteadyClock::time_point deadline) {
        MutexLock lock(mutex);
        while (!answer && filled.waitUntil(mutex, deadline)) {
        }
        return std::move(answer);
    }

  private:
    Mutex mutex;
    Condition filled;
    std::optional<HelperAnswer> answer GUARDED_BY(mutex);
};

SteadyClock::time_point after(AccountTransport::Seconds delay) {
    return SteadyClock::now() + std::chrono::duration_cast<SteadyClock::duration>(delay);
}

} // namespace

std::shared_ptr<CodexBridge> CodexBridge::launch(const std::filesystem::path& executable,
                                                 bool initialize, BridgeEventHandler onEvent,
                                                 const Options& options) {
    if (!isExecutableFile(executable))
        throw BridgeFailure::invalidExecutable();
    std::shared_ptr<CodexBridge> bridge(new CodexBridge(options, std::move(onEvent)));
    bridge->start(executable);
    if (initialize)
        bridge->initialize(); // when it throws, the bridge is closed with its last owner
    return bridge;
}

CodexBridge::CodexBridge(const Options& bridgeOptions, BridgeEventHandler eventHandler)
    : options(bridgeOptions), onEvent(std::move(eventHandler)) {}

CodexBridge::~CodexBridge() {
    if (process)
        close();
}

void CodexBridge::start(const std::filesystem::path& executable) {
    const std::weak_ptr<CodexBridge> weak = weak_from_this();
    const auto onParseQueue = [weak](auto task) {
        if (const auto bridge = weak.lock())
            bridge->parseQueue.sync([&] { task(*bridge); });
    };
    ChildProcess::Handlers handlers;
    handlers.output = [onParseQueue](std::string_view piece) {
        onParseQueue([&](CodexBridge& bridge) { bridge.receive(piece); });
    };
    handlers.inputBroken = handlers.terminated = [onParseQueue] {
        onParseQueue([](CodexBridge& bridge) { bridge.endOfHelper(); });
    };

    ChildCommand command;
    command.executable = std::filesystem::absolute(executable);
    command.arguments = {"app-server"};
    command.currentFolder = homeFolder();
    command.killGrace = options.killGrace;

    // On the parse queue, so that nothing the helper says is looked at before `process` is set.
    std::exception_ptr failure;
    parseQueue.sync([&] {
        try {
            process = ChildProcess::launch(command, std::move(handlers));
        } catch (...) {
            failure = std::current_exception();
        }
    });
    if (failure)
        std::rethrow_exception(failure);
}

std::optional<std::string> CodexBridge::mode() const {
    MutexLock lock(stateLock);
    return currentMode;
}

std::int64_t CodexBridge::revision() const {
    MutexLock lock(stateLock);
    return currentRevision;
}

std::string CodexBridge::version() const {
    MutexLock lock(stateLock);
    return currentVersion;
}

void CodexBridge::initialize() {
    const Json result =
        request(HelperMethod::initialize, clientIntroduction(), options.initializeTimeout);
    if (auto version = helperVersion(result)) {
        MutexLock lock(stateLock);
        currentVersion = std::move(*version);
    }
    send({{"method", HelperMethod::initialized}, {"params", Json::object()}});
}

Json CodexBridge::request(const std::string& method, const Json& params, Seconds timeout) {
    requireAllowed(method, params);
    const auto deadline = after(timeout);
    const auto slot = std::make_shared<AnswerSlot>();
    const std::int64_t id =
        addPending([slot](HelperAnswer answer) { slot->put(std::move(answer)); });
    try {
        send({{"method", method}, {"id", id}, {"params", params}});
    } catch (...) {
        removePending(id);
        throw;
    }
    std::optional<HelperAnswer> answer = slot->take(deadline);
    if (!answer) {
        removePending(id);
        throw BridgeFailure::timeout();
    }
    if (!*answer)
        throw answer->error();
    return std::move(**answer);
}

std::int64_t CodexBridge::addPending(Completion completion) {
    MutexLock lock(stateLock);
    if (!isUsable() || pending.size() >= maximumPending)
        throw BridgeFailure::closed();
    pending.emplace(++sequence, std::move(completion));
    return sequence;
}

void CodexBridge::removePending(std::int64_t id) {
    MutexLock lock(stateLock);
    pending.erase(id);
}

void CodexBridge::sendText(std::string text, std::size_t maximumUnread) {
    if (text.size() > maximumMessage)
        throw BridgeFailure::oversizedResponse();
    text += '\n';
    {
        MutexLock lock(stateLock);
        if (!isUsable())
            throw BridgeFailure::closed();
    }
    switch (process->write(text, maximumUnread)) {
    case ChildProcess::WriteOutcome::accepted:
        return;
    case ChildProcess::WriteOutcome::full: // it has stopped reading long ago
        throw BridgeFailure::timeout();
    case ChildProcess::WriteOutcome::broken:
        throw BridgeFailure::closed();
    }
}

void CodexBridge::close() {
    {
        MutexLock lock(stateLock);
        if (closed)
            return;
        closed = true;
    }
    process->detachHandlers();
    process->closeInput();
    process->terminate();
    failAll(BridgeFailure::closed());
}

bool CodexBridge::isUsable() const { return !closed && !helperEnded && process->isRunning(); }

void CodexBridge::receive(std::string_view piece) {
    parseQueue.assertIsCurrent();
    if (piece.empty()) {
        endOfHelper();
        return;
    }
    if (discarding)
        return;
    lines.append(piece);
    std::string_view line;
    LineBuffer::Next next = lines.next(line);
    for (; next == LineBuffer::Next::line; next = lines.next(line))
        receiveLine(line);
    if (next == LineBuffer::Next::oversized) {
        discarding = true;
        lines = {};
        failAll(BridgeFailure::oversizedResponse());
        process->terminate();
    }
}

void CodexBridge::endOfHelper() {
    {
        MutexLock lock(stateLock);
        helperEnded = true;
    }
    failAll(BridgeFailure::closed());
}

void CodexBridge::receiveLine(std::string_view line) {
    if (line.empty())
        return;
    std::optional<Json> message = parseJson(line);
    if (!message || !message->is_object())
        return;
    const std::string* method = stringMember(*message, "method");
    const Json* id = member(*message, "id");
    if (!method)
        receiveResponse(std::move(*message));
    else if (id && (id->is_string() || id->is_number()))
        receiveServerRequest(*method, *id, line);
    else
        receiveNotification(*method, *message);
}

void CodexBridge::receiveResponse(Json message) {
    if (const auto id = integerValue(member(message, "id")))
        complete(*id, answerIn(std::move(message)));
}

void CodexBridge::receiveServerRequest(const std::string& method, const Json& id,
                                       std::string_view line) {
    if (method == HelperMethod::refreshTokens) {
        {
            MutexLock lock(stateLock);
            currentMode = externalMode;
        }
        onEvent(ExternalRefreshRequested{});
    }
    try {
        sendText(refusalOf(id, line), maximumUnreadReplies);
    } catch (const BridgeFailure&) { // NOLINT(bugprone-empty-catch)
        // Its helper's own affair: it asked for what it does not get anyway.
    }
}

void CodexBridge::receiveNotification(const std::string& method, const Json& message) {
    const auto event = announcementIn(method, message);
    if (!event)
        return;
    if (const auto* changed = std::get_if<AccountChanged>(&*event)) {
        MutexLock lock(stateLock);
        currentMode = changed->mode;
        ++currentRevision;
    }
    onEvent(*event);
}

void CodexBridge::complete(std::int64_t id, HelperAnswer answer) {
    Completion completion;
    {
        MutexLock lock(stateLock);
        const auto found = pending.find(id);
        if (found == pending.end())
            return;
        completion = std::move(found->second);
        pending.erase(found);
    }
    completion(std::move(answer));
}

void CodexBridge::failAll(const BridgeFailure& failure) {
    std::map<std::int64_t, Completion> failed;
    {
        MutexLock lock(stateLock);
        failed.swap(pending);
    }
    for (const auto& [id, completion] : failed)
        completion(tl::make_unexpected(failure));
}

TransportFactory codexBridgeFactory() {
    return [](const std::filesystem::path& executable, BridgeEventHandler onEvent) {
        return CodexBridge::launch(executable, false, std::move(onEvent), {});
    };
}

} // namespace tallywick
