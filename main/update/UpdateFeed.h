#pragma once

#include "base/Product.h"

#include <cstdint>
#include <string>
#include <string_view>

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
