#include "codex/HelperProtocol.h"

#include "base/Product.h"

#include <algorithm>
#include <array>
#include <utility>

namespace tallywick {

namespace {

constexpr std::array<std::string_view, 6> allowedMethods{
    HelperMethod::initialize, HelperMethod::readAccount, HelperMethod::readAllowance,
    HelperMethod::readUsage,  HelperMethod::startLogin,  HelperMethod::cancelLogin};

constexpr std::array<std::string_view, 7> knownModes{
    managedAccount,  externalMode,         "apikey", "apiKey", "bedrockApiKey",
    "agentIdentity", "personalAccessToken"};

template <typename List>
bool contains(const List& list, std::string_view text) {
    return std::find(list.begin(), list.end(), text) != list.end();
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

BridgeFailure failureIn(const Json& error) {
    const std::string* message = stringMember(error, "message");
    return BridgeFailure::rpcError(integerValue(member(error, "code")),
                                   message ? firstCharacters(*message, maximumErrorCharacters)
                                           : "Request failed");
}

} // namespace

// Lines

void LineBuffer::append(std::string_view piece) {
    if (lineStart == buffer.size())
        buffer = {}; // gives back the room of a long line
    else
        buffer.erase(0, lineStart);
    searched -= lineStart;
    lineStart = 0;
    buffer += piece;
}

LineBuffer::Next LineBuffer::next(std::string_view& line) {
    if (buffer.size() > maximumBuffered)
        return Next::oversized;
    const std::size_t end = buffer.find('\n', searched);
    if (end == std::string::npos) {
        searched = buffer.size();
        return buffer.size() - lineStart > maximumMessage ? Next::oversized : Next::incomplete;
    }
    if (end - lineStart > maximumMessage)
        return Next::oversized;
    line = std::string_view(buffer).substr(lineStart, end - lineStart);
    searched = lineStart = end + 1;
    return Next::line;
}

// What we send

bool isLoginId(const std::string* text) {
    return text && !text->empty() && text->size() <= maximumLoginId;
}

void requireAllowed(const std::string& method, const Json& params) {
    if (!contains(allowedMethods, method))
        throw BridgeFailure::protocolError("unsupported operation");
    if (method == HelperMethod::startLogin && params != Json{{"type", managedAccount}})
        throw BridgeFailure::protocolError("only explicit managed browser sign-in is supported");
    if (method == HelperMethod::cancelLogin
        && !(params.size() == 1 && isLoginId(stringMember(params, "loginId"))))
        throw BridgeFailure::protocolError("invalid login identifier");
}

Json clientIntroduction() {
    return {{"clientInfo",
             {{"name", "corvane_tallywick_mac"},
              {"title", Product::name},
              {"version", Product::version}}}};
}

std::string refusalOf(const Json& id, std::string_view line) {
    const Json error{
        {"code", methodNotFound},
        {"message", "This utility does not provide tokens or execute server requests."}};
    const std::string sameId =
        id.is_number_float() ? memberNumberText(line, "id").value_or("null") : writeJson(id);
    return R"({"id":)" + sameId + R"(,"error":)" + writeJson(error) + "}";
}

// What the helper sends

std::optional<std::string> helperVersion(const Json& initializeResult) {
    constexpr std::size_t maximumVersion = 32;
    const std::string* userAgent = stringMember(initializeResult, "userAgent");
    const std::string_view found = userAgent ? dottedTriple(*userAgent) : std::string_view();
    if (found.empty())
        return std::nullopt;
    return std::string(found.substr(0, maximumVersion));
}

HelperAnswer answerIn(Json response) {
    if (const Json* error = objectMember(response, "error"))
        return tl::unexpected(failureIn(*error));
    if (objectMember(response, "result"))
        return std::move(response["result"]);
    return tl::unexpected(BridgeFailure::protocolError("missing result"));
}

std::optional<BridgeEvent> announcementIn(const std::string& method, const Json& notification) {
    const Json* params = objectMember(notification, "params");
    if (method == HelperMethod::accountUpdated) {
        const std::string* mode = params ? stringMember(*params, "authMode") : nullptr;
        if (mode && contains(knownModes, *mode))
            return AccountChanged{*mode};
        return AccountChanged{};
    }
    if (method == HelperMethod::loginCompleted && params) {
        const std::string* id = stringMember(*params, "loginId");
        if (id && id->size() <= maximumLoginId)
            return LoginCompleted{*id, boolMember(*params, "success").value_or(false)};
    }
    return std::nullopt;
}

} // namespace tallywick
