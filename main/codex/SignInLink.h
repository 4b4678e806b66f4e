#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tallywick {

/// Longest sign-in address that is opened. Real ones take about 400 bytes.
inline constexpr std::size_t maximumSignInLinkBytes = 8192;

/// The text, unchanged, when it is an address that may be opened in the browser for a sign-in: a
/// valid ASCII URL (RFC 3986) that begins with "https://" and one of the account provider's two
/// sign-in hosts, without user, password, port or fragment, not even an empty one.
std::optional<std::string> signInLink(std::string_view text);

} // namespace tallywick
