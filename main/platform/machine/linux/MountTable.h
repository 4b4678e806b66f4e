#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
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

/// Labels of file systems, from the links that udev keeps in /dev/disk/by-label. Each link is named
/// after the label, with \xHH for what does not go into a file name, and leads to the device.
class VolumeLabels {
  public:
    /// Reads the links in the folder; without it there are no labels.
    explicit VolumeLabels(const std::filesystem::path& folder);

    /// The label of what lies on the device, which is given by any path to it. Its bytes need not
    /// be UTF-8.
    std::optional<std::string> labelOf(std::string_view device) const;

  private:
    std::map<std::filesystem::path, std::string> labels; // by canonical device path
};

} // namespace tallywick
