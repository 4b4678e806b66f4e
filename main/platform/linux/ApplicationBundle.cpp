#include "platform/ApplicationBundle.h"

#include "base/PropertyList.h"
#include "platform/FileAccess.h"

#include <system_error>

namespace tallywick {

namespace fs = std::filesystem;

std::optional<fs::path> enclosingBundle(const fs::path& executable) {
    const fs::path folder = executable.parent_path();
    const fs::path contents = folder.parent_path();
    const fs::path bundle = contents.parent_path();
    if (folder.filename() != "MacOS" || contents.filename() != "Contents"
        || bundle.extension() != ".app")
        return std::nullopt;
    return bundle;
}

fs::path runningBundle() {
    std::error_code error;
    const fs::path executable = fs::read_symlink("/proc/self/exe", error);
    return enclosingBundle(executable).value_or(executable.parent_path());
}

std::optional<Json> informationDictionary(const fs::path& bundle) {
    std::error_code error;
    const fs::path file = fs::canonical(bundle / "Contents/Info.plist", error);
    if (error)
        return std::nullopt;
    const auto text = readRegularFile(file, maximumPropertyListBytes);
    auto dictionary = text ? parsePropertyList(*text) : std::nullopt;
    if (!dictionary || dictionary->empty())
        return std::nullopt;
    return dictionary;
}

} // namespace tallywick
