#include "codex/HelperLauncher.h"

#include "codex/FakeTransport.h"

#include <gtest/gtest.h>

#include <semaphore>

namespace tallywick::testing {
namespace {

using namespace std::chrono_literals;

TEST(HelperLauncher, LeavesAStartThatHangsBehindAndClosesWhatComesLate) {
    std::promise<void> share;
    const auto answered = share.get_future().share();
    const FakeHelper hanging = FakeHelper().with("launch", {[answered](FakeTransport&) -> Json {
                                                     answered.wait();
                                                     return {};
                                                 }});
    std::counting_semaphore<> closed{0};
    Transcript transcript;
    transcript.react = [&](const std::string& step) {
        if (step.starts_with("close"))
            closed.release();
    };
    HelperLauncher launcher(
        [&](const std::filesystem::path& executable, const BridgeEventHandler& onEvent) {
            const bool hangs = executable.native().starts_with("/share");
            return std::make_shared<FakeTransport>(executable, hangs ? hanging : FakeHelper(),
                                                   transcript, onEvent);
        },
        0s);
    const auto later = std::chrono::steady_clock::now() + 24h;
    const auto runs = [&](const char* executable) {
        return launcher.start(executable, {}).helper->take(later).has_value();
    };

    const auto first = launcher.start("/share/one", {});
    EXPECT_FALSE(first.helper->take(first.deadline));
    EXPECT_THROW(launcher.start("/share/one", {}), BridgeFailure) << "touched a second time";
    EXPECT_TRUE(runs("/two"));
    const auto second = launcher.start("/share/three", {});
    EXPECT_FALSE(second.helper->take(second.deadline));
    EXPECT_THROW(launcher.start("/two", {}), BridgeFailure) << "two hang";
    share.set_value();
    closed.acquire();
    closed.acquire();
    EXPECT_TRUE(runs("/share/one"));
}

} // namespace
} // namespace tallywick::testing
