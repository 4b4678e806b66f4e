#pragma once

#include "codex/PackageFolders.h"

#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tallywick {

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

} // namespace tallywick
