#pragma once

#include "update/UpdateFailure.h"

#include <tl/expected.hpp>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// The layout of a release's archive: a ZIP of the application folder with the files of a complete
/// copy and nothing else. Looks at headers alone; nothing is inflated. Pure; any thread.
namespace tallywick::SafeUpdateArchive {

/// What the archive's directory declares.
struct Entry {
    std::string name;         ///< a folder's ends with a slash
    std::uint32_t method = 0; ///< 0 stored, 8 deflated
    std::uint64_t size = 0;   ///< of the content, in bytes

    bool isFolder() const { return name.ends_with('/'); }
    bool operator==(const Entry&) const = default;
};

/// The entries of the archive, in its order. `unsafeArchive` when it breaks any rule: only the five
/// files, all of them, and the folders around them; each name once, the same in both headers;
/// stored or deflated, unencrypted, no link or device; nothing behind the directory, which nothing
/// overlaps; no two entries overlap; the declared sizes within the limits.
///
/// What the entries' contents inflate to, their permissions and what their extra fields ask for are
/// not looked at: whoever unpacks must be bounded, and must look at what lies there afterwards.
tl::expected<std::vector<Entry>, UpdateFailure> validate(std::string_view archive);

} // namespace tallywick::SafeUpdateArchive
