#include "codex/HelperLauncher.h"

#include "codex/AccountTransport.h"

#include <algorithm>
#include <utility>

namespace tallywick {

namespace {

/// One that hangs, and one that was tried in its place.
constexpr std::size_t maximumUnderWay = 2;

} // namespace

HelperLauncher::HelperLauncher(TransportFactory make, std::chrono::milliseconds longest)
    : factory(std::move(make)), limit(longest) {}

HelperLauncher::Start HelperLauncher::start(const std::filesystem::path& executable,
                                            BridgeEventHandler onEvent) {
    // One that was given up without being overdue comes to its end in a moment.
    for (const Start& before : startsUnderWay())
        if (areInTheWay(startsUnderWay(), executable))
            before.helper->waitForReturn(before.deadline);
    if (areInTheWay(startsUnderWay(), executable))
        throw BridgeFailure::timeout();

    const auto make = [factory = factory, executable, handler = std::move(onEvent)] {
        return factory(executable, handler);
    };
    const auto close = [](const Helper& helper) { helper->close(); };
    MutexLock lock(mutex);
    return starts.emplace_back(Start{executable, std::chrono::steady_clock::now() + limit,
                                     DetachedCall<Helper>::start(make, close)});
}

bool HelperLauncher::areInTheWay(const std::vector<Start>& underWay,
                                 const std::filesystem::path& executable) {
    return underWay.size() >= maximumUnderWay
           || std::ranges::any_of(
               underWay, [&](const Start& start) { return start.executable == executable; });
}

std::vector<HelperLauncher::Start> HelperLauncher::startsUnderWay() {
    MutexLock lock(mutex);
    std::erase_if(starts, [](const Start& start) { return start.helper->hasReturned(); });
    return starts;
}

} // namespace tallywick
