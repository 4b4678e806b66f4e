#pragma once

#include "base/Product.h"
#include "update/UpdateFailure.h"

#include <tl/expected.hpp>

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Where the maker publishes releases, and how much of it is read. Nothing changes these at run
/// time.
namespace tallywick::UpdateFeed {

inline constexpr std::string_view downloadsPath = "/toolyard/tallywick/downloads/";

/// The largest feed: room for the longest release notes with every character escaped.
inline constexpr std::int64_t maximumFeedBytes = 0x4000;
/// The largest archive of a release.
inline constexpr std::int64_t maximumArchiveBytes = 0x200'0000;

/// The address of a file that the maker publishes.
inline std::string downloadURL(std::string_view fileName) {
    return std::string("https://")
        .append(OfficialLinks::host)
        .append(downloadsPath)
        .append(fileName);
}

inline std::string feedURL() { return downloadURL("mac-latest.json"); }

/// The one address at which the archive of a release may lie. `version` is the text of a version.
inline std::string expectedArchiveURL(std::string_view version) {
    return downloadURL(
        std::string("Corvane-Tallywick-Mac-").append(version).append("-App-Only.zip"));
}

} // namespace tallywick::UpdateFeed

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

/// What a release must fit.
struct RunningSystem {
    /// Of the operating system, on Linux of its kernel: major.minor.patch.
    std::string version;
    /// "arm64", "x86_64" or another processor's name: the one for which this program was built.
    std::string architecture;
};

/// The system that the program runs on.
RunningSystem runningSystem();

/// The three numbers with which the name of a kernel release begins: 6.1.0 of "6.1.0-37-amd64".
/// Missing ones are 0.
std::string kernelVersion(std::string_view release);

/// What the running copy's information dictionary says of it. Absent is what is missing there, or
/// is no text.
struct RunningCopy {
    std::optional<std::string> version; ///< "CFBundleShortVersionString"; absent counts as 0.0.0
    std::optional<std::string> build;   ///< "CFBundleVersion"; absent counts as 0
};

/// What a published release is to the running copy.
enum class UpdateAssessment {
    available,     ///< newer, and it runs here
    upToDate,      ///< this very one, or an earlier build of it
    newerInstalled ///< older
};

/// Compares a release with the running copy. A newer one that does not run on `system` is
/// `incompatible`. `invalidFeed` is a running copy whose version cannot be read, and a release that
/// has the version of the running copy with a higher build, or while that build cannot be read: a
/// new build must carry a new version.
tl::expected<UpdateAssessment, UpdateFailure>
assess(const UpdateManifest& manifest, const RunningCopy& copy, const RunningSystem& system);

} // namespace tallywick
