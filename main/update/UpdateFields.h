#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tallywick {

/// What the settings show of the updates.
struct UpdateFields {
    struct Progress {
        std::int64_t received = 0; ///< bytes
        std::int64_t expected = 1; ///< bytes in all
        std::int64_t percentage() const { return received * 100 / expected; }
        bool operator==(const Progress&) const = default;
    };

    std::string status{"Check manually for a newer Mac release."}; ///< one line, UTF-8
    bool busy = false; ///< something runs: it can be cancelled, and nothing else be begun
    std::optional<Progress> progress = {}; ///< while a release is downloaded and prepared
    bool offersDownload = false;           ///< there is a newer release, which is not prepared
    bool offersShow = false;               ///< a release has been prepared
    bool offersOpen = false;               ///< and has passed a recheck

    bool operator==(const UpdateFields&) const = default;
};

} // namespace tallywick
