#pragma once

#include "base/WorkThreads.h"
#include "state/Installation.h"
#include "state/InstallationTexts.h"

namespace tallywick {

/// Runs `work` with the steps on a thread, and `apply` with its result on the main thread, unless
/// the state has ended by then. For the sources of `Installation` alone.
template <typename Work, typename Apply>
void Installation::run(Work work, Apply apply) {
    const auto answer = context.onMainThread([this, apply](const auto& result) {
        if (!context.isStopped())
            apply(result);
    });
    if (startWorkThread("install", [held = steps, work, answer] { answer(work(*held)); }))
        return;
    end(std::string(InstallationText::noThread));
    owner.resume();
}

} // namespace tallywick
