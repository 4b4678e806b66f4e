#include "codex/AccountIdentity.h"

#include "base/Sha256.h"

#include <QString>

namespace tallywick {

namespace {

std::optional<std::string> nonEmptyString(const Json& object, std::string_view name) {
    const std::string* text = stringMember(object, name);
    return text && !text->empty() ? std::optional(*text) : std::nullopt;
}

} // namespace

std::optional<std::string> accountIdentity(const Json& account, const Json& allowance) {
    std::optional<std::string> identity = nonEmptyString(allowance, "accountId");
    if (!identity) {
        identity = nonEmptyString(account, "email");
        if (!identity)
            return std::nullopt;
        identity = QString::fromStdString(*identity).toLower().toStdString();
    }
    if (const auto workspace = nonEmptyString(allowance, "workspaceId"))
        *identity += "|workspace:" + *workspace;
    return identity;
}

std::string accountHash(std::string_view identity) { return sha256Hex(identity); }

} // namespace tallywick
