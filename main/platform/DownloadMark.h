#pragma once

#include "platform/FileAccess.h"

#include <filesystem>
#include <string_view>

namespace tallywick {

/// Marks a file or a folder as downloaded, in an extended attribute: "com.apple.quarantine", on
/// Linux in the namespace of the user. Links are followed. A file system that knows no such
/// attributes leaves it unmarked, which is no failure.
WriteResult markAsDownloaded(const std::filesystem::path& path, std::string_view mark);

} // namespace tallywick
