#include "platform/files/StandardFolders.h"

#include "base/CanonicalPath.h"
#include "platform/files/FileAccess.h"

#include <QByteArray>
#include <QtGlobal>

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
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

/// The bytes of "user-dirs.dirs"; the usual one takes a hundredth.
constexpr std::size_t maximumUserFoldersBytes = 65'536;

std::string_view withoutBlanksBefore(std::string_view text) {
    return text.substr(std::min(text.find_first_not_of(" \t"), text.size()));
}

/// The value of an assignment "name="value"" in the language of shells, as far as it needs no
/// shell: a text in quotes, which may begin with "$HOME". Absent when the line is anything else.
std::optional<fs::path> assignedFolder(std::string_view line, std::string_view name,
                                       const fs::path& home) {
    const std::string start = std::string(name) + "=\"";
    line = withoutBlanksBefore(line);
    if (!line.starts_with(start))
        return std::nullopt;
    line.remove_prefix(start.size());
    std::string folder;
    if (line.starts_with("$HOME/")) {
        folder = home;
        line.remove_prefix(std::string_view("$HOME").size());
    }
    for (; !line.empty() && line.front() != '"'; line.remove_prefix(1)) {
        if (line.front() == '$' || line.front() == '`' || line.front() == '\0')
            return std::nullopt;
        if (line.front() == '\\' && line.size() > 1)
            line.remove_prefix(1);
        folder += line.front();
    }
    const bool isClosed = !line.empty() && withoutBlanksBefore(line.substr(1)).empty();
    return isClosed && folder.starts_with('/') ? std::optional<fs::path>(folder) : std::nullopt;
}

/// The last folder that the user's file names for the desktop.
std::optional<fs::path> namedDesktop(const fs::path& home) {
    const auto preferences = preferencesFolder();
    std::error_code error;
    const fs::path file =
        preferences ? fs::canonical(*preferences / "user-dirs.dirs", error) : fs::path();
    const std::string text = readRegularFile(file, maximumUserFoldersBytes).value_or("");
    std::optional<fs::path> named;
    for (std::size_t start = 0, end = 0; start < text.size(); start = end + 1) {
        end = std::min(text.find('\n', start), text.size());
        const auto line = std::string_view(text).substr(start, end - start);
        if (auto folder = assignedFolder(line, "XDG_DESKTOP_DIR", home))
            named = std::move(folder);
    }
    return named;
}

} // namespace

fs::path homeFolder() { return ownHome().value_or("/"); }

std::optional<fs::path> applicationSupportFolder() {
    return userFolder("XDG_DATA_HOME", fs::path(".local") / "share");
}

std::optional<fs::path> preferencesFolder() { return userFolder("XDG_CONFIG_HOME", ".config"); }

std::optional<fs::path> cachesFolder() { return userFolder("XDG_CACHE_HOME", ".cache"); }

std::optional<fs::path> desktopFolder() {
    const auto home = ownHome();
    if (!home)
        return std::nullopt;
    const fs::path desktop = resolved(namedDesktop(*home).value_or(*home / "Desktop"));
    std::error_code error;
    const bool isThere = desktop != *home && fs::is_directory(desktop, error);
    return isThere ? std::optional(desktop) : std::nullopt;
}

} // namespace tallywick
