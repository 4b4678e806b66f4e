#include "codex/HelperDiscovery.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

namespace tallywick {
namespace {

using namespace std::chrono_literals;
using Helpers = HelperDiscovery::Helpers;

/// Places of which those on the share hold up whoever looks at them, until it answers; each of the
/// others holds a helper.
struct Disks {
    Helpers places; ///< of the next search
    std::atomic<int> entered = 0;
    std::promise<void> share;
    std::shared_future<void> answered = share.get_future();
    std::atomic<int> searches = 0; ///< under way

    HelperSearch search() {
        return [this](const HelperQuery&, SearchProgress& progress) {
            ++searches;
            for (const std::filesystem::path& place : Helpers(places)) {
                if (!progress.enter(place))
                    continue;
                ++entered;
                if (place.native().starts_with("/share"))
                    answered.wait();
                else
                    progress.add(place / "codex");
            }
            --searches;
        };
    }
    ~Disks() {
        while (searches > 0)
            std::this_thread::yield();
    }
};

TEST(HelperDiscovery, GoesOnWithoutThePlaceThatHangs) {
    Disks disks;
    HelperDiscovery discovery(disks.search(), 1s);
    const auto find = [&](const Helpers& places, const HelperQuery& query = {}) {
        disks.places = places;
        return discovery.findNow(query).value_or(Helpers{"overdue"});
    };
    EXPECT_EQ(find({"/a", "/b"}), (Helpers{"/a/codex", "/b/codex"}));
    EXPECT_EQ(find({"/share/x", "/c"}), Helpers{"/c/codex"}) << "a second search found it";
    disks.entered = 0;
    EXPECT_EQ(find({"/share", "/share/x/y", "/share/x", "/d"}), Helpers{"/d/codex"});
    EXPECT_EQ(disks.entered, 1) << "what hangs was touched again";
    EXPECT_EQ(find({"/e", "/share/other", "/f"}), Helpers{"/e/codex"}) << "found until then";
    EXPECT_EQ(find({"/g"}), Helpers{"/d/codex"}) << "two hang: what was known last counts";
    EXPECT_EQ(find({"/g"}, {"/g"}), Helpers{"overdue"});
    disks.share.set_value();
    while (find({"/g"}) != Helpers{"/g/codex"})
        std::this_thread::yield();
    EXPECT_EQ(disks.entered, 4) << "what was given up went on";
}

TEST(HelperDiscovery, EndsWithoutTheSearchThatHangs) {
    Disks disks;
    disks.places = {"/share", "/a"};
    {
        HelperDiscovery discovery(disks.search(), 24h);
        discovery.find({}, [](const auto&) { ADD_FAILURE(); });
        while (disks.entered == 0)
            std::this_thread::yield();
    }
    disks.share.set_value();
}

} // namespace
} // namespace tallywick
