#include "platform/PiecewiseReading.h"

#include "base/CanonicalPath.h"
#include "platform/linux/OpenWithoutLinks.h"
#include "platform/linux/Uninterrupted.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

namespace tallywick {

PiecewiseReading readInPieces(const std::filesystem::path& path, std::size_t pieceSize,
                              const std::function<bool(std::string_view)>& take) {
    const UniqueFd file =
        openWithoutLinks(standardisedPath(path), O_RDONLY | O_NONBLOCK | O_NOCTTY);
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return PiecewiseReading::unreadable;
    std::string piece(pieceSize, '\0');
    for (;;) {
        const auto count =
            uninterrupted([&] { return ::read(file.get(), piece.data(), piece.size()); });
        if (count < 0)
            return PiecewiseReading::brokenOff;
        if (count == 0)
            return PiecewiseReading::whole;
        if (!take(std::string_view(piece).substr(0, static_cast<std::size_t>(count))))
            return PiecewiseReading::refused;
    }
}

} // namespace tallywick
