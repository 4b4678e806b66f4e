#include "state/SessionStart.h"

#include "base/WorkThreads.h"
#include "platform/desktop/LauncherEntry.h"

#include <utility>

namespace tallywick {

SessionStart::SessionStart(StateContext& given, std::filesystem::path ofBundle)
    : context(given), bundle(std::move(ofBundle)) {
    context.change().offersSessionStart = !bundle.empty();
}

void SessionStart::look() {
    if (bundle.empty() || context.isStopped())
        return;
    outdated = true;
    if (!working)
        begin();
}

void SessionStart::choose(bool starts) {
    if (bundle.empty() || context.isPaused())
        return;
    awaiting = starts;
    context.change().startsWithSession = starts;
    look();
}

void SessionStart::begin() {
    outdated = false;
    working = true;
    const auto answer = context.onMainThread([this](const Found& found) { apply(found); });
    const bool runs = startWorkThread(
        "session-start", [answer, ofBundle = bundle, choice = std::exchange(awaiting, {})] {
            answer(work(ofBundle, choice));
        });
    if (!runs)
        working = false;
}

SessionStart::Found SessionStart::work(const std::filesystem::path& bundle,
                                       std::optional<bool> choice) {
    Found found;
    if (choice)
        if (const auto kept = setStartsWithSession(bundle, *choice); !kept)
            found.failure = kept.error();
    found.starts = startsWithSession(bundle);
    return found;
}

void SessionStart::apply(const Found& found) {
    working = false;
    if (context.isStopped())
        return;
    if (!found.failure.empty())
        context.change().settingsStatus = found.failure;
    if (outdated)
        return begin();
    if (context.fields().startsWithSession != found.starts)
        context.change().startsWithSession = found.starts;
}

} // namespace tallywick
