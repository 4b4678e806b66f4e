#include "platform/machine/linux/MountRules.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <map>
#include <string>

namespace tallywick {

namespace {

using namespace std::string_view_literals;

constexpr std::array networkTypes{
    // File servers.
    "nfs"sv, "nfs4"sv, "cifs"sv, "smb3"sv, "smbfs"sv, "afs"sv, "auristorfs"sv, "coda"sv, "ncpfs"sv,
    "davfs"sv,
    // Clusters, those on a shared block device included: asking one waits for the others.
    "ceph"sv, "lustre"sv, "beegfs"sv, "gpfs"sv, "orangefs"sv, "gfs2"sv, "ocfs2"sv,
    // Folders of a virtual machine's host.
    "9p"sv, "virtiofs"sv, "vboxsf"sv, "vmhgfs"sv, "prl_fs"sv};

constexpr std::array imageTypes{"squashfs"sv, "erofs"sv, "cramfs"sv, "romfs"sv};

constexpr std::array localTypes{
    "zfs"sv,   // source is pool/dataset
    "ubifs"sv, // source is a flash volume, ubi0:name
};

constexpr std::array hiddenPlaces{
    // The kernel and the boot loader.
    "/boot"sv, "/efi"sv, "/dev"sv, "/proc"sv, "/sys"sv, "/run"sv,
    // Containers have single files of the host mounted here.
    "/etc"sv,
    // What package and container managers mount for themselves.
    "/snap"sv, "/var/snap"sv, "/var/lib/snapd"sv, "/var/lib/docker"sv, "/var/lib/containerd"sv,
    "/var/lib/containers"sv, "/var/lib/kubelet"sv, "/var/lib/lxc"sv, "/var/lib/lxcfs"sv,
    "/var/lib/lxd"sv, "/var/lib/incus"sv, "/var/lib/machines"sv, "/var/lib/flatpak"sv};

/// Removable volumes are mounted below it.
constexpr std::array shownPlaces{"/run/media"sv};

bool contains(std::span<const std::string_view> table, std::string_view text) {
    return std::find(table.begin(), table.end(), text) != table.end();
}

/// Whether the path is one of the places or lies below one.
bool liesIn(std::span<const std::string_view> places, std::string_view path) {
    return std::any_of(places.begin(), places.end(), [&](std::string_view place) {
        return path.starts_with(place)
               && (path.size() == place.size() || path[place.size()] == '/');
    });
}

bool isAtRoot(const Mount& mount) { return mount.mountPoint == "/"; }

bool isHidden(const Mount& mount, const MountRules& rules) {
    const std::string& path = mount.mountPoint.native();
    return contains(rules.imageTypes, mount.type) || path.find("/.") != std::string::npos
           || (liesIn(rules.hiddenPlaces, path) && !liesIn(rules.shownPlaces, path));
}

/// A program's own file system may show anything under any source, the network included; "fuseblk"
/// is the kind that the kernel gives to block devices alone.
bool isOfAProgram(std::string_view type) { return type == "fuse" || type.starts_with("fuse."); }

enum class Storage { local, network, none };

Storage storageOf(const Mount& mount, const MountRules& rules) {
    if (contains(rules.networkTypes, mount.type))
        return Storage::network;
    const bool onDevice = mount.source.starts_with("/dev/") && !isOfAProgram(mount.type);
    return onDevice || isAtRoot(mount) || contains(rules.localTypes, mount.type) ? Storage::local
                                                                                 : Storage::none;
}

/// How well a mount stands for its file system.
int precedence(const Mount& mount) {
    if (isAtRoot(mount))
        return 2;
    return mount.root == "/" ? 1 : 0;
}

} // namespace

const MountRules linuxMountRules{networkTypes, imageTypes, localTypes, hiddenPlaces, shownPlaces};

std::vector<VolumeMount> selectVolumes(const std::vector<Mount>& mounts,
                                       const std::set<std::filesystem::path>& hidden,
                                       const MountRules& rules) {
    std::map<std::string_view, const Mount*> topmost; // by mount point
    for (const Mount& mount : mounts)
        topmost[mount.mountPoint.native()] = &mount;

    std::vector<VolumeMount> volumes;
    std::map<std::string_view, std::size_t> positions; // of local volumes, by device
    for (const Mount& mount : mounts) {
        const bool covered = topmost[mount.mountPoint.native()] != &mount;
        const Storage storage = storageOf(mount, rules);
        if (covered || storage == Storage::none || hidden.contains(mount.mountPoint)
            || (isHidden(mount, rules) && !isAtRoot(mount)))
            continue;
        if (storage == Storage::local) {
            const auto [position, isFirst] = positions.try_emplace(mount.device, volumes.size());
            if (!isFirst) {
                Mount& present = volumes[position->second].mount;
                if (precedence(mount) > precedence(present))
                    present = mount;
                continue;
            }
        }
        volumes.push_back({mount, storage == Storage::local});
    }
    return volumes;
}

} // namespace tallywick
