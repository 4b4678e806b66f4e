#include "platform/machine/linux/MountTable.h"

#include "base/CanonicalPath.h"
#include "base/WholeNumber.h"
#include "platform/machine/linux/TextFields.h"

#include <cstddef>
#include <optional>
#include <system_error>

namespace tallywick {

namespace fs = std::filesystem;

namespace {

/// The byte that three octal digits stand for; no name holds the byte zero.
std::optional<char> octalByte(std::string_view digits) {
    const auto value = wholeNumber<unsigned>(digits, 8);
    const bool valid = digits.size() == 3 && value > 0U && value <= 0xFFU;
    return valid ? std::optional(static_cast<char>(*value)) : std::nullopt;
}

/// Undoes \ooo, the three octal digits that stand for a blank, a line end or a backslash in a name.
std::string unescapeOctal(std::string_view text) {
    constexpr std::size_t length = 4;
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const auto byte =
            text.front() == '\\' ? octalByte(text.substr(1, length - 1)) : std::nullopt;
        result += byte.value_or(text.front());
        text.remove_prefix(byte ? length : 1);
    }
    return result;
}

/// 36 35 98:0 /root /mount/point rw,noatime master:1 - ext3 /dev/source rw,errors=continue
std::optional<Mount> parseMount(std::string_view line) {
    Mount mount;
    const auto id = wholeNumber<std::uint64_t>(takeField(line));
    takeField(line); // the mount it stands on
    mount.device = takeField(line);
    mount.root = unescapeOctal(takeField(line));
    mount.mountPoint = unescapeOctal(takeField(line));
    takeField(line); // options
    for (std::string_view optional = takeField(line); optional != "-"; optional = takeField(line)) {
        if (optional.empty())
            return std::nullopt;
    }
    mount.type = unescapeOctal(takeField(line));
    mount.source = unescapeOctal(takeField(line));

    if (!id || !mount.mountPoint.is_absolute() || mount.type.empty())
        return std::nullopt;
    mount.id = *id;
    return mount;
}

bool hasOption(std::string_view options, std::string_view wanted) {
    for (;;) {
        const std::size_t comma = options.find(',');
        if (options.substr(0, comma) == wanted)
            return true;
        if (comma == std::string_view::npos)
            return false;
        options.remove_prefix(comma + 1);
    }
}

/// More devices than a machine has; the folder is the system's own.
constexpr std::size_t maximumLabels = 4096;

std::string unescapeHex(std::string_view text) {
    constexpr std::string_view mark = "\\x";
    constexpr std::size_t length = 4;
    std::string result;
    while (!text.empty()) {
        const auto byte = text.size() >= length && text.starts_with(mark)
                              ? wholeNumber<unsigned char>(text.substr(mark.size(), 2), 16)
                              : std::nullopt;
        result += byte ? static_cast<char>(*byte) : text.front();
        text.remove_prefix(byte ? length : 1);
    }
    return result;
}

} // namespace

std::vector<Mount> parseMountInfo(std::string_view text) {
    std::vector<Mount> mounts;
    while (!text.empty()) {
        if (auto mount = parseMount(takeLine(text)))
            mounts.push_back(std::move(*mount));
    }
    return mounts;
}

std::set<std::filesystem::path> hiddenInFstab(std::string_view text) {
    std::set<std::filesystem::path> hidden;
    while (!text.empty()) {
        std::string_view line = takeLine(text);
        if (takeField(line).substr(0, 1) == "#")
            continue;
        const std::string_view mountPoint = takeField(line);
        takeField(line); // type
        if (hasOption(takeField(line), "x-gvfs-hide"))
            hidden.insert(standardisedPath(unescapeOctal(mountPoint)));
    }
    return hidden;
}

VolumeLabels::VolumeLabels(const fs::path& folder) {
    std::error_code error;
    for (fs::directory_iterator link(folder, error), end;
         !error && link != end && labels.size() < maximumLabels; link.increment(error)) {
        std::error_code dangling;
        const fs::path device = fs::canonical(link->path(), dangling);
        if (!dangling)
            labels.emplace(device, unescapeHex(link->path().filename().native()));
    }
}

std::optional<std::string> VolumeLabels::labelOf(std::string_view device) const {
    const fs::path path(device);
    if (labels.empty() || !path.is_absolute())
        return std::nullopt;
    std::error_code error;
    const auto label = labels.find(fs::canonical(path, error));
    return !error && label != labels.end() ? std::optional(label->second) : std::nullopt;
}

} // namespace tallywick
