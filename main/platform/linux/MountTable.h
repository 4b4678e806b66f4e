#pragma once

#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tallywick {

/// One line of the mount table.
struct Mount {
    std::uint64_t id = 0;             ///< unique among the mounts of one moment
    std::string device;               ///< "major:minor", the same for all mounts of a file system
    std::filesystem::path root;       ///< what of the file system is mounted; "/" is all of it
    std::filesystem::path mountPoint; ///< absolute
    std::string type;                 ///< of the file system, as in /proc/filesystems
    std::string source;               ///< a device path or whatever the file system calls it

    bool operator==(const Mount&) const = default;
};

/// The mounts in the text of /proc/<pid>/mountinfo (proc_pid_mountinfo(5)), in its order. Lines
/// that are not of its form are left out; octal escapes are undone and may give any bytes.
std::vector<Mount> parseMountInfo(std::string_view text);

/// The mount points that the text of /etc/fstab (fstab(5)) hides from file managers, by the option
/// x-gvfs-hide.
std::set<std::filesystem::path> hiddenInFstab(std::string_view text);

} // namespace tallywick
