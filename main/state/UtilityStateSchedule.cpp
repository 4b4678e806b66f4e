#include "state/UtilityState.h"

#include <utility>

namespace tallywick {

namespace {

// Seconds.
constexpr double hardwareInterval = 5;
constexpr double volumeInterval = 30;

} // namespace

void UtilityState::tick() {
    if (stopped || published.maintenance)
        return;
    advanceClock();
    services.historyStore.prune(published.now);
    endOverdueSignIn();
    endOverdueWork();
    markStale();
    if (sleeping)
        return;
    refreshAccountIfDue();
    refreshHardwareIfDue();
    refreshVolumesIfDue();
}

void UtilityState::advanceClock() {
    const Timestamp now = services.clock();
    change().now = now;
    for (DueTime* time : {&nextAccountRefresh, &nextTokenRefresh, &nextHardwareRefresh,
                          &nextVolumeRefresh, &refreshDeadline, &validationDeadline})
        time->limit(now);
    if (loginDeadline)
        loginDeadline->limit(now);
}

void UtilityState::markStale() {
    if (isLive(published.status) && lastGood && isStale(*lastGood, published.now))
        change().status = staleStatus(*lastGood);
}

void UtilityState::refreshNow() {
    if (stopped || published.maintenance)
        return;
    if (published.accountBusy)
        refreshRequested = true;
    failures = 0;
    for (DueTime* time :
         {&nextAccountRefresh, &nextTokenRefresh, &nextHardwareRefresh, &nextVolumeRefresh})
        time->makeDue();
    tick();
}

void UtilityState::refreshHardwareIfDue() {
    if (!isFullViewVisible() || hardwareBusy || !nextHardwareRefresh.isDue(published.now))
        return;
    hardwareBusy = true;
    nextHardwareRefresh.set(published.now, hardwareInterval);
    services.hardwareService->sample(onMainThread([this](const HardwareSnapshot& sample) {
        hardwareBusy = false;
        if (stopped || published.maintenance)
            return;
        change().cpuPercent = sample.cpuPercent;
        change().memoryPercent = sample.memoryPercent;
    }));
}

void UtilityState::refreshVolumesIfDue() {
    if (!isFullViewVisible() || volumesBusy || !nextVolumeRefresh.isDue(published.now))
        return;
    volumesBusy = true;
    nextVolumeRefresh.set(published.now, volumeInterval);
    services.hardwareService->volumes(onMainThread([this](const std::vector<VolumeInfo>& volumes) {
        volumesBusy = false;
        if (!stopped && !published.maintenance)
            applyVolumes(volumes);
    }));
}

void UtilityState::applyVolumes(const std::vector<VolumeInfo>& volumes) {
    const std::size_t before = published.volumes.size();
    change().volumes = volumes;
    if (volumes.size() == before || published.mini || resizeStartFrame)
        return;
    setContentSize(fullContentSize());
    applyWindowConfiguration();
}

} // namespace tallywick
