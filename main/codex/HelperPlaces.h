#pragma once

#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tallywick {

/// Where a package manager keeps its folders of packages ("node_modules"), and its own commands.
struct PackageFolders {
    std::filesystem::path base;
    /// Below `base`. A part "*" stands for every folder at that place, one for each version.
    std::filesystem::path pattern;
    /// Folders whose commands stand for these packages, though no link leads from one to the other.
    std::vector<std::filesystem::path> shims;
};

/// What the beginning of a helper for one system looks like.
struct HelperFormat {
    std::vector<std::string> magics; ///< the accepted first four bytes
    /// The processors for which a program that begins with these bytes was built.
    std::set<std::string> (*architectures)(std::string_view bytes) = nullptr;
    std::string architecture; ///< the one that must be among them
};

/// The places of the running applications that have one of these bundle identifiers.
using RunningBundles =
    std::function<std::vector<std::filesystem::path>(const std::vector<std::string>& identifiers)>;

/// The places at which a system's users have Codex helpers, in the order of preference, and the
/// format that counts there. Rules about a system, so that those of each can be tested on any.
struct HelperPlaces {
    std::vector<std::filesystem::path> applications;   ///< app folders
    std::vector<std::string> bundleIdentifiers;        ///< of applications to be found running
    std::vector<std::filesystem::path> executables;    ///< fixed places of the helper itself
    std::vector<std::filesystem::path> packageRoots;   ///< folders of packages, "node_modules"
    std::vector<std::filesystem::path> packageHelpers; ///< relative to such a folder
    /// The package whose folder of packages is also looked for behind each link that stands at a
    /// fixed place or as "codex" in a folder of the search path; empty where such links are not
    /// followed up.
    std::string linkedPackage;
    std::string searchPath;                      ///< as in PATH
    std::vector<PackageFolders> managedPackages; ///< folders of packages of each package manager
    std::vector<std::filesystem::path> extensionFolders; ///< folders of editor extensions
    std::vector<std::filesystem::path> extensionHelpers; ///< relative to an extension
    HelperFormat format;
    RunningBundles runningBundles; ///< asked when there are `bundleIdentifiers`
};

/// What of the places differs from one user and one moment to the next.
struct HelperSurroundings {
    std::filesystem::path root{"/"}; ///< what the system's own places are taken from
    std::filesystem::path home;
    std::string searchPath;
    RunningBundles runningBundles;
    /// The value of an environment variable, empty when it is not set; not asked when null.
    std::function<std::string(const char* name)> environment;
};

/// The places on a Mac with an arm64 processor.
HelperPlaces macHelperPlaces(const HelperSurroundings& surroundings);

/// The places on Linux with the processor "arm64" or "x86_64"; no helper counts on another one.
HelperPlaces linuxHelperPlaces(const HelperSurroundings& surroundings,
                               const std::string& processor);

/// The places on the system, for the processor and in the environment of this program.
HelperPlaces systemHelperPlaces();

/// Looks at the entries of a folder of versions or extensions, 10,000 at most: real ones have some
/// hundred. One that cannot be read has none.
void visitEntries(const std::filesystem::path& folder,
                  const std::function<void(const std::filesystem::directory_entry&)>& visit);

/// The folders that the pattern stands for, the newest version first: names are compared with their
/// numbers as numbers, so that v20.10.0 is newer than v20.9.0. A link from one version to another
/// beside it is no version of its own. At most 48, and those without a star need not exist.
std::vector<std::filesystem::path> packageFolders(const PackageFolders& places);

/// What stands at the path and what it leads to, link by link, each as it is named and then with
/// the links of its folder resolved. Empty when nothing is there; the last target need not exist.
std::vector<std::filesystem::path> linkChain(const std::filesystem::path& path);

/// The folder of packages in which the path names this package, one that belongs to it
/// ("package-…") or anything inside of either; empty when it does not.
std::filesystem::path folderOfPackages(const std::filesystem::path& path,
                                       const std::string& package);

} // namespace tallywick
