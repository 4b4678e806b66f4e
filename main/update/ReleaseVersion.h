#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tallywick {

/// A dotted version: of a release, of the running copy, of the operating system.
struct ReleaseVersion {
    /// Major, minor and patch, each 0 to 999,999.
    std::array<std::int64_t, 3> components{};

    /// By the first number that differs.
    // NOLINTNEXTLINE(modernize-use-nullptr): takes the 0 that "<" compares with for a pointer
    auto operator<=>(const ReleaseVersion&) const = default;

    enum class Form {
        threeNumbers,     ///< releases and the running copy
        twoOrThreeNumbers ///< operating systems; a missing third number is 0
    };

    /// Absent unless the text, of at most 32 bytes, is exactly numbers with dots between them, each
    /// of ASCII digits alone, without a leading zero and at most 999,999.
    static std::optional<ReleaseVersion> parse(std::string_view text, Form form);
};

} // namespace tallywick
