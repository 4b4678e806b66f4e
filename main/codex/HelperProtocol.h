#pragma once

#include "base/Json.h"
#include "codex/AccountTransport.h"

#include <tl/expected.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// The protocol between a Codex helper and its client, as far as this program speaks it: messages of
// JSON-RPC 2.0 without its version member, one a line. Rules alone, without a process; any thread.
namespace tallywick {

/// What messages are called.
namespace HelperMethod {

// Requests of this program. It sends no others.
inline constexpr const char* initialize = "initialize";
inline constexpr const char* readAccount = "account/read";
inline constexpr const char* readAllowance = "account/rateLimits/read";
inline constexpr const char* readUsage = "account/usage/read";
inline constexpr const char* startLogin = "account/login/start";
inline constexpr const char* cancelLogin = "account/login/cancel";

/// The notification that ends the handshake.
inline constexpr const char* initialized = "initialized";

// What the helper says by itself: two notifications, and a request.
inline constexpr const char* accountUpdated = "account/updated";
inline constexpr const char* loginCompleted = "account/login/completed";
inline constexpr const char* refreshTokens = "account/chatgptAuthTokens/refresh";

} // namespace HelperMethod

/// Of an account, of a sign-in and of the mode in which Codex itself keeps the session.
inline constexpr const char* managedAccount = "chatgpt";
/// The mode in which another client provides the tokens.
inline constexpr const char* externalMode = "chatgptAuthTokens";

/// JSON-RPC 2.0: the method does not exist.
inline constexpr int methodNotFound = -32601;

/// Longest message in either direction, without its line feed: the longest answers of a helper are
/// below a tenth of it.
inline constexpr std::size_t maximumMessage = 2'097'152;
/// Bytes of the identifier of a sign-in.
inline constexpr std::size_t maximumLoginId = 128;
/// Characters of an error message that are kept.
inline constexpr std::size_t maximumErrorCharacters = 400;

/// Splits a stream of bytes into lines that end in a line feed, whatever the pieces in which it
/// comes. Work is linear in the bytes; memory is bounded by `maximumBuffered`. No line is longer
/// than `maximumMessage`.
class LineBuffer {
  public:
    /// Most bytes that may wait, after a piece was appended.
    static constexpr std::size_t maximumBuffered = 4'194'304;

    enum class Next {
        line,       ///< a line was taken out
        incomplete, ///< the next line has not arrived yet
        oversized   ///< a limit was exceeded: the stream is of no more use
    };

    /// Appends a piece. Lines that `next` gave before are no longer valid.
    void append(std::string_view piece);

    /// Takes out the next line, without its line feed.
    Next next(std::string_view& line);

  private:
    std::string buffer;
    std::size_t lineStart = 0; ///< everything before it was taken out
    std::size_t searched = 0;  ///< no line feed stands between `lineStart` and here
};

/// Whether the text, which may be null, can identify a sign-in.
bool isLoginId(const std::string* text);

/// Throws `BridgeFailure::protocolError` for a request that this program must not make.
void requireAllowed(const std::string& method, const Json& params);

/// The parameters of "initialize": who we are.
Json clientIntroduction();

/// The helper's version in the result of "initialize": the first three numbers that are joined by
/// dots. Absent when it tells none.
std::optional<std::string> helperVersion(const Json& initializeResult);

/// What a response says: its "result", an object, or how the request failed.
using HelperAnswer = tl::expected<Json, BridgeFailure>;
HelperAnswer answerIn(Json response);

/// What a notification tells of; absent when that is nothing to us.
std::optional<BridgeEvent> announcementIn(const std::string& method, const Json& notification);

/// Our reply to any request of the helper's own, which stands in `line`: a refusal under the
/// request's id, to the digit.
std::string refusalOf(const Json& id, std::string_view line);

} // namespace tallywick
