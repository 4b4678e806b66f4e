#pragma once

#include "platform/machine/linux/MountTable.h"

#include <span>
#include <string_view>

namespace tallywick {

/// Which mounts are volumes to a user. A local file system is one on a block device, and one that
/// is neither local nor on the network is no volume: it holds no file that was stored. The tables
/// hold what that leaves open.
struct MountRules {
    /// The files lie on another machine, or with the host of a virtual one.
    std::span<const std::string_view> networkTypes;
    /// Read-only images of the system's own, though a block device holds them.
    std::span<const std::string_view> imageTypes;
    /// Local though their source is no device path.
    std::span<const std::string_view> localTypes;
    /// Places of the system's own, with everything below.
    std::span<const std::string_view> hiddenPlaces;
    /// Places below hidden ones that are shown all the same.
    std::span<const std::string_view> shownPlaces;
};

extern const MountRules linuxMountRules;

/// A mount that is a volume of its own to a user.
struct VolumeMount {
    Mount mount;
    bool isLocal = false;
};

/// Chooses the volumes among the mounts, in their order. Left out are mounts that another one at
/// the same place covers, hidden places, names that begin with a dot, images, and what is `hidden`.
/// Of the mounts of one local file system (bind mounts and subvolumes share its capacity) one
/// stays: the one at "/", else the first that shows the whole of it, else the first. The one at "/"
/// is local whatever its type, unless that is a network type.
std::vector<VolumeMount> selectVolumes(const std::vector<Mount>& mounts,
                                       const std::set<std::filesystem::path>& hidden,
                                       const MountRules& rules);

} // namespace tallywick
