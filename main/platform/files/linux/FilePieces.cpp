#include "platform/files/FilePieces.h"

#include "base/CanonicalPath.h"
#include "platform/linux/Descriptors.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>

namespace tallywick {

PiecewiseReading readInPieces(const std::filesystem::path& path, std::size_t pieceSize,
                              const std::function<bool(std::string_view)>& take) {
    struct stat status {};
    const UniqueFd file = regularFile(
        openWithoutLinks(standardisedPath(path), O_RDONLY | O_NONBLOCK | O_NOCTTY), status);
    if (!file)
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

struct NewFile::State {
    UniqueFd folder, file;
    std::string name;

    ~State() {
        if (file)
            ::unlinkat(folder.get(), name.c_str(), 0);
    }
};

NewFile::NewFile(std::unique_ptr<State> created) : state(std::move(created)) {}
NewFile::NewFile(NewFile&&) noexcept = default;
NewFile& NewFile::operator=(NewFile&&) noexcept = default;
NewFile::~NewFile() = default;

std::optional<NewFile> NewFile::create(const std::filesystem::path& path) {
    constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    constexpr mode_t ownerOnly = 0600;
    auto created = std::make_unique<State>();
    created->name = path.filename();
    created->folder = openWithoutLinks(path.parent_path(), O_RDONLY | O_DIRECTORY);
    if (!created->folder)
        return std::nullopt;
    created->file.reset(uninterrupted(
        [&] { return ::openat(created->folder.get(), created->name.c_str(), flags, ownerOnly); }));
    if (!created->file)
        return std::nullopt;
    return NewFile(std::move(created));
}

WriteResult NewFile::append(std::string_view bytes) {
    return writeWhole(state->file, bytes) ? WriteResult::written : WriteResult::failed;
}

WriteResult NewFile::keepOnDisk(bool isExecutable) {
    constexpr mode_t ownersProgram = 0700;
    if (isExecutable)
        ::fchmod(state->file.get(), ownersProgram);
    const auto sync = [](const UniqueFd& descriptor) {
        return uninterrupted([&] { return ::fsync(descriptor.get()); }) == 0;
    };
    // A file system that knows no sync of folders says EINVAL.
    if (!sync(state->file) || !(sync(state->folder) || errno == EINVAL))
        return WriteResult::failed;
    keep();
    return WriteResult::written;
}

void NewFile::keep() { state->file.reset(); }

} // namespace tallywick
