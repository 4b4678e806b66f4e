#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tallywick {

/// What the system tells about one mounted volume; what it does not tell is absent.
struct MountedVolume {
    std::filesystem::path mountPoint;
    std::optional<std::string> name; ///< the volume's label, in bytes that need not be UTF-8
    std::optional<std::int64_t> totalCapacity;     ///< bytes
    std::optional<std::int64_t> importantCapacity; ///< bytes that can be had for what matters to
                                                   ///< the user, caches cleared if need be
    std::optional<std::int64_t> availableCapacity; ///< bytes that are free for this user now
    std::optional<bool> isLocal;
    std::optional<bool> isBrowsable; ///< whether a file browser shows it

    bool operator==(const MountedVolume&) const = default;
};

/// The volumes that are mounted now. One thread at a time.
class MountedVolumes {
  public:
    MountedVolumes() = default;
    MountedVolumes(const MountedVolumes&) = delete;
    MountedVolumes& operator=(const MountedVolumes&) = delete;
    virtual ~MountedVolumes() = default;

    /// All volumes but hidden ones, in the system's order; none when the system does not tell. A
    /// volume that is not known to be local is never touched, and one that does not answer delays
    /// the call for a moment only.
    virtual std::vector<MountedVolume> list() = 0;

    /// What users of this system know the volume mounted at "/" by, when it has no name.
    virtual std::string unnamedRootName() const = 0;
};

/// The volumes of the machine that this program runs on.
std::unique_ptr<MountedVolumes> systemMountedVolumes();

} // namespace tallywick
