#include "codex/CodexLocator.h"

#include "platform/files/FileAccess.h"

#include <strings.h>

#include <algorithm>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

namespace tallywick {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t headerSize = 4'096; // holds every header that tells the processor
constexpr std::size_t magicSize = 4;
constexpr std::size_t maximumSearchParts = 24; // longer search paths are made by accident
constexpr std::size_t maximumExtensions = 6;   // editors leave old versions behind
constexpr std::string_view helperName = "codex";
constexpr std::string_view helperInApplication = "Contents/Resources/codex";
constexpr std::string_view extensionPrefix = "openai.chatgpt-";

using Paths = std::vector<fs::path>;

bool isApplication(const fs::path& path) {
    const fs::path named = path.has_filename() ? path : path.parent_path(); // "X.app/" is one too
    return ::strcasecmp(named.extension().c_str(), ".app") == 0;
}

bool isHelperName(std::string_view name) {
    return name == helperName || name.starts_with("codex-");
}

bool isNative(std::string_view header, const HelperFormat& format) {
    return std::count(format.magics.begin(), format.magics.end(), header.substr(0, magicSize)) > 0
           && format.architectures(header).contains(format.architecture);
}

/// The command of the helper in the absolute ones among the first folders of the search path; empty
/// parts do not count.
Paths onSearchPath(const HelperPlaces& places) {
    Paths commands;
    std::string_view searchPath = places.searchPath;
    for (std::size_t parts = 0; parts < maximumSearchParts && !searchPath.empty();) {
        const std::string_view part = searchPath.substr(0, searchPath.find(':'));
        searchPath.remove_prefix(std::min(part.size() + 1, searchPath.size()));
        if (!part.empty())
            ++parts;
        if (part.starts_with('/'))
            commands.push_back(fs::path(part) / helperName);
    }
    return commands;
}

/// The extensions of Codex in the folder, last ones by name.
std::set<std::string> lastExtensions(const fs::path& folder) {
    std::set<std::string> names;
    visitEntries(folder, [&](const fs::directory_entry& entry) {
        if (const std::string name = entry.path().filename(); name.starts_with(extensionPrefix))
            names.insert(name);
        if (names.size() > maximumExtensions)
            names.erase(names.begin());
    });
    return names;
}

Paths insideApplications(const Paths& applications) {
    Paths helpers;
    for (const fs::path& application : applications)
        helpers.push_back(application / helperInApplication);
    return helpers;
}

Paths inRunningApplications(const HelperPlaces& places) {
    if (places.bundleIdentifiers.empty() || !places.runningBundles)
        return {};
    return insideApplications(places.runningBundles(places.bundleIdentifiers));
}

/// The helpers that folders of packages would hold.
Paths inPackages(const Paths& roots, const HelperPlaces& places) {
    Paths helpers;
    for (const fs::path& root : roots)
        for (const fs::path& helper : places.packageHelpers)
            helpers.push_back(root / helper);
    return helpers;
}

/// The folders of packages of each package manager that has the file among its shims.
Paths packagesOfShim(const fs::path& file, const HelperPlaces& places) {
    Paths roots;
    for (const PackageFolders& manager : places.managedPackages)
        for (const fs::path& shims : manager.shims)
            if (std::error_code error; fs::equivalent(file.parent_path(), shims, error))
                for (fs::path& root : packageFolders(manager))
                    roots.push_back(std::move(root));
    return roots;
}

/// The helpers in the packages that a file, or a link to it, stands for. Package managers put a
/// script into the search path, or a link to one: P/bin/codex leads to
/// P/lib/node_modules/@openai/codex/bin/codex.js. Links are followed one by one, since the package
/// may in turn be a link to a folder elsewhere, and the script may be missing.
Paths inPackagesBehind(const fs::path& file, const HelperPlaces& places) {
    if (places.linkedPackage.empty())
        return {};
    for (const fs::path& link : linkChain(file)) {
        if (const fs::path root = folderOfPackages(link, places.linkedPackage); !root.empty())
            return inPackages({root}, places);
        if (isHelperName(link.filename().native()))
            if (const Paths roots = packagesOfShim(link, places); !roots.empty())
                return inPackages(roots, places);
    }
    return {};
}

Paths inExtensions(const fs::path& folder, const HelperPlaces& places) {
    Paths helpers;
    for (const std::string& extension : lastExtensions(folder))
        for (const fs::path& helper : places.extensionHelpers)
            helpers.push_back(folder / extension / helper);
    return helpers;
}

/// A place that is looked at in one go, and what tells the files there that may be helpers. Nothing
/// on the disk is touched before the files are asked for.
struct Place {
    fs::path path;
    std::function<Paths()> files;
};

std::vector<Place> placesInOrder(const HelperPlaces& places) {
    std::vector<Place> order;
    const auto addFiles = [&](const Paths& files) {
        for (const fs::path& file : files)
            order.push_back({file, [file] { return Paths{file}; }});
    };
    const auto addLinks = [&](const Paths& links) {
        for (const fs::path& link : links)
            order.push_back({link, [&places, link] { return inPackagesBehind(link, places); }});
    };
    addFiles(insideApplications(places.applications));
    order.push_back({{}, [&places] { return inRunningApplications(places); }});
    addFiles(places.executables);
    for (const fs::path& root : places.packageRoots)
        order.push_back({root, [&places, root] { return inPackages({root}, places); }});
    const Paths commands = onSearchPath(places);
    addLinks(places.executables);
    addLinks(commands);
    addFiles(commands);
    for (const PackageFolders& manager : places.managedPackages)
        order.push_back({manager.base, [&places, &manager] {
                             return inPackages(packageFolders(manager), places);
                         }});
    for (const fs::path& folder : places.extensionFolders)
        order.push_back({folder, [&places, folder] { return inExtensions(folder, places); }});
    return order;
}

} // namespace

CodexLocator::CodexLocator(HelperPlaces where) : places(std::move(where)) {}

Paths CodexLocator::candidates(const std::optional<fs::path>& preferred) const {
    SearchProgress progress;
    search({.chosen = preferred}, progress);
    return progress.found();
}

void CodexLocator::search(const HelperQuery& query, SearchProgress& progress) const {
    Paths found;
    const auto take = [&](std::optional<fs::path> helper) {
        if (helper && std::find(found.begin(), found.end(), *helper) == found.end()) {
            progress.add(*helper);
            found.push_back(std::move(*helper));
        }
        return found.size() == maximumHelpers;
    };
    if (query.chosen && progress.enter(*query.chosen))
        take(resolve(*query.chosen));
    if (query.onlyChosen)
        return;
    for (const Place& place : placesInOrder(places))
        if (progress.enter(place.path))
            for (const fs::path& file : place.files())
                if (take(nativeHelper(file)))
                    return;
}

std::optional<fs::path> CodexLocator::resolve(const fs::path& chosen) const {
    if (auto helper = nativeHelper(isApplication(chosen) ? chosen / helperInApplication : chosen))
        return helper;
    for (const fs::path& file : inPackagesBehind(chosen, places))
        if (auto helper = nativeHelper(file))
            return helper;
    return std::nullopt;
}

std::optional<fs::path> CodexLocator::nativeHelper(const fs::path& place) const {
    // Asked first, since most places hold nothing and this is the cheapest way to see it.
    if (!isExecutableFile(place))
        return std::nullopt;
    std::error_code error;
    fs::path helper = fs::canonical(place, error);
    if (error || !isHelperName(helper.filename().native()))
        return std::nullopt;
    const auto header = readFileStart(helper, headerSize);
    if (!header || !isNative(*header, places.format))
        return std::nullopt;
    return helper;
}

HelperSearch systemHelperSearch() {
    return [locator = CodexLocator(systemHelperPlaces())](const HelperQuery& query,
                                                          SearchProgress& progress) {
        locator.search(query, progress);
    };
}

} // namespace tallywick
