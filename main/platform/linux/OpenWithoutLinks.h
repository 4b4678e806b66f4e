#pragma once

#include "platform/linux/UniqueFd.h"

#include <filesystem>

namespace tallywick {

/// Opens what exists at the absolute path, unless a symbolic link stands anywhere on it. `flags`
/// are those of open(2); the descriptor is closed on exec. Tells why it failed in errno.
UniqueFd openWithoutLinks(const std::filesystem::path& path, int flags);

} // namespace tallywick
