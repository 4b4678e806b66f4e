#pragma once

#include "base/Json.h"

#include <chrono>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>

namespace tallywick {

/// The helper reports another account or authentication mode.
struct AccountChanged {
    std::optional<std::string> mode; ///< the new mode, when it is a known one
    bool operator==(const AccountChanged&) const = default;
};

/// The helper reports the end of a browser sign-in.
struct LoginCompleted {
    std::string loginId; ///< at most 128 bytes
    bool success = false;
    bool operator==(const LoginCompleted&) const = default;
};

/// The helper asks its client for tokens, which this program never gives: the session belongs to
/// another client.
struct ExternalRefreshRequested {
    bool operator==(const ExternalRefreshRequested&) const = default;
};

using BridgeEvent = std::variant<AccountChanged, LoginCompleted, ExternalRefreshRequested>;

/// Receives events on the transport's own queue. It must not block there.
using BridgeEventHandler = std::function<void(const BridgeEvent&)>;

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

/// Requests and answers between this program and one helper process. Every operation may be called
/// from any thread. Destroying a transport closes it.
class AccountTransport {
  public:
    using Seconds = std::chrono::duration<double>;
    static constexpr Seconds defaultTimeout{16};

    virtual ~AccountTransport() = default;

    /// The helper's authentication mode as last reported.
    virtual std::optional<std::string> mode() const = 0;
    /// Counts the helper's reports of its account. One from 0.13x on makes the first by itself,
    /// when the service has answered its check of the account: just before its answer to
    /// "account/read". A report is counted before any answer that follows it is given, and before
    /// its event.
    virtual std::int64_t revision() const = 0;
    /// The helper's version, "not reported" until `initialize` has learnt it.
    virtual std::string version() const = 0;

    /// The handshake; blocks. Throws what `request` throws.
    virtual void initialize() = 0;

    /// Sends one request and blocks until its answer arrives: the "result" object. Throws
    /// `BridgeFailure`, or std::exception when `params` cannot be written as JSON.
    virtual Json request(const std::string& method, const Json& params, Seconds timeout) = 0;
    Json request(const std::string& method, const Json& params) {
        return request(method, params, defaultTimeout);
    }

    /// Ends the helper without waiting for it; requests that wait fail at once. Later calls do
    /// nothing.
    virtual void close() = 0;
};

/// Starts a helper: blocks until the process runs, throws when it does not.
using TransportFactory = std::function<std::shared_ptr<AccountTransport>(
    const std::filesystem::path& executable, BridgeEventHandler onEvent)>;

} // namespace tallywick
