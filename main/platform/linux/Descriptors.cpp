#include "platform/linux/Descriptors.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <iterator>
#include <utility>

namespace tallywick {

namespace {

/// Opens what exists at the path step by step, unless one of the steps is a symbolic link.
UniqueFd walkWithoutLinks(const std::filesystem::path& path, int flags) {
    constexpr int onTheWay = O_PATH | O_DIRECTORY;
    UniqueFd place(::open("/", onTheWay | O_CLOEXEC));
    const std::filesystem::path steps = path.relative_path();
    for (auto step = steps.begin(); place && step != steps.end(); ++step) {
        const int how = (std::next(step) == steps.end() ? flags : onTheWay) | O_NOFOLLOW;
        place.reset(
            uninterrupted([&] { return ::openat(place.get(), step->c_str(), how | O_CLOEXEC); }));
    }
    return place;
}

} // namespace

UniqueFd openWithoutLinks(const std::filesystem::path& path, int flags) {
    open_how how{};
    how.flags = static_cast<__u64>(flags | O_CLOEXEC);
    how.resolve = RESOLVE_NO_SYMLINKS;
    const auto opened = uninterrupted(
        [&] { return ::syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof how); });
    if (opened >= 0)
        return UniqueFd(static_cast<int>(opened));
    // Kernels before 5.6 do not know the call, and some containers forbid what they do not know.
    // Whoever has it does without the walk, which does not mount what is mounted on demand.
    const bool unavailable = errno == ENOSYS || errno == EPERM;
    return unavailable && path.is_absolute() ? walkWithoutLinks(path, flags) : UniqueFd();
}

UniqueFd regularFile(UniqueFd file, struct stat& status) {
    const bool isRegular = file && ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode);
    return isRegular ? std::move(file) : UniqueFd();
}

bool writeWhole(const UniqueFd& file, std::string_view bytes) {
    while (!bytes.empty()) {
        const auto count =
            uninterrupted([&] { return ::write(file.get(), bytes.data(), bytes.size()); });
        if (count <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

} // namespace tallywick
