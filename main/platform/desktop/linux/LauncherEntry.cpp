#include "platform/desktop/LauncherEntry.h"

#include "base/CanonicalPath.h"
#include "base/Product.h"
#include "platform/desktop/Activation.h"
#include "platform/desktop/linux/DesktopEntry.h"
#include "platform/files/FileAccess.h"
#include "platform/files/StandardFolders.h"

#include <system_error>

namespace tallywick {

namespace fs = std::filesystem;

namespace {

using Failure = tl::unexpected<std::string>;

/// Many times the size of the one that we ship.
constexpr std::size_t maximumIconBytes = 1'048'576;

const std::string identifier = Product::bundleIdentifier;
constexpr const char* logoPath = "Contents/Resources/corvane-logo.png";
constexpr const char* comment = "Your weekly Codex allowance at a glance";

/// Where an application is registered.
struct Places {
    fs::path entry, icon;
    fs::path iconTheme; ///< holds the icon, with those of other sizes and programs
};

std::optional<Places> placesOfRegistration() {
    const auto data = applicationSupportFolder();
    if (!data)
        return std::nullopt;
    const fs::path theme = *data / "icons/hicolor";
    return Places{*data / "applications" / (identifier + ".desktop"),
                  theme / "256x256/apps" / (identifier + ".png"), theme};
}

/// Where the user's session looks for what it is to start.
std::optional<fs::path> sessionEntryFile() {
    const auto preferences = preferencesFolder();
    return preferences ? std::optional(*preferences / "autostart" / (identifier + ".desktop"))
                       : std::nullopt;
}

/// The copy need not be in the launcher, so the icon is its own.
std::optional<std::string> sessionEntryText(const fs::path& bundle) {
    return writeDesktopEntry(bundle,
                             {{"Name", Product::name},
                              {"Comment", comment},
                              {"TryExec", standardisedPath(bundle) / Product::executablePath},
                              {"Icon", standardisedPath(bundle) / logoPath},
                              {"StartupNotify", "false"},
                              {"X-GNOME-Autostart-enabled", "true"}},
                             {.argument = unfocusedArgument});
}

std::optional<SessionEntry> sessionEntry(const std::optional<fs::path>& file) {
    const auto text = file ? readEntryFile(*file) : std::nullopt;
    return text ? readSessionEntry(*text, unfocusedArgument) : std::nullopt;
}

bool isTaken(const fs::path& path) {
    std::error_code error;
    return fs::exists(fs::symlink_status(path, error));
}

/// With what a writer that was killed has left. Whether the file is gone.
bool removeWritten(const fs::path& file) {
    std::error_code error;
    fs::remove(file.native() + ".new", error);
    fs::remove(file, error);
    return !error;
}

/// Desktops that keep an index of a theme look at the time of its folder.
void announceChange(const fs::path& iconTheme) {
    std::error_code ignored;
    fs::last_write_time(iconTheme, fs::file_time_type::clock::now(), ignored);
}

} // namespace

/// Without TryExec: some launchers part its path at the blank, find nothing and hide the entry.
std::optional<std::string> launcherEntry(const fs::path& bundle) {
    EntryCommands commands;
    for (const LauncherAction& action : launcherActions)
        commands.actions.push_back({action.name, action.argument});
    return writeDesktopEntry(bundle,
                             {{"Name", Product::name},
                              {"Comment", comment},
                              {"Icon", identifier},
                              {"Categories", "Utility;"},
                              {"StartupNotify", "true"},
                              // The window's, so that the dock shows it under this entry.
                              {"StartupWMClass", identifier}},
                             commands);
}

tl::expected<void, std::string> registerApplication(const fs::path& bundle) {
    const auto places = placesOfRegistration();
    if (!places)
        return Failure("There is no folder for the entries of the launcher.");
    if (isTaken(places->entry) && !bundleOpenedByFile(places->entry))
        return Failure("An unrelated entry already uses this name in the launcher. It has "
                       "not been changed.");
    const auto icon = readRegularFile(bundle / logoPath, maximumIconBytes);
    const auto entry = launcherEntry(bundle);
    if (!icon || !entry || writeFileAtomically(places->icon, *icon) != WriteResult::written
        || writeFileAtomically(places->entry, *entry) != WriteResult::written)
        return Failure("The entry of the launcher could not be written.");
    announceChange(places->iconTheme);
    // Where that fails, the one that it names is not started once it is gone.
    if (const auto started = sessionEntry(sessionEntryFile()); started && started->isOn)
        static_cast<void>(setStartsWithSession(bundle, true));
    return {};
}

void unregisterApplication(const fs::path& bundle) {
    static_cast<void>(setStartsWithSession(bundle, false));
    const auto places = placesOfRegistration();
    if (!places || bundleOpenedByFile(places->entry) != standardisedPath(bundle))
        return;
    static_cast<void>(removeWritten(places->entry));
    if (isCanonicalPath(places->icon))
        static_cast<void>(removeWritten(places->icon));
    announceChange(places->iconTheme);
}

bool startsWithSession(const fs::path& bundle) {
    const auto entry = sessionEntry(sessionEntryFile());
    return entry && entry->isOn && entry->bundle == standardisedPath(bundle);
}

tl::expected<void, std::string> setStartsWithSession(const fs::path& bundle, bool starts) {
    const auto file = sessionEntryFile();
    if (!file)
        return Failure("There is no folder for what starts with the session.");
    const auto present = sessionEntry(file);
    if (!present && isTaken(*file))
        return Failure("An unrelated entry already uses this name among what starts with the "
                       "session. It has not been changed.");
    if (!starts) {
        if (present && present->bundle == standardisedPath(bundle) && !removeWritten(*file))
            return Failure("The entry for the start of the session could not be removed.");
        return {};
    }
    const auto entry = sessionEntryText(bundle);
    if (!entry || writeFileAtomically(*file, *entry) != WriteResult::written)
        return Failure("The entry for the start of the session could not be written.");
    return {};
}

} // namespace tallywick
