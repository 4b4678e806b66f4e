#include "platform/ExecutableFile.h"

#include <unistd.h>

#include <system_error>

namespace tallywick {

bool isExecutableFile(const std::filesystem::path& path) {
    std::error_code error;
    return std::filesystem::is_regular_file(path, error) && ::access(path.c_str(), X_OK) == 0;
}

} // namespace tallywick
