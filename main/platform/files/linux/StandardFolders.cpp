#include "platform/files/StandardFolders.h"

#include "base/CanonicalPath.h"

#include <QByteArray>
#include <QtGlobal>

#include <pwd.h>
#include <unistd.h>

#include <string>
#include <system_error>
#include <vector>

namespace tallywick {

namespace fs = std::filesystem;

namespace {

/// Room for one entry of the password database; the usual one takes a tenth.
constexpr std::size_t passwordEntrySize = 16'384;

/// The path without links, as far as it exists.
fs::path resolved(const fs::path& path) {
    std::error_code error;
    const fs::path canonical = fs::weakly_canonical(path, error);
    return standardisedPath(error ? path : canonical);
}

/// QStandardPaths is of no use here: it takes relative values as they stand and changes bytes that
/// are not valid UTF-8.
std::optional<fs::path> folderFromEnvironment(const char* variable) {
    const fs::path folder = qgetenv(variable).toStdString();
    return folder.is_absolute() ? std::optional(resolved(folder)) : std::nullopt;
}

std::optional<fs::path> homeOnRecord() {
    std::vector<char> room(passwordEntrySize);
    passwd entry{};
    passwd* found = nullptr;
    if (::getpwuid_r(::geteuid(), &entry, room.data(), room.size(), &found) != 0 || !found)
        return std::nullopt;
    const fs::path folder = entry.pw_dir;
    return folder.is_absolute() ? std::optional(resolved(folder)) : std::nullopt;
}

std::optional<fs::path> ownHome() {
    const auto home = folderFromEnvironment("HOME");
    return home ? home : homeOnRecord();
}

/// One of the user's folders, where the desktop puts it or at its usual place.
std::optional<fs::path> userFolder(const char* variable, const fs::path& belowHome) {
    if (auto folder = folderFromEnvironment(variable))
        return folder;
    const auto home = ownHome();
    return home ? std::optional(*home / belowHome) : std::nullopt;
}

} // namespace

fs::path homeFolder() { return ownHome().value_or("/"); }

std::optional<fs::path> applicationSupportFolder() {
    return userFolder("XDG_DATA_HOME", fs::path(".local") / "share");
}

std::optional<fs::path> preferencesFolder() { return userFolder("XDG_CONFIG_HOME", ".config"); }

std::optional<fs::path> cachesFolder() { return userFolder("XDG_CACHE_HOME", ".cache"); }

} // namespace tallywick
