#include "update/UpdateFailure.h"

#include <array>
#include <cstddef>

namespace tallywick {

namespace {

struct Text {
    std::string_view name;
    std::string_view message;
};

/// In the order of the enumerators.
constexpr std::array texts{
    Text{"invalidFeed", "The Mac update feed is missing or invalid. No update was installed."},
    Text{"incompatible", "The available update requires a different macOS version or processor."},
    Text{"redirect", "The update server redirected to another location. Download blocked."},
    Text{"server", "The Mac update feed is not available on the website yet, or the server "
                   "returned an error."},
    Text{"offline", "Unable to contact the update server. Check your connection and retry."},
    Text{"oversized", "The update exceeded the allowed download size."},
    Text{"corrupt", "The update's size or SHA-256 does not match. The download was rejected."},
    Text{"unsafeArchive", "This update contains an unsafe or unsupported archive layout."},
    Text{"cancelled", "Update cancelled."},
    Text{"disk", "Cannot prepare the update cache. Check free space and folder permissions."},
    Text{"invalidBundle", "The downloaded app's identity, version, or signature is invalid."},
};

const Text& textOf(UpdateFailure failure) { return texts.at(static_cast<std::size_t>(failure)); }

} // namespace

std::string_view name(UpdateFailure failure) { return textOf(failure).name; }

std::string_view message(UpdateFailure failure) { return textOf(failure).message; }

} // namespace tallywick
