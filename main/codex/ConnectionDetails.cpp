#include "codex/ConnectionDetails.h"

namespace tallywick {

std::string ConnectionDetails::copyText(const std::optional<std::string>& appVersion) const {
    std::string text = "Corvane Mac " + appVersion.value_or("test");
    text += "\nCodex: " + helperVersion;
    text += "\nHelper: " + location;
    text += "\nStage: " + stage;
    text += "\nResult: " + category;
    text += "\nAuth mode: " + authMode;
    text += "\nRecovery: " + recovery;
    text += "\nOptional activity: " + tokens;
    return text;
}

std::string maskedLocation(const std::filesystem::path& executable,
                           const std::filesystem::path& homeFolder) {
    const std::string& path = executable.native();
    if (path.starts_with("/Applications/"))
        return "/Applications/<Codex app>/…/codex";
    if (path.starts_with((homeFolder / "Applications" / "").native()))
        return "~/Applications/<Codex app>/…/codex";
    if (path.starts_with("/opt/homebrew/"))
        return "/opt/homebrew/…/codex";
    if (path.starts_with("/usr/local/"))
        return "/usr/local/…/codex";
    return "<user-selected or IDE installation>/…/codex";
}

} // namespace tallywick
