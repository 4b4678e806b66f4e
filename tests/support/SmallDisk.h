#pragma once

#include <gtest/gtest.h>

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace tallywick::testing {

/// A small file system of its own in an empty folder, seen by this process alone.
class SmallDisk {
  public:
    /// Whether this machine lets the process mount what it alone sees. To be asked first.
    static bool isPossible() {
        const uid_t user = ::geteuid();
        if (::unshare(CLONE_NEWNS) != 0) {
            if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
                return false;
            const std::string number = std::to_string(user);
            std::ofstream("/proc/self/uid_map") << number + " " + number + " 1"; // who he is there
        }
        return ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    }

    SmallDisk(std::filesystem::path folder, std::size_t size) : place(std::move(folder)) {
        std::filesystem::create_directory(place);
        const std::string options = "size=" + std::to_string(size);
        EXPECT_EQ(::mount("none", place.c_str(), "tmpfs", 0, options.c_str()), 0);
    }
    ~SmallDisk() { EXPECT_EQ(::umount(place.c_str()), 0); }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    void makeReadOnly() const {
        EXPECT_EQ(::mount("none", place.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    }

    const std::filesystem::path& path() const { return place; }

  private:
    std::filesystem::path place;
};

} // namespace tallywick::testing
