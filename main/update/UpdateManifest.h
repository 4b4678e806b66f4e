#pragma once

#include "update/UpdateFailure.h"

#include <tl/expected.hpp>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tallywick {

/// A release as the feed tells of it, every member checked. Plain values; any thread.
struct UpdateManifest {
    std::string version;                    ///< three numbers, as written in the feed
    std::int64_t build = 0;                 ///< 1 to 999,999
    std::string minimumSystemVersion;       ///< two or three numbers, as written in the feed
    std::vector<std::string> architectures; ///< "arm64", "x86_64" or both, in the feed's order
    std::string url;                        ///< the `UpdateFeed::expectedArchiveURL` of `version`
    std::int64_t bytes = 0;                 ///< of the archive, 1 to `maximumArchiveBytes`
    std::string sha256;                     ///< of the archive, as `Sha256::hexDigest` writes it
    std::string releaseNotes; ///< at most 2,000 bytes, no control character but the line feed

    /// Reads the body of the feed. Any deviation rejects the whole as `invalidFeed`: a member that
    /// is missing, of another type or out of range, a member name twice in any object, a NUL byte,
    /// more than `maximumFeedBytes`. Further members are ignored.
    static tl::expected<UpdateManifest, UpdateFailure> parse(std::string_view body);

    /// Whether the release runs on this version of the system, two or three numbers, and on this
    /// processor. False when `systemVersion` cannot be read.
    bool isCompatible(std::string_view systemVersion, std::string_view architecture) const;

    bool operator==(const UpdateManifest&) const = default;
};

} // namespace tallywick
