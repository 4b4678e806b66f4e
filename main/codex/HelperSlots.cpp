#include "codex/HelperSlots.h"

#include "codex/ConnectionIssue.h"

#include <utility>

namespace tallywick {

// Epochs

HelperSlots::Epoch HelperSlots::currentEpoch() {
    MutexLock guard(lock);
    return epoch;
}

bool HelperSlots::isCurrentLocked(Epoch asked) const { return !stopped && epoch == asked; }

bool HelperSlots::isCurrent(Epoch asked) {
    MutexLock guard(lock);
    return isCurrentLocked(asked);
}

void HelperSlots::requireCurrent(Epoch asked) {
    if (!isCurrent(asked))
        throw ConnectionIssue::stopped;
}

void HelperSlots::supersede(bool forGood) {
    Helper takenBridge;
    Helper takenProbe;
    DetachedCall<Transport>::Pointer abandoned;
    {
        MutexLock guard(lock);
        ++epoch;
        stopped = stopped || forGood;
        std::swap(takenBridge, bridgeSlot);
        std::swap(takenProbe, probeSlot);
        std::swap(abandoned, awaited);
    }
    if (abandoned)
        abandoned->abandon();
    for (const Transport& taken : {takenBridge.transport, takenProbe.transport})
        if (taken)
            taken->close();
}

HelperSlots::Transport HelperSlots::await(const HelperLauncher::Start& start, Epoch asked) {
    {
        MutexLock guard(lock);
        if (isCurrentLocked(asked))
            awaited = start.helper;
        else
            start.helper->abandon();
    }
    if (const auto helper = start.helper->take(start.deadline))
        return *helper;
    requireCurrent(asked);
    throw BridgeFailure::timeout();
}

// Slots

std::int64_t HelperSlots::newNumber() {
    MutexLock guard(lock);
    return ++lastNumber;
}

HelperSlots::Helper& HelperSlots::at(Slot slot) {
    return slot == Slot::bridge ? bridgeSlot : probeSlot;
}

void HelperSlots::put(Slot slot, const Transport& helper, Epoch asked, std::int64_t number) {
    {
        MutexLock guard(lock);
        if (isCurrentLocked(asked)) {
            at(slot) = {.transport = helper, .number = number};
            return;
        }
    }
    helper->close();
    throw ConnectionIssue::stopped;
}

void HelperSlots::close(Slot slot) {
    Helper taken;
    {
        MutexLock guard(lock);
        std::swap(taken, at(slot));
    }
    if (taken.transport)
        taken.transport->close();
}

HelperSlots::Transport HelperSlots::bridge() {
    MutexLock guard(lock);
    return bridgeSlot.transport;
}

bool HelperSlots::isBridge(std::int64_t number) {
    MutexLock guard(lock);
    return bridgeSlot.number == number;
}

// What was published

bool HelperSlots::publish(const Transport& helper, std::int64_t revision) {
    bool publishedBefore = false;
    {
        MutexLock guard(lock);
        if (bridgeSlot.transport != helper)
            throw ConnectionIssue::stopped;
        publishedBefore = std::exchange(bridgeSlot.published, true);
    }
    if (helper->revision() == revision)
        return true;
    // A report has come since the last answer. Whoever clears the mark takes care of it: its event,
    // which ends what was published, or this reading, which is not delivered but repeated. So only
    // what this reading has set is taken back.
    MutexLock guard(lock);
    if (bridgeSlot.transport == helper && !publishedBefore)
        bridgeSlot.published = false;
    return false;
}

bool HelperSlots::retract(std::int64_t number) {
    MutexLock guard(lock);
    return bridgeSlot.number == number && std::exchange(bridgeSlot.published, false);
}

} // namespace tallywick
