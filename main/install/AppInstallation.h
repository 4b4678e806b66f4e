#pragma once

#include "base/Product.h"
#include "platform/bundle/CodeSignature.h"
#include "platform/files/FileAccess.h"
#include "platform/files/FileManager.h"

#include <tl/expected.hpp>

#include <array>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tallywick {

namespace AppInstallation {

/// The files of a complete copy, relative to the application folder.
inline constexpr std::array requiredFiles{
    "Contents/Info.plist", Product::executablePath, "Contents/Resources/corvane-logo.png",
    "Contents/Resources/CorvaneIcon.icns", "Contents/_CodeSignature/CodeResources"};

/// The folders in which a copy counts as installed: everybody's, then the user's own.
std::vector<std::filesystem::path> applicationsFolders(const std::filesystem::path& home);

/// Whether the folder is this application by name and identity: a folder with the extension "app",
/// no symbolic link itself, whose information dictionary names our identifier and executable, and
/// whose executable may be run. Says nothing about the rest of its content.
bool hasBundleIdentity(const std::filesystem::path& folder);

/// Whether the folder is a complete copy of this application with a valid signature: it has the
/// identity and every required file as a regular file, and neither the folder nor one of these is
/// reached through a symbolic link anywhere on its path. Reads the whole bundle; any thread.
bool isVerifiedBundle(const std::filesystem::path& folder, const CodeSignature& signature);

/// Whether the folder, which need not exist, is the application folder in one of
/// `applicationsFolders` and is reached through no symbolic link.
bool isInstalledLocation(const std::filesystem::path& folder,
                         const std::vector<std::filesystem::path>& applicationsFolders);

/// Whether a folder is a complete copy: `isVerifiedBundle`, as a rule.
using Verify = std::function<bool(const std::filesystem::path&)>;

// What an installation puts beside the destination, for as long as it needs it, is hidden and
// called by one of these prefixes, a UUID in upper case, and the extension "app".
inline constexpr std::string_view stagingPrefix = ".Corvane-install-"; ///< the new copy
inline constexpr std::string_view backupPrefix = ".Corvane-previous-"; ///< the one it replaces

/// The right to install into a folder and to put right what lies there: one has it at a time, in
/// all programs of this machine, until it lets go of it or ends. It is held as long as hidden items
/// of ours lie in the folder. Null when another has it, or when there is no such folder. Whoever
/// can see the folder can claim it; where it cannot be locked everybody has it.
std::unique_ptr<FileLock> claim(const std::filesystem::path& applicationsFolder);

/// What an installation has left beside its destination.
struct Installed {
    std::optional<std::filesystem::path> backup; ///< of the copy that was replaced
    std::shared_ptr<FileLock> claim;             ///< on the folder; null when nothing was to do
};

/// Puts a copy of the application `source` at `destination`, in the place of an earlier copy if
/// there is one. That is set aside first, under a hidden name beside it, and put back when anything
/// fails. The folder of the destination is made, once the source has proved complete. Or a
/// sentence: of an `InstallationFailure`, of the step that failed, that another installs there, or
/// where the previous copy is when it could not be put back. Any thread; waits for the disk.
[[nodiscard]] tl::expected<Installed, std::string> install(const std::filesystem::path& source,
                                                           const std::filesystem::path& destination,
                                                           FileManager& files,
                                                           const Verify& verify);

} // namespace AppInstallation

/// What is known at start of the application bundle that runs.
struct RunningBundle {
    std::optional<std::string> version = {}; ///< its short version
    std::optional<std::string> build = {};   ///< of that version
    bool isPreview = false;
    bool isInstalled = false; ///< it lies where an installed copy lies, or is managed
    bool isManaged = false;   ///< the system's package manager looks after it: `isManagedBundle`
    /// Whether it is a complete copy. Reads the whole bundle; any thread.
    std::function<bool()> isVerified = [] { return false; };
};

/// Looks at the bundle's place and information dictionary. Damaged entries count as missing.
RunningBundle inspectBundle(const std::filesystem::path& bundle,
                            const std::vector<std::filesystem::path>& applicationsFolders,
                            std::shared_ptr<const CodeSignature> signature);

/// Why an installation or an uninstallation stopped; thrown inside one.
enum class InstallationFailure {
    invalidBundle,        ///< the copy is incomplete, changed, or not this application
    unrelatedDestination, ///< something else bears the application's name; it was not touched
    runningCopy,          ///< the copy to be replaced still runs
    unsafeData            ///< a folder of the user's data is reached through a symbolic link
};

/// The sentence for the user.
std::string_view message(InstallationFailure failure);

} // namespace tallywick
