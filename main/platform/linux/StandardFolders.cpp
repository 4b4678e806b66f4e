#include "platform/StandardFolders.h"

#include <QByteArray>
#include <QtGlobal>

#include <optional>
#include <string>
#include <system_error>

namespace tallywick {

namespace fs = std::filesystem;

namespace {

/// QStandardPaths is of no use here: it takes relative values as they stand and changes bytes that
/// are not valid UTF-8.
std::optional<fs::path> folderFromEnvironment(const char* variable) {
    fs::path folder = qgetenv(variable).toStdString();
    if (!folder.is_absolute())
        return std::nullopt;
    return folder;
}

/// One of the user's folders, where the desktop puts it or at its usual place.
fs::path userFolder(const char* variable, const fs::path& belowHome) {
    if (auto folder = folderFromEnvironment(variable))
        return *folder;
    if (auto home = folderFromEnvironment("HOME"))
        return *home / belowHome;
    std::error_code error;
    fs::path temporary = fs::temp_directory_path(error);
    return error ? fs::path("/tmp") : temporary;
}

} // namespace

fs::path homeFolder() { return folderFromEnvironment("HOME").value_or("/"); }

fs::path applicationSupportFolder() {
    return userFolder("XDG_DATA_HOME", fs::path(".local") / "share");
}

fs::path preferencesFolder() { return userFolder("XDG_CONFIG_HOME", ".config"); }

} // namespace tallywick
