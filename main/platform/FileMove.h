#pragma once

#include "platform/FileAccess.h"

#include <filesystem>

namespace tallywick {

/// Gives a file another name on the same file system. Fails when something has that name already,
/// a dangling link included; neither is changed then.
WriteResult moveWithoutReplacing(const std::filesystem::path& from,
                                 const std::filesystem::path& to);

} // namespace tallywick
