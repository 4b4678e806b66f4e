#include "state/UtilityState.h"

namespace tallywick {

void UtilityState::tick() {
    if (context.isPaused())
        return;
    context.advanceClock();
    services.historyStore.prune(published.now);
    endOverdueSignIn();
    endOverdueWork();
    markStale();
    if (sleeping)
        return;
    refreshAccountIfDue();
    if (window.isFullViewVisible())
        machine.refreshIfDue();
}

void UtilityState::markStale() {
    if (isLive(published.status) && lastGood && isStale(*lastGood, published.now))
        context.change().status = staleStatus(*lastGood);
}

void UtilityState::refreshNow() {
    if (context.isPaused())
        return;
    if (published.accountBusy)
        refreshRequested = true;
    failures = 0;
    nextAccountRefresh.makeDue();
    nextTokenRefresh.makeDue();
    machine.makeDue();
    tick();
}

} // namespace tallywick
