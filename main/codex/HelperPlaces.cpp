#include "codex/HelperPlaces.h"

#include "base/ElfArchitectures.h"
#include "base/MachOArchitectures.h"

namespace tallywick {

namespace fs = std::filesystem;

namespace {

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
                   MachOArchitectures::architectures,
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
    std::vector<fs::path> packageHelpers;
    // npm puts the processor's package inside the main one or, in a project's own folder of
    // packages, beside it; pnpm beside the place that the main one is a link to. Releases before
    // 0.99 have the main one only.
    for (const fs::path& package :
         {mainPackage, mainPackage / "node_modules" / processorPackage, processorPackage,
          mainPackage / ".." / processorPackage.filename()})
        for (const char* helper : {"bin/codex", "codex/codex"}) // since 0.133, and before
            packageHelpers.push_back(package / vendor / helper);

    const fs::path homebrew = root / "home/linuxbrew/.linuxbrew";
    std::vector<fs::path> extensionFolders;
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
        .format = {{"\177ELF"}, ElfArchitectures::architectures, processor},
        .runningBundles = runningBundles,
    };
}

} // namespace tallywick
