#include "state/MachineReadings.h"

#include "base/CanonicalPath.h"

#include <algorithm>
#include <utility>

namespace tallywick {

namespace {

// Seconds.
constexpr double loadInterval = 5;
constexpr double volumeInterval = 30;

/// Whether a listed volume is this one, and no link has taken its place.
bool isStillMounted(const VolumeInfo& volume, const std::vector<VolumeInfo>& listed) {
    return std::ranges::any_of(listed,
                               [&](const VolumeInfo& other) {
                                   return other.url == volume.url && other.name == volume.name;
                               })
           && isCanonicalPath(volume.url);
}

} // namespace

MachineReadings::MachineReadings(StateContext& given, std::unique_ptr<HardwareService> measurements,
                                 Workspace& desktop, std::function<void()> volumesDidChange)
    : context(given), service(std::move(measurements)), workspace(desktop),
      countDidChange(std::move(volumesDidChange)) {}

void MachineReadings::makeDue() {
    nextLoad.makeDue();
    nextVolumes.makeDue();
}

void MachineReadings::refreshIfDue() {
    refreshLoadIfDue();
    refreshVolumesIfDue();
}

void MachineReadings::refreshLoadIfDue() {
    const Timestamp now = context.fields().now;
    if (!nextLoad.isDue(now) || loadBusy)
        return;
    loadBusy = true;
    nextLoad.set(now, loadInterval);
    service->sample(context.onMainThread([this](const HardwareSnapshot& sample) {
        loadBusy = false;
        if (context.isPaused())
            return;
        context.change().cpuPercent = sample.cpuPercent;
        context.change().memoryPercent = sample.memoryPercent;
    }));
}

void MachineReadings::refreshVolumesIfDue() {
    const Timestamp now = context.fields().now;
    if (!nextVolumes.isDue(now) || volumesBusy)
        return;
    volumesBusy = true;
    nextVolumes.set(now, volumeInterval);
    service->volumes(context.onMainThread([this](const std::vector<VolumeInfo>& volumes) {
        volumesBusy = false;
        if (!context.isPaused())
            publish(volumes);
    }));
}

void MachineReadings::publish(const std::vector<VolumeInfo>& volumes) {
    const std::size_t before = context.fields().volumes.size();
    context.change().volumes = volumes;
    if (volumes.size() != before)
        countDidChange();
}

void MachineReadings::open(const VolumeInfo& volume) {
    if (context.isPaused())
        return;
    const auto answer =
        context.onMainThread([this, volume](const std::vector<VolumeInfo>& listed, bool isMounted) {
            openListed(volume, listed, isMounted);
        });
    // The volume is looked at where its disk may take its time.
    service->volumes([answer, volume](const std::vector<VolumeInfo>& listed) {
        answer(listed, isStillMounted(volume, listed));
    });
}

void MachineReadings::openListed(const VolumeInfo& volume, const std::vector<VolumeInfo>& listed,
                                 bool isMounted) {
    if (context.isPaused())
        return;
    if (!isMounted) {
        context.change().settingsStatus = SettingsText::volumeGone;
        publish(listed);
    } else if (!workspace.openFolder(volume.url)) {
        context.change().settingsStatus = SettingsText::folderFailed;
    }
}

} // namespace tallywick
