#include "platform/files/Trash.h"

#include "base/CanonicalPath.h"
#include "platform/files/StandardFolders.h"
#include "platform/files/linux/Folders.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

namespace tallywick {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view infoExtension = ".trashinfo";
constexpr std::size_t longestName = NAME_MAX - infoExtension.size();
constexpr int maximumNamesakes = 10'000; // each is tried, so that a full Trash ends

using Outcome = tl::expected<fs::path, std::string>;

/// A Trash that can be used: its two folders.
struct TrashFolder {
    fs::path place;
    fs::path origin; ///< what the places of its items are relative to; empty when to nothing
    UniqueFd info;
    UniqueFd files;
};

/// What is moved: its folder, and its path without links above it.
struct Item {
    fs::path path;
    UniqueFd folder;
    struct stat status {};

    std::string name() const { return path.filename(); }
};

std::string couldNotMove(const fs::path& item) {
    return item.string() + " could not be moved to the Trash: " + reasonForFailure() + ".";
}

/// A folder of the Trash belongs to the user. Others may write there where the file system knows no
/// better, as that of a memory stick.
UniqueFd ownTrashFolder(UniqueFd folder) {
    struct stat status {};
    if (!folder || ::fstat(folder.get(), &status) != 0)
        return {};
    if (isOurs(status))
        return folder;
    errno = EACCES;
    return {};
}

std::optional<TrashFolder> trashIn(UniqueFd folder, fs::path place, fs::path origin) {
    folder = ownTrashFolder(std::move(folder));
    if (!folder)
        return std::nullopt;
    const auto part = [&](const char* name) {
        return ownTrashFolder(makeFolder(folder, name, FolderAccess::ownerOnly));
    };
    TrashFolder trash{std::move(place), std::move(origin), part("info"), UniqueFd()};
    if (trash.info)
        trash.files = part("files");
    return trash.files ? std::optional(std::move(trash)) : std::nullopt;
}

std::optional<TrashFolder> homeTrash() {
    const auto support = applicationSupportFolder();
    if (!support) {
        errno = ENOENT;
        return std::nullopt;
    }
    const fs::path place = *support / "Trash";
    return trashIn(openOrMakeFolder(place, FolderAccess::ownerOnly), place, {});
}

/// The one that the administrator of a shared disk has made for all its users.
std::optional<TrashFolder> sharedTrash(const fs::path& top, const std::string& user) {
    const fs::path place = top / ".Trash";
    const UniqueFd folder = openFolder(place);
    struct stat status {};
    if (!folder || ::fstat(folder.get(), &status) != 0 || (status.st_mode & S_ISVTX) == 0)
        return std::nullopt;
    return trashIn(makeFolder(folder, user, FolderAccess::ownerOnly), place / user, top);
}

/// The user's own one at the top of a disk.
std::optional<TrashFolder> ownTrash(const fs::path& top, const std::string& user) {
    const UniqueFd folder = openFolder(top);
    const std::string name = ".Trash-" + user;
    if (!folder)
        return std::nullopt;
    return trashIn(makeFolder(folder, name, FolderAccess::ownerOnly), top / name, top);
}

/// What tells one mounted file system from another, by which moves between them fail.
std::array<std::uint64_t, 3> mountOf(const fs::path& path) {
    struct statx status {};
    constexpr unsigned int wanted = STATX_BASIC_STATS | STATX_MNT_ID;
    if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, wanted, &status) != 0)
        return {};
    const bool hasMount = (status.stx_mask & STATX_MNT_ID) != 0;
    return {status.stx_dev_major, status.stx_dev_minor, hasMount ? status.stx_mnt_id : 0};
}

/// The top of the file system that the folder lies on.
fs::path topOf(fs::path folder) {
    const auto mount = mountOf(folder);
    while (folder.has_relative_path() && mountOf(folder.parent_path()) == mount)
        folder = folder.parent_path();
    return folder;
}

/// All but what every system takes for itself in a path is encoded.
std::string percentEncoded(const std::string& path) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                       "0123456789/-._~";
    std::string encoded;
    for (const char character : path) {
        if (plain.find(character) != std::string_view::npos) {
            encoded += character;
            continue;
        }
        const auto byte = static_cast<unsigned char>(character);
        encoded += {'%', digits[byte / 16], digits[byte % 16]};
    }
    return encoded;
}

std::string localTime() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    std::array<char, 32> text{};
    if (!::localtime_r(&now, &parts))
        return "1970-01-01T00:00:00";
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts)};
}

/// What the desktop needs to put the item back.
std::string infoOf(const Item& item, const TrashFolder& trash) {
    const fs::path path =
        trash.origin.empty() ? item.path : item.path.lexically_relative(trash.origin);
    return "[Trash Info]\nPath=" + percentEncoded(path) + "\nDeletionDate=" + localTime() + "\n";
}

/// The name of the item in the Trash where that many others have its own: no longer than leaves
/// room for its info file, and not cut within a character.
std::string nameInTrash(const std::string& name, int namesakes) {
    const std::string ending = namesakes == 0 ? "" : "." + std::to_string(namesakes + 1);
    std::size_t length = longestName - ending.size();
    const auto isWithinCharacter = [&] {
        return length > 0 && (static_cast<unsigned char>(name[length]) & 0xC0) == 0x80;
    };
    if (name.size() <= length)
        return name + ending;
    while (isWithinCharacter())
        --length;
    return name.substr(0, length) + ending;
}

bool standsIn(const UniqueFd& file, const std::string& text) {
    std::string found(text.size() + 1, '\0');
    const auto count =
        uninterrupted([&] { return ::pread(file.get(), found.data(), found.size(), 0); });
    return count == static_cast<ssize_t>(text.size()) && found.starts_with(text);
}

/// The info file of an item that comes into the Trash; it goes again unless the item has come.
class InfoFile {
  public:
    InfoFile(const UniqueFd& infoFolder, const std::string& nameOfItem)
        : folder(infoFolder), name(nameOfItem + std::string(infoExtension)) {
        constexpr int flags = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
        constexpr mode_t ownerOnly = 0600;
        file.reset(
            uninterrupted([&] { return ::openat(folder.get(), name.c_str(), flags, ownerOnly); }));
    }
    ~InfoFile() {
        const int error = errno;
        if (file && !kept)
            ::unlinkat(folder.get(), name.c_str(), 0);
        errno = error;
    }
    InfoFile(const InfoFile&) = delete;
    InfoFile& operator=(const InfoFile&) = delete;

    explicit operator bool() const { return static_cast<bool>(file); }

    /// A full disk may take a file without its text and find no fault in that: it is read back.
    bool fill(const std::string& text) {
        if (!writeWhole(file, text) || !syncFile(file) || !syncFolder(folder))
            return false;
        const bool isWhole = standsIn(file, text);
        if (!isWhole)
            errno = ENOSPC;
        return isWhole;
    }
    void keep() { kept = true; }

  private:
    const UniqueFd& folder;
    std::string name;
    UniqueFd file;
    bool kept = false;
};

/// Absent when that name is taken; else the item's new place, or an empty path with the reason in
/// errno.
std::optional<fs::path> moveAs(const std::string& name, const Item& item,
                               const TrashFolder& trash) {
    InfoFile info(trash.info, name);
    if (!info)
        return errno == EEXIST ? std::nullopt : std::optional(fs::path());
    if (!info.fill(infoOf(item, trash)))
        return fs::path();
    if (!moveWithoutReplacing(item.folder.get(), item.name(), trash.files.get(), name))
        return errno == EEXIST ? std::nullopt : std::optional(fs::path());
    info.keep();
    // Should one of these fail, a loss of power may find the item where it was.
    syncFolder(trash.files);
    syncFolder(item.folder);
    return trash.place / "files" / name;
}

/// The item's new place, or an empty path with the reason in errno.
fs::path moveInto(const std::optional<TrashFolder>& trash, const Item& item) {
    if (!trash)
        return {};
    for (int namesakes = 0; namesakes < maximumNamesakes; ++namesakes)
        if (auto place = moveAs(nameInTrash(item.name(), namesakes), item, *trash))
            return *std::move(place);
    errno = EEXIST;
    return {};
}

class DesktopTrash final : public Trash {
  public:
    Outcome move(const fs::path& wanted) override {
        Item item;
        std::error_code error;
        const fs::path path = standardisedPath(wanted);
        item.path = fs::canonical(path.parent_path(), error) / path.filename();
        item.folder = openFolder(item.path.parent_path());
        if (!item.folder
            || ::fstatat(item.folder.get(), item.name().c_str(), &item.status, AT_SYMLINK_NOFOLLOW)
                   != 0)
            return tl::unexpected(couldNotMove(path));
        const fs::path place = moveToBest(item);
        return place.empty() ? Outcome(tl::unexpected(couldNotMove(path))) : Outcome(place);
    }

  private:
    /// What lies on the user's own disk goes to the user's own Trash or stays: one elsewhere on
    /// that disk is not shown by every desktop.
    static fs::path moveToBest(const Item& item) {
        const auto home = homeTrash();
        struct stat status {};
        const bool isElsewhere =
            home && ::fstat(home->files.get(), &status) == 0 && status.st_dev != item.status.st_dev;
        if (!isElsewhere) {
            fs::path place = moveInto(home, item);
            if (!place.empty() || errno != EXDEV)
                return place;
        }
        const fs::path top = topOf(item.path.parent_path());
        const std::string user = std::to_string(::geteuid());
        fs::path place = moveInto(sharedTrash(top, user), item);
        return place.empty() ? moveInto(ownTrash(top, user), item) : place;
    }
};

} // namespace

std::unique_ptr<Trash> desktopTrash() { return std::make_unique<DesktopTrash>(); }

} // namespace tallywick
