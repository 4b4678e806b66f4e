#pragma once

#include "base/Json.h"

#include <optional>
#include <string>
#include <string_view>

namespace tallywick {

/// What tells one account from another, in clear: the account id of the allowance result, else the
/// account's e-mail address in lower case; with the workspace when there is one. Absent when the
/// helper reports neither. Only its hash is kept.
std::optional<std::string> accountIdentity(const Json& account, const Json& allowance);

/// The only form in which an identity is kept or compared: the SHA-256 of its UTF-8 bytes as 64
/// lower-case hexadecimal digits.
std::string accountHash(std::string_view identity);

} // namespace tallywick
