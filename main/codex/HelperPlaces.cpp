#include "codex/HelperPlaces.h"

#include "base/ElfArchitectures.h"
#include "base/MachOArchitectures.h"

namespace tallywick {

namespace fs = std::filesystem;

HelperPlaces macHelperPlaces(const HelperSurroundings& surroundings) {
    const auto& [root, home, searchPath, runningBundles] = surroundings;
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
    const auto& [root, home, searchPath, runningBundles] = surroundings;
    const bool isArm = processor == "arm64";
    const std::string inTriples = isArm ? "aarch64" : "x86_64";
    const std::string inPackages = isArm ? "arm64" : "x64";

    const fs::path mainPackage = "@openai/codex";
    const fs::path processorPackage = "@openai/codex-linux-" + inPackages;
    const fs::path vendor = "vendor/" + inTriples + "-unknown-linux-musl";
    std::vector<fs::path> packageHelpers;
    // npm puts the processor's package inside the main one or, in a project's own folder of
    // packages, beside it. Releases before 0.99 have the main one only.
    for (const fs::path& package :
         {mainPackage, mainPackage / "node_modules" / processorPackage, processorPackage})
        for (const char* helper : {"bin/codex", "codex/codex"}) // since 0.133, and before
            packageHelpers.push_back(package / vendor / helper);

    return {
        .applications = {},
        .bundleIdentifiers = {},
        .executables = {home / ".local/bin/codex", root / "usr/local/bin/codex",
                        root / "usr/bin/codex"},
        .packageRoots = {root / "usr/local/lib/node_modules", root / "usr/lib/node_modules",
                         home / ".npm-global/lib/node_modules"},
        .packageHelpers = packageHelpers,
        .linkedPackage = mainPackage,
        .searchPath = searchPath,
        .extensionFolders = {home / ".vscode/extensions", home / ".cursor/extensions"},
        .extensionHelpers = {"bin/linux-" + inTriples + "/codex"},
        .format = {{"\177ELF"}, ElfArchitectures::architectures, processor},
        .runningBundles = runningBundles,
    };
}

} // namespace tallywick
