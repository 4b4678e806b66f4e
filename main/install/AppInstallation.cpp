#include "install/AppInstallation.h"

#include "base/CanonicalPath.h"
#include "base/Json.h"
#include "platform/bundle/ApplicationBundle.h"

#include <QUuid>

#include <algorithm>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

namespace tallywick {

namespace fs = std::filesystem;

namespace {

fs::file_type typeOf(const fs::path& path) {
    std::error_code error; // leaves the type `none`
    return fs::symlink_status(path, error).type();
}

bool hasText(const Json& dictionary, std::string_view key, std::string_view text) {
    const std::string* const value = stringMember(dictionary, key);
    return value && *value == text;
}

} // namespace

namespace AppInstallation {

std::vector<fs::path> applicationsFolders(const fs::path& home) {
    return {"/Applications", home / "Applications"};
}

bool hasBundleIdentity(const fs::path& folder) {
    const fs::path bundle = standardisedPath(folder); // "X.app/" would look through a link
    if (bundle.extension() != ".app" || typeOf(bundle) == fs::file_type::symlink)
        return false;
    const auto information = informationDictionary(bundle);
    return information && hasText(*information, "CFBundleIdentifier", Product::bundleIdentifier)
           && hasText(*information, "CFBundleExecutable", Product::executableName)
           && isExecutableFile(bundle / Product::executablePath);
}

bool isVerifiedBundle(const fs::path& folder, const CodeSignature& signature) {
    const auto isPlainFile = [&](const char* name) {
        const fs::path file = standardisedPath(folder) / name;
        return typeOf(file) == fs::file_type::regular && isCanonicalPath(file);
    };
    return hasBundleIdentity(folder) && isCanonicalPath(folder)
           && std::all_of(requiredFiles.begin(), requiredFiles.end(), isPlainFile)
           && signature.isValid(folder);
}

bool isInstalledLocation(const fs::path& folder, const std::vector<fs::path>& applicationsFolders) {
    const auto isIn = [&](const fs::path& applications) {
        return standardisedPath(folder)
               == standardisedPath(applications / Product::applicationFolderName);
    };
    return std::any_of(applicationsFolders.begin(), applicationsFolders.end(), isIn)
           && isCanonicalPath(folder);
}

namespace {

constexpr const char* folderIsBusy =
    "Another copy is being installed in Applications. Try again in a moment.";

/// A name that nothing has yet.
std::string hiddenName(std::string_view prefix) {
    const QString uuid = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    return std::string(prefix) + uuid.toStdString() + ".app";
}

std::string preservedAt(const fs::path& backup) {
    return "Installation stopped. The previous app is preserved at " + backup.string()
           + ". Move it back to Applications to restore it.";
}

/// The new copy beside the destination; it is removed again unless it gets there.
class StagedCopy {
  public:
    StagedCopy(fs::path itsPlace, FileManager& manager)
        : place(std::move(itsPlace)), files(manager) {}
    ~StagedCopy() {
        if (files.exists(place)) // what cannot be removed is found at the next start
            static_cast<void>(files.remove(place));
    }
    StagedCopy(const StagedCopy&) = delete;
    StagedCopy& operator=(const StagedCopy&) = delete;

    FileManager::Result take(const fs::path& source, const Verify& verify) {
        if (auto copied = files.copy(source, place); !copied)
            return copied;
        if (!verify(place))
            return tl::unexpected(std::string(message(InstallationFailure::invalidBundle)));
        return {};
    }
    FileManager::Result moveTo(const fs::path& destination) {
        return files.move(place, destination);
    }

  private:
    const fs::path place;
    FileManager& files;
};

} // namespace

std::unique_ptr<FileLock> claim(const fs::path& applicationsFolder) {
    return FileLock::tryToTakeFolder(applicationsFolder);
}

tl::expected<Installed, std::string> install(const fs::path& source, const fs::path& destination,
                                             FileManager& files, const Verify& verify) {
    const auto failure = [](InstallationFailure reason) {
        return tl::unexpected(std::string(message(reason)));
    };
    const fs::path from = standardisedPath(source);
    const fs::path to = standardisedPath(destination);
    const fs::path folder = to.parent_path();
    if (!verify(from))
        return failure(InstallationFailure::invalidBundle);
    if (from == to)
        return Installed();
    if (const auto created = files.createFolders(folder); !created)
        return tl::unexpected(created.error());
    Installed result{{}, claim(folder)};
    if (!result.claim)
        return tl::unexpected(std::string(folderIsBusy));
    const bool replaces = files.exists(to);
    if (replaces && !hasBundleIdentity(to))
        return failure(InstallationFailure::unrelatedDestination);

    StagedCopy copy(folder / hiddenName(stagingPrefix), files);
    if (const auto taken = copy.take(from, verify); !taken)
        return tl::unexpected(taken.error());
    if (replaces) {
        result.backup = folder / hiddenName(backupPrefix);
        if (const auto moved = files.move(to, *result.backup); !moved)
            return tl::unexpected(moved.error());
    }
    const auto moved = copy.moveTo(to);
    if (moved)
        return result;
    if (replaces && !files.move(*result.backup, to))
        return tl::unexpected(preservedAt(*result.backup));
    return tl::unexpected(moved.error());
}

} // namespace AppInstallation

RunningBundle inspectBundle(const fs::path& bundle,
                            const std::vector<fs::path>& applicationsFolders,
                            std::shared_ptr<const CodeSignature> signature) {
    RunningBundle found;
    if (const auto information = informationDictionary(bundle)) {
        if (const auto* version = stringMember(*information, "CFBundleShortVersionString"))
            found.version = *version;
        if (const auto* build = stringMember(*information, "CFBundleVersion"))
            found.build = *build;
        found.isPreview = boolMember(*information, "CorvanePreview").value_or(false);
    }
    found.isManaged = isManagedBundle(bundle);
    found.isInstalled =
        found.isManaged || AppInstallation::isInstalledLocation(bundle, applicationsFolders);
    found.isVerified = [bundle, signature = std::move(signature)] {
        return AppInstallation::isVerifiedBundle(bundle, *signature);
    };
    return found;
}

std::string_view message(InstallationFailure failure) {
    switch (failure) {
    case InstallationFailure::invalidBundle:
        return "This app is incomplete. Download a fresh copy and try again.";
    case InstallationFailure::unrelatedDestination:
        return "An unrelated item already uses this name in Applications. It has not been changed.";
    case InstallationFailure::runningCopy:
        return "The installed utility is still running. Quit it, then try again.";
    case InstallationFailure::unsafeData:
        return "A utility data folder points to another location. It was left unchanged for "
               "safety.";
    }
    return {};
}

} // namespace tallywick
