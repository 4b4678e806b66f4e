#include "codex/CodexBridge.h"

#include "base/Product.h"
#include "platform/files/FileAccess.h"
#include "platform/files/StandardFolders.h"

#include <algorithm>
#include <array>
#include <exception>
#include <utility>

namespace tallywick {

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr std::array<std::string_view, 7> knownModes{
    "chatgpt",       "chatgptAuthTokens",  "apikey", "apiKey", "bedrockApiKey",
    "agentIdentity", "personalAccessToken"};

constexpr std::string_view externalTokensMode = "chatgptAuthTokens";

/// JSON-RPC 2.0: the method does not exist.
constexpr int methodNotFound = -32601;

/// The answer of one request, handed from the parse queue to the thread that waits for it.
template <typename Value>
class ResultSlot {
  public:
    void put(Value newValue) {
        MutexLock lock(mutex);
        value = std::move(newValue);
        filled.notifyAll();
    }

    /// Absent when nothing came before the deadline.
    std::optional<Value> take(SteadyClock::time_point deadline) {
        MutexLock lock(mutex);
        while (!value && filled.waitUntil(mutex, deadline)) {
        }
        return std::move(value);
    }

  private:
    Mutex mutex;
    Condition filled;
    std::optional<Value> value GUARDED_BY(mutex);
};

SteadyClock::time_point after(AccountTransport::Seconds delay) {
    return SteadyClock::now() + std::chrono::duration_cast<SteadyClock::duration>(delay);
}

bool isLoginId(const std::string* text) {
    return text && !text->empty() && text->size() <= CodexBridge::maximumLoginId;
}

void checkAllowed(const std::string& method, const Json& params) {
    constexpr std::array<std::string_view, 6> methods{
        "initialize",         "account/read",        "account/rateLimits/read",
        "account/usage/read", "account/login/start", "account/login/cancel"};
    if (std::find(methods.begin(), methods.end(), method) == methods.end())
        throw BridgeFailure::protocolError("unsupported operation");
    if (method == "account/login/start" && params != Json{{"type", "chatgpt"}})
        throw BridgeFailure::protocolError("only explicit managed browser sign-in is supported");
    if (method == "account/login/cancel"
        && !(params.size() == 1 && isLoginId(stringMember(params, "loginId"))))
        throw BridgeFailure::protocolError("invalid login identifier");
}

/// The first characters of a text in valid UTF-8.
std::string firstCharacters(const std::string& text, std::size_t count) {
    const auto startsCharacter = [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
    };
    std::size_t end = 0;
    for (; end < text.size(); ++end)
        if (startsCharacter(text[end]) && count-- == 0)
            break;
    return text.substr(0, end);
}

/// The first "digits.digits.digits" in a text, or nothing. Linear, unlike a regular expression on a
/// long run of digits.
std::string_view dottedTriple(std::string_view text) {
    constexpr std::string_view digits = "0123456789";
    const auto endOfDigits = [&](std::size_t from) {
        return std::min(text.find_first_not_of(digits, from), text.size());
    };
    for (std::size_t start = text.find_first_of(digits); start != std::string_view::npos;) {
        std::size_t end = endOfDigits(start);
        const std::size_t firstEnd = end;
        int numbers = 1;
        while (numbers < 3 && end + 1 < text.size() && text[end] == '.'
               && endOfDigits(end + 1) > end + 1) {
            end = endOfDigits(end + 1);
            ++numbers;
        }
        if (numbers == 3)
            return text.substr(start, end - start);
        start = text.find_first_of(digits, firstEnd);
    }
    return {};
}

BridgeFailure errorResponse(const Json& error) {
    const std::string* message = stringMember(error, "message");
    return BridgeFailure::rpcError(
        integerValue(member(error, "code")),
        message ? firstCharacters(*message, CodexBridge::maximumErrorCharacters)
                : "Request failed");
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
    return helperVersion;
}

void CodexBridge::initialize() {
    const Json clientInfo{
        {"name", "corvane_tallywick_mac"}, {"title", Product::name}, {"version", Product::version}};
    learnVersion(request("initialize", {{"clientInfo", clientInfo}}, options.initializeTimeout));
    send({{"method", "initialized"}, {"params", Json::object()}});
}

void CodexBridge::learnVersion(const Json& initializeResult) {
    constexpr std::size_t maximumVersion = 32;
    const std::string* userAgent = stringMember(initializeResult, "userAgent");
    const std::string_view found = userAgent ? dottedTriple(*userAgent) : std::string_view();
    if (found.empty())
        return;
    MutexLock lock(stateLock);
    helperVersion = found.substr(0, maximumVersion);
}

Json CodexBridge::request(const std::string& method, const Json& params, Seconds timeout) {
    checkAllowed(method, params);
    const auto deadline = after(timeout);
    const auto slot = std::make_shared<ResultSlot<Outcome>>();
    const std::int64_t id = addPending([slot](Outcome outcome) { slot->put(std::move(outcome)); });
    try {
        send({{"method", method}, {"id", id}, {"params", params}});
    } catch (...) {
        removePending(id);
        throw;
    }
    std::optional<Outcome> outcome = slot->take(deadline);
    if (!outcome) {
        removePending(id);
        throw BridgeFailure::timeout();
    }
    if (!*outcome)
        throw outcome->error();
    return std::move(**outcome);
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
    const std::optional<std::int64_t> id = integerValue(member(message, "id"));
    if (!id)
        return;
    if (const Json* error = objectMember(message, "error"))
        complete(*id, tl::make_unexpected(errorResponse(*error)));
    else if (objectMember(message, "result"))
        complete(*id, std::move(message["result"]));
    else
        complete(*id, tl::make_unexpected(BridgeFailure::protocolError("missing result")));
}

void CodexBridge::receiveServerRequest(const std::string& method, const Json& id,
                                       std::string_view line) {
    if (method == "account/chatgptAuthTokens/refresh") {
        {
            MutexLock lock(stateLock);
            currentMode = externalTokensMode;
        }
        onEvent(ExternalRefreshRequested{});
    }
    const Json error{
        {"code", methodNotFound},
        {"message", "This utility does not provide tokens or execute server requests."}};
    const std::string sameId =
        id.is_number_float() ? memberNumberText(line, "id").value_or("null") : writeJson(id);
    try {
        sendText(R"({"id":)" + sameId + R"(,"error":)" + writeJson(error) + "}",
                 maximumUnreadReplies);
    } catch (const BridgeFailure&) { // NOLINT(bugprone-empty-catch)
        // Its helper's own affair: it asked for what it does not get anyway.
    }
}

void CodexBridge::receiveNotification(const std::string& method, const Json& message) {
    const Json* params = objectMember(message, "params");
    if (method == "account/updated") {
        AccountChanged event;
        const std::string* mode = params ? stringMember(*params, "authMode") : nullptr;
        if (mode && std::find(knownModes.begin(), knownModes.end(), *mode) != knownModes.end())
            event.mode = *mode;
        {
            MutexLock lock(stateLock);
            currentMode = event.mode;
            ++currentRevision;
        }
        onEvent(event);
    } else if (method == "account/login/completed" && params) {
        const std::string* loginId = stringMember(*params, "loginId");
        if (loginId && loginId->size() <= maximumLoginId)
            onEvent(LoginCompleted{*loginId, boolMember(*params, "success").value_or(false)});
    }
}

void CodexBridge::complete(std::int64_t id, Outcome outcome) {
    Completion completion;
    {
        MutexLock lock(stateLock);
        const auto found = pending.find(id);
        if (found == pending.end())
            return;
        completion = std::move(found->second);
        pending.erase(found);
    }
    completion(std::move(outcome));
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
