#pragma once

#include <string_view>

namespace tallywick {

/// Why an update went no further. Whatever else goes wrong is turned into one of these where it
/// happens, so that the user reads one of these sentences and no other.
enum class UpdateFailure {
    invalidFeed,   ///< the feed breaks a rule, or does not fit the running copy
    incompatible,  ///< the release needs another system version or processor
    redirect,      ///< the server answered with a redirect
    server,        ///< the answer was none of HTTP, or not the 200 that was asked for
    offline,       ///< the transfer failed in any other way
    oversized,     ///< more bytes were announced or received than allowed
    corrupt,       ///< the archive's size, digest or kind of file is wrong
    unsafeArchive, ///< the archive's layout was refused, or unpacking it failed
    cancelled,     ///< the user has cancelled
    disk,          ///< the update cache cannot be prepared or written
    invalidBundle  ///< what was unpacked is not the release that the feed told of
};

/// The name of the enumerator.
std::string_view name(UpdateFailure failure);

/// The sentence for the user.
std::string_view message(UpdateFailure failure);

} // namespace tallywick
