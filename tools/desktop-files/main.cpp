// Writes what a package has beside the application's bundle: the entry of the launcher, or the
// manual and the completions of the shells.
#include "Texts.h"

#include "base/Product.h"
#include "platform/desktop/LauncherEntry.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <string_view>

namespace {

namespace fs = std::filesystem;

bool write(const fs::path& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    return static_cast<bool>(file << text << std::flush);
}

bool writeCommandFiles(const fs::path& folder) {
    using namespace tallywick;
    const std::string command = Product::commandName;
    return write(folder / (command + ".1"), desktopFiles::manualPage())
           && write(folder / command, desktopFiles::bashCompletions())
           && write(folder / ('_' + command), desktopFiles::zshCompletions())
           && write(folder / (command + ".fish"), desktopFiles::fishCompletions());
}

bool writeEntry(const fs::path& bundle, const fs::path& file) {
    const auto entry = tallywick::launcherEntry(bundle);
    return entry && write(file, *entry);
}

} // namespace

int main(int count, char** arguments) {
    const std::string_view task = count > 2 ? arguments[1] : "";
    bool isWritten = false;
    if (task == "command" && count == 3) {
        isWritten = writeCommandFiles(arguments[2]);
    } else if (task == "entry" && count == 4) {
        isWritten = writeEntry(arguments[2], arguments[3]);
    } else {
        std::cerr << "usage: desktop_files command FOLDER | entry BUNDLE FILE\n";
        return 2;
    }
    if (!isWritten)
        std::cerr << "desktop_files: the files cannot be written\n";
    return isWritten ? 0 : 1;
}
