#include "platform/linux/VolumeLabels.h"

#include <charconv>
#include <cstddef>
#include <system_error>

namespace tallywick {

namespace fs = std::filesystem;

namespace {

/// More devices than a machine has; the folder is the system's own.
constexpr std::size_t maximumLabels = 4096;

std::string unescapeHex(std::string_view text) {
    constexpr std::string_view mark = "\\x";
    constexpr std::size_t length = 4;
    std::string result;
    while (!text.empty()) {
        unsigned byte = 0;
        bool isEscape = false;
        if (text.size() >= length && text.starts_with(mark)) {
            const char* end = text.data() + length;
            const auto parsed = std::from_chars(text.data() + mark.size(), end, byte, 16);
            isEscape = parsed.ec == std::errc() && parsed.ptr == end;
        }
        result += isEscape ? static_cast<char>(byte) : text.front();
        text.remove_prefix(isEscape ? length : 1);
    }
    return result;
}

} // namespace

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
