#include "platform/machine/MountedVolumes.h"

#include "platform/files/FileAccess.h"
#include "platform/machine/linux/CapacityProbe.h"
#include "platform/machine/linux/MountRules.h"
#include "platform/machine/linux/MountTable.h"

#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <system_error>
#include <utility>

namespace tallywick {

namespace fs = std::filesystem;

namespace {

/// 10,000 mounts, which busy container hosts have, take 2 MB.
constexpr std::size_t maximumMountTable = 16'000'000;

/// A file that people write by hand.
constexpr std::size_t maximumFstab = 1'000'000;

/// So many local file systems are asked for their capacity; a window that could show more of them
/// does not exist.
constexpr std::size_t maximumAsked = 64;

/// The figures stand in the kernel's memory and come in microseconds; half a second passes on a
/// machine that is very busy. Together with `CapacityProbe::maximumUnanswered` it bounds a listing.
constexpr std::chrono::milliseconds answerLimit{500};

std::string readOrEmpty(const fs::path& path, std::size_t maximumBytes) {
    return readRegularFile(path, maximumBytes).value_or(std::string());
}

std::string readFstab() {
    std::error_code error;
    const fs::path file = fs::canonical("/etc/fstab", error); // some systems keep it elsewhere
    return error ? std::string() : readOrEmpty(file, maximumFstab);
}

std::string readMountTable() {
    return readOrEmpty(fs::path("/proc") / std::to_string(::getpid()) / "mountinfo",
                       maximumMountTable);
}

/// The mount table is read directly: `QStorageInfo` asks every file system for its size, those on
/// hung file servers among them, and GIO takes for the system's own what users want to see, such as
/// a volume at /home.
class LinuxMountedVolumes : public MountedVolumes {
  public:
    std::vector<MountedVolume> list() override {
        const auto found = selectVolumes(parseMountInfo(readMountTable()),
                                         hiddenInFstab(readFstab()), linuxMountRules);
        const VolumeLabels labels("/dev/disk/by-label");
        std::vector<MountedVolume> volumes;
        std::vector<Mount> asked;
        for (const VolumeMount& volume : found) {
            const bool ask = volume.isLocal && asked.size() < maximumAsked;
            std::optional<Capacity> capacity;
            if (ask) {
                asked.push_back(volume.mount);
                capacity = probe.capacity(volume.mount, answerLimit);
            }
            volumes.push_back({.mountPoint = volume.mount.mountPoint,
                               .name = ask ? labels.labelOf(volume.mount.source) : std::nullopt,
                               .totalCapacity = capacity ? capacity->total : std::nullopt,
                               .importantCapacity = {},
                               .availableCapacity = capacity ? capacity->available : std::nullopt,
                               .isLocal = volume.isLocal,
                               .isBrowsable = {}});
        }
        probe.keepOnly(asked);
        return volumes;
    }

    /// Most file managers call it so.
    std::string unnamedRootName() const override { return "File System"; }

  private:
    CapacityProbe probe{askCapacity};
};

} // namespace

std::unique_ptr<MountedVolumes> systemMountedVolumes() {
    return std::make_unique<LinuxMountedVolumes>();
}

} // namespace tallywick
