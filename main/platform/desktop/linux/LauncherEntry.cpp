#include "platform/desktop/LauncherEntry.h"

#include "base/CanonicalPath.h"
#include "base/Product.h"
#include "platform/desktop/linux/DesktopEntry.h"
#include "platform/files/FileAccess.h"
#include "platform/files/StandardFolders.h"

#include <optional>
#include <system_error>

namespace tallywick {

namespace fs = std::filesystem;

namespace {

using Failure = tl::unexpected<std::string>;

/// Many times the size of the one that we ship.
constexpr std::size_t maximumIconBytes = 1'048'576;

const std::string identifier = Product::bundleIdentifier;

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

/// Without TryExec: some launchers part its path at the blank, find nothing and hide the entry.
std::optional<std::string> launcherEntry(const fs::path& bundle) {
    return writeDesktopEntry(bundle, {{"Name", Product::name},
                                      {"Comment", "Your weekly Codex allowance at a glance"},
                                      {"Icon", identifier},
                                      {"Categories", "Utility;"},
                                      {"StartupNotify", "true"},
                                      // The window's, so that the dock shows it under this entry.
                                      {"StartupWMClass", identifier}});
}

/// Desktops that keep an index of a theme look at the time of its folder.
void announceChange(const fs::path& iconTheme) {
    std::error_code ignored;
    fs::last_write_time(iconTheme, fs::file_time_type::clock::now(), ignored);
}

} // namespace

tl::expected<void, std::string> registerApplication(const fs::path& bundle) {
    const auto places = placesOfRegistration();
    if (!places)
        return Failure("There is no folder for the entries of the launcher.");
    std::error_code error;
    const bool isTaken = fs::exists(fs::symlink_status(places->entry, error));
    if (isTaken && !bundleOpenedByFile(places->entry))
        return Failure("An unrelated entry already uses this name in the launcher. It has "
                       "not been changed.");
    const auto icon =
        readRegularFile(bundle / "Contents/Resources/corvane-logo.png", maximumIconBytes);
    const auto entry = launcherEntry(bundle);
    if (!icon || !entry || writeFileAtomically(places->icon, *icon) != WriteResult::written
        || writeFileAtomically(places->entry, *entry) != WriteResult::written)
        return Failure("The entry of the launcher could not be written.");
    announceChange(places->iconTheme);
    return {};
}

void unregisterApplication(const fs::path& bundle) {
    const auto places = placesOfRegistration();
    if (!places || bundleOpenedByFile(places->entry) != standardisedPath(bundle))
        return;
    std::error_code ignored;
    fs::remove(places->entry, ignored);
    if (isCanonicalPath(places->icon))
        fs::remove(places->icon, ignored);
    announceChange(places->iconTheme);
}

} // namespace tallywick
