#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace tallywick {

/// What a user may show to others when the connection does not work: nothing in it tells who is
/// signed in, how much is used, any credential, or a path of the user's.
struct ConnectionDetails {
    std::string helperVersion = "not yet identified";
    std::string location = "not found";  ///< masked
    std::string stage = "discovery";     ///< the last step that was reached
    std::string category = "connecting"; ///< how it stands; an issue's raw value when it failed
    std::string authMode = "not reported";
    std::string recovery = "not needed";      ///< of an expired session
    std::string tokens = "not yet requested"; ///< outcome of reading the token activity

    bool operator==(const ConnectionDetails&) const = default;

    /// Eight lines for the clipboard, no line feed at the end. `appVersion` is the application's
    /// short version; "test" stands for one that is not known.
    std::string copyText(const std::optional<std::string>& appVersion) const;
};

/// Where a helper lies, told without its path.
std::string maskedLocation(const std::filesystem::path& executable,
                           const std::filesystem::path& homeFolder);

} // namespace tallywick
