#include "codex/HelperPlaces.h"

#include "base/ExecutableFormats.h"

#include <algorithm>
#include <string_view>
#include <system_error>

namespace tallywick {

namespace fs = std::filesystem;

// The tables of the systems

namespace {

using Paths = std::vector<fs::path>;

/// Where a tool keeps its data: the folder that the variable names, else the usual one.
fs::path dataFolder(const HelperSurroundings& surroundings, const char* variable,
                    const fs::path& usual) {
    const fs::path moved =
        surroundings.environment ? surroundings.environment(variable) : std::string();
    return moved.is_absolute() ? moved : usual;
}

/// What each package manager on Linux keeps, and the commands that it puts into the search path
/// where those are its own program or a script.
std::vector<PackageFolders> linuxPackageManagers(const HelperSurroundings& surroundings) {
    const fs::path& home = surroundings.home;
    const fs::path share = dataFolder(surroundings, "XDG_DATA_HOME", home / ".local/share");
    const fs::path pnpm = dataFolder(surroundings, "PNPM_HOME", share / "pnpm");
    const fs::path volta = dataFolder(surroundings, "VOLTA_HOME", home / ".volta");
    const fs::path nvm = dataFolder(surroundings, "NVM_DIR", home / ".nvm");
    const fs::path fnm = dataFolder(surroundings, "FNM_DIR", share / "fnm");
    const fs::path asdf = dataFolder(surroundings, "ASDF_DATA_DIR", home / ".asdf");
    const fs::path mise = dataFolder(surroundings, "MISE_DATA_DIR", share / "mise");
    const fs::path bun = dataFolder(surroundings, "BUN_INSTALL", home / ".bun");
    return {
        // Its packages are links into a store: until 10 from .pnpm/node_modules, since then from a
        // folder for each package that was asked for.
        {pnpm, "global/*/*/node_modules", {pnpm, pnpm / "bin"}},
        {pnpm, "global/*/node_modules", {pnpm, pnpm / "bin"}},
        {volta, "tools/image/packages/@openai/codex/lib/node_modules", {volta / "bin"}},
        {nvm, "versions/node/*/lib/node_modules", {}},
        {fnm, "node-versions/*/installation/lib/node_modules", {}},
        {asdf, "installs/nodejs/*/lib/node_modules", {asdf / "shims"}},
        {mise, "installs/node/*/lib/node_modules", {mise / "shims"}},
        // Of its own installations, by npm, by bun and by pnpm.
        {mise, "installs/npm-openai-codex/*/lib/node_modules", {mise / "shims"}},
        {mise, "installs/npm-openai-codex/*/node_modules", {mise / "shims"}},
        {mise, "installs/npm-openai-codex/*/*/*/node_modules", {mise / "shims"}},
        {bun, "install/global/node_modules", {}},
    };
}

} // namespace

HelperPlaces macHelperPlaces(const HelperSurroundings& surroundings) {
    const auto& [root, home, searchPath, runningBundles, environment] = surroundings;
    return {
        .applications = {root / "Applications/ChatGPT.app", root / "Applications/Codex.app",
                         home / "Applications/ChatGPT.app", home / "Applications/Codex.app"},
        .bundleIdentifiers = {"com.openai.chat", "com.openai.codex"},
        .executables = {root / "opt/homebrew/bin/codex", root / "usr/local/bin/codex",
                        home / ".local/bin/codex"},
        .packageRoots = {root / "opt/homebrew/lib/node_modules",
                         root / "usr/local/lib/node_modules",
                         home / ".npm-global/lib/node_modules"},
        .packageHelpers = {"@openai/codex/vendor/aarch64-apple-darwin/codex/codex",
                           "@openai/codex-darwin-arm64/vendor/aarch64-apple-darwin/codex/codex",
                           "@openai/codex/vendor/x86_64-apple-darwin/codex/codex",
                           "@openai/codex-darwin-x64/vendor/x86_64-apple-darwin/codex/codex"},
        .linkedPackage = "",
        .searchPath = searchPath,
        .managedPackages = {},
        .extensionFolders = {home / ".vscode/extensions", home / ".cursor/extensions"},
        .extensionHelpers = {"bin/macos-aarch64/codex", "bin/macos-x86_64/codex"},
        .format = {{"\xCF\xFA\xED\xFE", "\xFE\xED\xFA\xCF", "\xCA\xFE\xBA\xBE", "\xCA\xFE\xBA\xBF"},
                   machOArchitectures,
                   "arm64"},
        .runningBundles = runningBundles,
    };
}

HelperPlaces linuxHelperPlaces(const HelperSurroundings& surroundings,
                               const std::string& processor) {
    const auto& [root, home, searchPath, runningBundles, environment] = surroundings;
    const bool isArm = processor == "arm64";
    const std::string inTriples = isArm ? "aarch64" : "x86_64";
    const std::string inPackages = isArm ? "arm64" : "x64";

    const fs::path mainPackage = "@openai/codex";
    const fs::path processorPackage = "@openai/codex-linux-" + inPackages;
    const fs::path vendor = "vendor/" + inTriples + "-unknown-linux-musl";
    Paths packageHelpers;
    // npm puts the processor's package inside the main one or, in a project's own folder of
    // packages, beside it; pnpm beside the place that the main one is a link to. Releases before
    // 0.99 have the main one only.
    for (const fs::path& package :
         {mainPackage, mainPackage / "node_modules" / processorPackage, processorPackage,
          mainPackage / ".." / processorPackage.filename()})
        for (const char* helper : {"bin/codex", "codex/codex"}) // since 0.133, and before
            packageHelpers.push_back(package / vendor / helper);

    const fs::path homebrew = root / "home/linuxbrew/.linuxbrew";
    Paths extensionFolders;
    for (const char* editor :
         {".vscode", ".cursor", ".vscode-server", ".vscode-insiders", ".vscode-oss", ".windsurf"})
        extensionFolders.push_back(home / editor / "extensions");

    return {
        .applications = {},
        .bundleIdentifiers = {},
        .executables = {home / ".local/bin/codex", root / "usr/local/bin/codex",
                        root / "usr/bin/codex", homebrew / "bin/codex"},
        .packageRoots = {root / "usr/local/lib/node_modules", root / "usr/lib/node_modules",
                         home / ".npm-global/lib/node_modules", home / ".local/lib/node_modules",
                         homebrew / "lib/node_modules"},
        .packageHelpers = packageHelpers,
        .linkedPackage = mainPackage,
        .searchPath = searchPath,
        .managedPackages = linuxPackageManagers(surroundings),
        .extensionFolders = extensionFolders,
        .extensionHelpers = {"bin/linux-" + inTriples + "/codex"},
        .format = {{"\177ELF"}, elfArchitectures, processor},
        .runningBundles = runningBundles,
    };
}

// Folders of packages, and the links that lead there

namespace {

constexpr std::size_t maximumFolders = 48; // a version for each month of four years
constexpr int maximumLinks = 8;            // from a command into a package; 1 or 2

bool startsWithDigit(std::string_view text) {
    return !text.empty() && text.front() >= '0' && text.front() <= '9';
}

/// Takes the digits at the beginning, without leading zeros.
std::string_view takeNumber(std::string_view& text) {
    std::string_view number = text.substr(0, text.find_first_not_of("0123456789"));
    text.remove_prefix(number.size());
    number.remove_prefix(std::min(number.find_first_not_of('0'), number.size()));
    return number;
}

bool isOlder(std::string_view a, std::string_view b) {
    while (!a.empty() && !b.empty()) {
        if (startsWithDigit(a) && startsWithDigit(b)) {
            const std::string_view first = takeNumber(a);
            const std::string_view second = takeNumber(b);
            if (first != second)
                return first.size() != second.size() ? first.size() < second.size()
                                                     : first < second;
        } else if (a.front() != b.front()) {
            return a.front() < b.front();
        } else {
            a.remove_prefix(1);
            b.remove_prefix(1);
        }
    }
    return a.empty() && !b.empty();
}

/// Whether the entry is a link to another one of its folder, such as "latest" or "20".
bool isAlias(const fs::directory_entry& entry) {
    std::error_code error;
    if (!entry.is_symlink(error))
        return false;
    const fs::path target = entry.path().parent_path() / fs::read_symlink(entry.path(), error);
    return target.lexically_normal().parent_path() == entry.path().parent_path();
}

/// The names of the versions that lie there, the newest first.
std::vector<std::string> versionsIn(const fs::path& folder) {
    std::vector<std::string> versions;
    visitEntries(folder, [&](const fs::directory_entry& entry) {
        if (!isAlias(entry))
            versions.push_back(entry.path().filename());
    });
    std::sort(versions.begin(), versions.end(),
              [](const std::string& a, const std::string& b) { return isOlder(b, a); });
    return versions;
}

void addFolders(const fs::path& base, fs::path::const_iterator part, fs::path::const_iterator end,
                Paths& found) {
    fs::path folder = base;
    for (; part != end && *part != "*"; ++part)
        folder /= *part;
    if (part == end) {
        found.push_back(folder);
        return;
    }
    ++part;
    for (const std::string& version : versionsIn(folder)) {
        if (found.size() == maximumFolders)
            return;
        addFolders(folder / version, part, end, found);
    }
}

} // namespace

void visitEntries(const fs::path& folder,
                  const std::function<void(const fs::directory_entry&)>& visit) {
    constexpr std::size_t maximumEntries = 10'000;
    std::error_code error;
    fs::directory_iterator entry(folder, error);
    for (std::size_t seen = 0; !error && entry != fs::directory_iterator() && seen < maximumEntries;
         ++seen) {
        visit(*entry);
        entry.increment(error);
    }
}

Paths packageFolders(const PackageFolders& places) {
    Paths found;
    addFolders(places.base.lexically_normal(), places.pattern.begin(), places.pattern.end(), found);
    return found;
}

Paths linkChain(const fs::path& path) {
    Paths chain;
    std::error_code error;
    fs::path next = fs::absolute(path.has_filename() ? path : path.parent_path(), error);
    if (error || !fs::exists(fs::symlink_status(next, error)))
        return chain;
    for (int links = 0; links <= maximumLinks && !error; ++links) {
        chain.push_back(next);
        const fs::path folder = fs::canonical(next.parent_path(), error);
        if (!error && folder != next.parent_path())
            chain.push_back(folder / next.filename());
        if (!error)
            next = (folder / fs::read_symlink(next, error)).lexically_normal();
    }
    return chain;
}

fs::path folderOfPackages(const fs::path& path, const std::string& package) {
    const std::string packages = "/node_modules";
    const std::string name = packages + "/" + package;
    const std::size_t found = path.native().find(name);
    if (found == std::string::npos)
        return {};
    const std::string rest = path.native().substr(found + name.size());
    if (!rest.empty() && rest.front() != '/' && rest.front() != '-')
        return {};
    return path.native().substr(0, found + packages.size());
}

} // namespace tallywick
