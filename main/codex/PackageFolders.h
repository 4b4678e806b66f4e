#pragma once

#include <filesystem>
#include <string>
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
