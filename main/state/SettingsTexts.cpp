#include "state/SettingsTexts.h"

namespace tallywick {

std::string_view storageNotice(StorageObstacle obstacle) {
    switch (obstacle) {
    case StorageObstacle::noPlace:
        return SettingsText::noPlaceToKeep;
    case StorageObstacle::symbolicLink:
        return SettingsText::keptBehindLink;
    case StorageObstacle::anotherOwner:
        return SettingsText::keptByAnother;
    }
    return {};
}

std::string_view tokenStatusReceived(bool hasLifetime) {
    return hasLifetime ? TokenStatusText::reported : TokenStatusText::notReported;
}

std::string_view tokenStatusFailed(bool hasLifetime) {
    return hasLifetime ? TokenStatusText::stale : TokenStatusText::unavailable;
}

std::string installationLabel(bool isPreview, bool isInstalled, std::optional<bool> verified) {
    const std::string start = isPreview ? "PREVIEW — awaiting your approval · " : "";
    if (!isInstalled)
        return start + "Installer / portable copy — install before creating an alias";
    if (!verified)
        return start + "Checking installed bundle…";
    return start
           + (*verified ? "Installed in Applications" : "Installation needs repair — Get Setup");
}

} // namespace tallywick
