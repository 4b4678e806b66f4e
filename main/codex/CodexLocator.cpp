#include "codex/CodexLocator.h"

#include "platform/ExecutableFile.h"
#include "platform/FileAccess.h"

#include <strings.h>

#include <algorithm>
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
constexpr std::size_t maximumSearchParts = 24;       // longer search paths are made by accident
constexpr std::size_t maximumExtensions = 6;         // editors leave old versions behind
constexpr std::size_t maximumFolderEntries = 10'000; // a folder of extensions holds some hundred
constexpr int maximumLinks = 8;                      // from the search path into a package; 1 or 2
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

/// The absolute ones among the first parts of the search path; empty parts do not count.
Paths searchFolders(std::string_view searchPath) {
    Paths folders;
    for (std::size_t parts = 0; parts < maximumSearchParts && !searchPath.empty();) {
        const std::string_view part = searchPath.substr(0, searchPath.find(':'));
        searchPath.remove_prefix(std::min(part.size() + 1, searchPath.size()));
        if (!part.empty())
            ++parts;
        if (part.starts_with('/'))
            folders.emplace_back(part);
    }
    return folders;
}

/// The folder of packages that `link` leads into, when it leads into this package. Package managers
/// link the command to a script: P/bin/codex to P/lib/node_modules/@openai/codex/bin/codex.js.
/// Links are followed one by one, since the package may in turn be a link to a folder elsewhere,
/// and the script may be missing.
std::optional<fs::path> packagesBehind(fs::path link, const std::string& package) {
    const std::string intoPackage = "/node_modules/" + package + "/";
    for (int links = 0; links < maximumLinks; ++links) {
        std::error_code error;
        const fs::path target = fs::read_symlink(link, error);
        const fs::path folder = error ? fs::path() : fs::canonical(link.parent_path(), error);
        if (error)
            break;
        link = (folder / target).lexically_normal();
        const std::size_t found = link.native().find(intoPackage);
        if (found != std::string::npos)
            return fs::path(link.native().substr(0, found)) / "node_modules";
    }
    return std::nullopt;
}

/// The extensions of Codex in the folder, last ones by name.
std::set<std::string> lastExtensions(const fs::path& folder) {
    std::set<std::string> names;
    std::error_code error;
    fs::directory_iterator entry(folder, error);
    for (std::size_t seen = 0;
         !error && entry != fs::directory_iterator() && seen < maximumFolderEntries; ++seen) {
        if (const std::string name = entry->path().filename(); name.starts_with(extensionPrefix))
            names.insert(name);
        if (names.size() > maximumExtensions)
            names.erase(names.begin());
        entry.increment(error);
    }
    return names;
}

Paths insideApplications(const Paths& applications) {
    Paths helpers;
    for (const fs::path& application : applications)
        helpers.push_back(application / helperInApplication);
    return helpers;
}

Paths inApplications(const HelperPlaces& places) { return insideApplications(places.applications); }

Paths inRunningApplications(const HelperPlaces& places) {
    if (places.bundleIdentifiers.empty() || !places.runningBundles)
        return {};
    return insideApplications(places.runningBundles(places.bundleIdentifiers));
}

Paths atFixedPlaces(const HelperPlaces& places) { return places.executables; }

Paths inPackages(const HelperPlaces& places) {
    Paths roots = places.packageRoots;
    if (!places.linkedPackage.empty())
        for (const fs::path& folder : searchFolders(places.searchPath))
            if (const auto root = packagesBehind(folder / helperName, places.linkedPackage))
                roots.push_back(*root);
    Paths helpers;
    for (const fs::path& root : roots)
        for (const fs::path& helper : places.packageHelpers)
            helpers.push_back(root / helper);
    return helpers;
}

Paths onSearchPath(const HelperPlaces& places) {
    Paths helpers;
    for (const fs::path& folder : searchFolders(places.searchPath))
        helpers.push_back(folder / helperName);
    return helpers;
}

Paths inExtensions(const HelperPlaces& places) {
    Paths helpers;
    for (const fs::path& folder : places.extensionFolders)
        for (const std::string& extension : lastExtensions(folder))
            for (const fs::path& helper : places.extensionHelpers)
                helpers.push_back(folder / extension / helper);
    return helpers;
}

} // namespace

CodexLocator::CodexLocator(HelperPlaces where) : places(std::move(where)) {}

std::vector<fs::path> CodexLocator::candidates(const std::optional<fs::path>& preferred) const {
    Paths found;
    const auto take = [&](const Paths& paths) {
        for (const fs::path& path : paths) {
            if (found.size() == maximumCandidates)
                return;
            auto helper = resolve(path);
            if (helper && std::find(found.begin(), found.end(), *helper) == found.end())
                found.push_back(std::move(*helper));
        }
    };
    if (preferred)
        take({*preferred});
    for (const auto kind : {inApplications, inRunningApplications, atFixedPlaces, inPackages,
                            onSearchPath, inExtensions})
        if (found.size() < maximumCandidates)
            take(kind(places));
    return found;
}

std::optional<fs::path> CodexLocator::resolve(const fs::path& chosen) const {
    const fs::path place = isApplication(chosen) ? chosen / helperInApplication : chosen;
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

} // namespace tallywick
