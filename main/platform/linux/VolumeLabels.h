#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace tallywick {

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
