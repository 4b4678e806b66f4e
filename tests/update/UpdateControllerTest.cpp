#include "update/UpdateStory.h"

#include <future>
#include <thread>

namespace tallywick::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::_;
using ::testing::ElementsAre;
using ::testing::EndsWith;
namespace fs = std::filesystem;
using Failed = tl::unexpected<UpdateFailure>;
using enum UpdateFailure;

const std::string cancelling = "Cancelling update…";

/// A controller whose steps do as the test says, and come to their end even when it is cancelled.
class UpdateControllerTest : public UpdateStory {
  protected:
    UpdateControllerTest() { begin(); }

    UpdateController::Steps steps() {
        return {.fetch = [this](const DownloadRequest& request, const auto& progress,
                                const auto& flag) -> BoundedDownload::Result {
                    requests.push_back(request);
                    before(request.destination ? "archive" : "feed", flag);
                    if (!request.destination)
                        return feed;
                    for (const int bytes : {0, 1, 9, 500, 999, 1000})
                        progress(bytes);
                    return {};
                },
                .canUnpack = [this] { return canUnpack; },
                .prepare =
                    [this](auto&, auto&, auto&, const auto& flag) {
                        before("prepare", flag);
                        return UpdatePreparation::Prepared{cache.archive(), cache.preparedApp()};
                    },
                .recheck =
                    [this](auto&, auto&, auto&, const auto& flag) {
                        before("recheck", flag);
                        return recheckOutcome;
                    }};
    }

    void begin(const std::optional<std::string>& version = "0.6.0", bool hasCaches = true) {
        auto given = services(steps());
        given.copy = {version, "42"};
        if (!hasCaches)
            given.caches.reset();
        UpdateStory::begin(std::move(given));
    }

    /// What an earlier update has left, and what one leaves behind half done.
    void litter() const {
        runIn(cache.folder(), "mkdir -p candidate; touch candidate.zip partial.zip candidate/x");
    }

    /// Begins an operation, of which a step leaves its litter and waits until it is cancelled.
    void haltAt(const std::string& step, void (UpdateController::*operation)()) {
        auto begun = std::make_shared<std::promise<void>>();
        before = [=, this](const std::string& current, const CancellationFlag& flag) {
            if (current != step)
                return;
            litter();
            begun->set_value();
            while (!flag.isCancelled())
                std::this_thread::yield();
        };
        told.clear();
        (*controller.*operation)();
        begun->get_future().get();
    }

    std::string feed = writeJson(sampleFeed());
    bool canUnpack = true;
    tl::expected<void, UpdateFailure> recheckOutcome;
    std::function<void(const std::string& step, const CancellationFlag&)> before = [](auto&,
                                                                                      auto&) {};
    std::vector<DownloadRequest> requests;
};

TEST_F(UpdateControllerTest, tellsWhatTheFeedMeansForThisCopy) {
    const std::pair<std::optional<std::string>, std::string> rows[] = {
        {"0.6.0", available},
        {std::nullopt, available},
        {"0.7.0", "You’re up to date — Mac 0.7.0."},
        {"0.10.0", "You have a newer Mac version (0.10.0) than the published release."},
    };
    for (const auto& [version, status] : rows) {
        begin(version);
        EXPECT_EQ(fields(), (UpdateFields{.status = "Check manually for a newer Mac release."}));
        EXPECT_EQ(check(), status);
        EXPECT_THAT(told, ElementsAre("Checking the Mac update feed…", status));
        EXPECT_EQ(fields().offersDownload, status == available);
    }
    EXPECT_EQ(requests[0].url,
              "https://corvane.example/toolyard/tallywick/downloads/mac-latest.json");
    EXPECT_EQ(requests[0].maximum, 16'384);
    EXPECT_EQ(requests[0].wholeLimit, 20s);
    EXPECT_EQ(requests[0].stallLimit, 20s);
    download();
    EXPECT_EQ(requests.size(), std::size(rows)) << "nothing was found";
}

TEST_F(UpdateControllerTest, downloadsAndPreparesTheReleaseThatWasFound) {
    litter();
    before = [&](const std::string& step, auto&) {
        if (step != "archive")
            return;
        EXPECT_TRUE(fs::is_empty(cache.folder())) << "nothing of an earlier update";
        EXPECT_FALSE(cache.claim()) << "no other copy of the program works there now";
    };
    check();
    told.clear();
    controller->download();
    controller->download();
    controller->check();
    EXPECT_EQ(fields().progress, (UpdateFields::Progress{0, 1000}));
    onChange = [&] {
        if (fields().status == "Downloading… 99%") {
            EXPECT_EQ(fields().progress, (UpdateFields::Progress{999, 1000}));
        }
    };
    EXPECT_EQ(outcome(), verified);
    EXPECT_THAT(told, ElementsAre("Downloading Mac 0.7.0…", "Downloading… 0%", "Downloading… 50%",
                                  "Downloading… 99%", "Downloading… 100%", verified));
    EXPECT_EQ(fields(), (UpdateFields{.status = verified, .offersShow = true}));
    ASSERT_EQ(requests.size(), 2U) << "one of them at a time";
    EXPECT_THAT(requests[1].url, EndsWith("/Corvane-Tallywick-Mac-0.7.0-App-Only.zip"));
    EXPECT_EQ(requests[1].maximum, 1000);
    EXPECT_EQ(requests[1].wholeLimit, 90s);
    EXPECT_EQ(requests[1].destination, cache.partialArchive());

    feed = "{}";
    EXPECT_EQ(check(), sentence(invalidFeed));
    EXPECT_FALSE(fields().offersShow || fields().offersDownload) << "what was found is forgotten";
}

TEST_F(UpdateControllerTest, downloadsNothingThatItCouldNotPrepare) {
    check();
    litter();
    auto another = cache.claim();
    EXPECT_EQ(download(), sentence(disk));
    controller->purge()();
    EXPECT_TRUE(fs::exists(cache.partialArchive())) << "which another copy downloads now";
    another->reset();
    canUnpack = false;
    EXPECT_EQ(download(), "Unpacking an update needs libarchive (on Debian the package "
                          "libarchive13). Install it and retry.");
    canUnpack = true;
    begin("0.6.0", false);
    check();
    EXPECT_EQ(download(), sentence(disk));
    EXPECT_EQ(requests.size(), 2U) << "of the feed";
    EXPECT_TRUE(fields().offersDownload);

    begin();
    now += 1e9;
    const auto purge = controller->purge();
    controller.reset();
    purge();
    EXPECT_TRUE(fs::is_empty(cache.folder())) << "what is old goes, whenever that is done";
}

TEST_F(UpdateControllerTest, isCancelledAtEveryStep) {
    controller->cancel();
    EXPECT_TRUE(told.empty()) << "there is nothing to cancel";
    const auto cancelAt = [&](const char* step, void (UpdateController::*operation)()) {
        haltAt(step, operation);
        controller->cancel();
        EXPECT_TRUE(fields().busy);
        EXPECT_EQ(outcome(), sentence(cancelled));
        EXPECT_THAT(told, ElementsAre(_, cancelling, sentence(cancelled))) << step;
        before = [](auto&, auto&) {};
    };
    cancelAt("feed", &UpdateController::check);
    EXPECT_FALSE(fields().offersDownload) << "though the feed came";
    check();
    for (const char* step : {"archive", "prepare"}) {
        cancelAt(step, &UpdateController::download);
        EXPECT_TRUE(fields().offersDownload && !fields().offersShow) << step;
        EXPECT_TRUE(fs::is_empty(cache.folder())) << step;
    }

    before = [&](auto&, auto&) { litter(); };
    controller->download();
    EXPECT_TRUE(waitForWorkThreads(60s)) << "all is done, but has not been applied";
    EXPECT_FALSE(fs::is_empty(cache.folder()));
    controller->cancel();
    EXPECT_EQ(outcome(), sentence(cancelled));
    EXPECT_FALSE(fields().offersShow);
    EXPECT_TRUE(fs::is_empty(cache.folder()));

    download();
    recheckOutcome = Failed(corrupt);
    cancelAt("recheck", &UpdateController::showDownload);
    EXPECT_TRUE(fields().offersShow && desktop.done.empty());
}

TEST_F(UpdateControllerTest, showsAndOpensOnlyWhatPassesARecheck) {
    controller->showDownload();
    controller->openUpdate();
    EXPECT_TRUE(told.empty()) << "nothing was prepared";
    check();
    download();
    controller->openUpdate();
    EXPECT_FALSE(fields().busy) << "not offered yet";

    EXPECT_EQ(show(), rechecked);
    EXPECT_THAT(told, ElementsAre("Rechecking the saved update…", rechecked));
    EXPECT_TRUE(fields().offersShow && fields().offersOpen);
    controller->openUpdate();
    EXPECT_TRUE(eventually([&] { return desktop.done.size() == 2; }));
    const std::string bundle = cache.preparedApp().string();
    EXPECT_THAT(desktop.done, ElementsAre("show " + bundle, "open " + bundle));
    EXPECT_TRUE(fields().busy) << "until it is known how that came out";
    desktop.opened("It has not shown its window.");
    EXPECT_EQ(outcome(), "The update could not be opened. Show the download and open it there.");
    told.clear();
    desktop.opened({}); // after all
    EXPECT_TRUE(eventually([&] { return !told.empty(); }));
    EXPECT_EQ(fields().status, "The update has been opened. Choose Install and Open in it.");
    EXPECT_EQ(check(), available);
    desktop.opened({});
    QCoreApplication::processEvents();
    EXPECT_EQ(fields().status, available) << "nobody asks for that any more";

    for (const auto operation : {&UpdateController::showDownload, &UpdateController::openUpdate}) {
        recheckOutcome = {};
        check();
        download();
        EXPECT_FALSE(fields().offersOpen) << "not before a recheck of its own";
        show();
        desktop.done.clear();
        recheckOutcome = Failed(invalidBundle);
        EXPECT_EQ(outcomeOf(operation), sentence(corrupt));
        EXPECT_TRUE(desktop.done.empty());
        EXPECT_FALSE(fields().offersShow || fields().offersOpen);
        EXPECT_TRUE(fields().offersDownload) << "again";
    }
}

TEST_F(UpdateControllerTest, stopsForGood) {
    controller->stop();
    EXPECT_TRUE(told.empty()) << "nothing ran";
    EXPECT_EQ(check(), "Check manually for a newer Mac release.");

    begin();
    check();
    haltAt("archive", &UpdateController::download);
    controller->stop();
    for (int i = 0; i < 2; ++i) { // were the outcome applied, it would have something more done
        EXPECT_TRUE(waitForWorkThreads(60s));
        QCoreApplication::processEvents();
    }
    EXPECT_TRUE(fs::is_empty(cache.folder()));
    controller->stop();
    controller->cancel();
    EXPECT_THAT(told, ElementsAre("Downloading Mac 0.7.0…", cancelling));
    EXPECT_TRUE(fields().busy) << "as it was";
}

} // namespace
} // namespace tallywick::testing
