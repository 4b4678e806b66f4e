#include "platform/NewFile.h"

#include "platform/linux/OpenWithoutLinks.h"
#include "platform/linux/Uninterrupted.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <utility>

namespace tallywick {

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
    while (!bytes.empty()) {
        const auto written =
            uninterrupted([&] { return ::write(state->file.get(), bytes.data(), bytes.size()); });
        if (written <= 0)
            return WriteResult::failed;
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return WriteResult::written;
}

void NewFile::keep() { state->file.reset(); }

} // namespace tallywick
