#include "codex/AccountTransport.h"

#include <utility>

namespace tallywick {

BridgeFailure BridgeFailure::protocolError(std::string detail) {
    BridgeFailure failure(Kind::protocolError);
    failure.text = std::move(detail);
    return failure;
}

BridgeFailure BridgeFailure::rpcError(std::optional<std::int64_t> code, std::string message) {
    BridgeFailure failure(Kind::rpcError);
    failure.errorCode = code;
    failure.text = std::move(message);
    return failure;
}

std::string BridgeFailure::description() const {
    switch (failureKind) {
    case Kind::protocolError:
        return "Codex response error: " + text;
    case Kind::rpcError:
        return (errorCode ? "Codex error " + std::to_string(*errorCode) : "Codex error") + ": "
               + text;
    case Kind::invalidExecutable:
        return "Choose a valid Codex executable in Settings.";
    case Kind::closed:
        return "The Codex helper stopped. Reconnecting shortly.";
    case Kind::timeout:
        return "Codex is taking longer to respond. Retrying shortly.";
    case Kind::oversizedResponse:
        return "Codex returned an unexpectedly large response.";
    }
    return {};
}

const char* BridgeFailure::what() const noexcept {
    return "failure of the Codex helper's transport";
}

} // namespace tallywick
