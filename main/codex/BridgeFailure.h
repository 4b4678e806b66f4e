#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <string>

namespace tallywick {

/// How a request to the helper failed: what `AccountTransport` throws. Messages of a helper can
/// hold personal data, so the description is for the classification and for tests, never for the
/// screen, a file or a log.
class BridgeFailure : public std::exception {
  public:
    enum class Kind {
        protocolError,     ///< with a detail of our own
        rpcError,          ///< the helper's error response: an optional code and its message
        invalidExecutable, ///< nothing was started
        closed,            ///< the helper has ended, or its transport was closed
        timeout,
        oversizedResponse ///< a message in either direction beyond its size limit
    };

    static BridgeFailure protocolError(std::string detail);
    static BridgeFailure rpcError(std::optional<std::int64_t> code, std::string message);
    static BridgeFailure invalidExecutable() { return BridgeFailure(Kind::invalidExecutable); }
    static BridgeFailure closed() { return BridgeFailure(Kind::closed); }
    static BridgeFailure timeout() { return BridgeFailure(Kind::timeout); }
    static BridgeFailure oversizedResponse() { return BridgeFailure(Kind::oversizedResponse); }

    Kind kind() const { return failureKind; }
    /// The code of an `rpcError`.
    std::optional<std::int64_t> code() const { return errorCode; }
    /// The message of an `rpcError` or the detail of a `protocolError`; else empty.
    const std::string& message() const { return text; }

    /// One sentence.
    std::string description() const;
    const char* what() const noexcept override;

    bool operator==(const BridgeFailure& other) const {
        return failureKind == other.failureKind && errorCode == other.errorCode
               && text == other.text;
    }

  private:
    explicit BridgeFailure(Kind kind) : failureKind(kind) {}

    Kind failureKind;
    std::optional<std::int64_t> errorCode;
    std::string text;
};

} // namespace tallywick
