#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string_view>
#include <utility>

namespace tallywick {

/// Owns a file descriptor.
class UniqueFd {
  public:
    UniqueFd() = default;
    explicit UniqueFd(int descriptor) : fd(descriptor) {}
    UniqueFd(UniqueFd&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        reset(std::exchange(other.fd, -1));
        return *this;
    }
    ~UniqueFd() { reset(); }

    int get() const { return fd; }
    explicit operator bool() const { return fd >= 0; }

    /// It is somebody else's to close now.
    int release() { return std::exchange(fd, -1); }

    void reset(int descriptor = -1) {
        if (fd >= 0)
            ::close(fd);
        fd = descriptor;
    }

  private:
    int fd = -1;
};

/// Repeats a system call for as long as a signal interrupts it. Returns its result and keeps errno.
template <typename Call>
auto uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

/// Opens what exists at the absolute path, unless a symbolic link stands anywhere on it. `flags`
/// are those of open(2); the descriptor is closed on exec. Tells why it failed in errno.
UniqueFd openWithoutLinks(const std::filesystem::path& path, int flags);

/// The file that was opened, if it is a regular one, and what it is.
UniqueFd regularFile(UniqueFd file, struct stat& status);

/// Writes all of the bytes, or fails with an unknown part of them written.
bool writeWhole(const UniqueFd& file, std::string_view bytes);

} // namespace tallywick
