#include "update/UpdateController.h"
#include "base/Sha256.h"
#include "base/WorkThreads.h"
#include "support/PrivateBus.h"

#include <gmock/gmock.h>

#include <future>
#include <thread>

namespace tallywick {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using testing::eventually;
using testing::runIn;
using testing::TemporaryFolder;
namespace fs = std::filesystem;
using Body = BoundedDownload::Result;
using Failed = tl::unexpected<UpdateFailure>;

const std::string checking = "Checking the Mac update feed…";
const std::string rechecking = "Rechecking the saved update…";
const std::string rechecked =
    "Open the selected app and choose Install and Open. macOS may ask you "
    "to approve this unnotarized release.";
const std::string verified = "Download verified. Show it in Finder, open the app, then choose "
                             "Install and Open. This release is not Apple-notarized.";

/// The feed of a release of 1,000 bytes that runs here.
std::string feed(const std::string& version = "0.7.0", const std::string& minimumSystem = "1.0") {
    return R"({"schemaVersion":1,"platform":"macos","bundleIdentifier":"com.corvane.tallywick",
        "version":")"
           + version + R"(","build":42,"minimumSystemVersion":")" + minimumSystem
           + R"(","architectures":["x86_64","arm64"],"bytes":1000,"signing":"ad-hoc",
        "notarized":false,"releaseNotes":"Faster.\nQuieter.","url":
        "https://corvane.example/toolyard/tallywick/downloads/Corvane-Tallywick-Mac-)"
           + version + R"(-App-Only.zip","sha256":")" + sha256Hex("") + "\"}";
}

struct Desktop : Workspace {
    bool works = true;
    std::vector<std::string> done;
    bool openAddress(const std::string&) override { return false; }
    void openNewInstance(const fs::path&, const std::vector<std::string>&,
                         std::function<void(OpenOutcome)>) override {}
    bool openFolder(const fs::path&) override { return false; }
    void copyText(const std::string&) override {}
    void revealItem(const fs::path& item) override { done.push_back("show " + item.string()); }
    bool openApplication(const fs::path& bundle) override {
        done.push_back("open " + bundle.string());
        return works;
    }
};

/// A controller whose steps do as the test says, in a real cache.
class UpdateControllerTest : public ::testing::Test {
  protected:
    ~UpdateControllerTest() override { EXPECT_TRUE(waitForWorkThreads(60s)); }

    UpdateController::Services services() {
        return {
            .clock = [this] { return now; },
            .caches = folder.path(),
            .copy = {"0.6.0", "1"},
            .unpackTool = {"/nowhere"},
            .signature = systemCodeSignature(),
            .workspace = desktop,
            .steps = {.fetch =
                          [this](const DownloadRequest& request, const auto& progress, auto& flag) {
                              requests.push_back(request);
                              return request.destination ? fetchArchive(progress, flag)
                                                         : fetchFeed(flag);
                          },
                      .canUnpack = [this] { return canUnpack; },
                      .prepare = [this](const auto& body, const auto&, const auto&,
                                        const auto& flag) { return prepare(body, flag); },
                      .recheck = [this](const auto&, const auto&, const auto&,
                                        const auto& flag) { return recheck(flag); }},
        };
    }

    void begin(UpdateController::Services given) {
        controller.emplace(std::move(given), [this] { told.push_back(fields().status); });
    }
    void begin() { begin(services()); }

    const UpdateFields& fields() const { return controller->fields(); }

    /// Runs the operation to its end, and gives the sentence that it ends with.
    std::string outcomeOf(void (UpdateController::*operation)()) {
        told.clear();
        (*controller.*operation)();
        EXPECT_TRUE(eventually([&] { return !fields().busy; }));
        return fields().status;
    }
    void prepareARelease() {
        EXPECT_TRUE(outcomeOf(&UpdateController::check).starts_with("Mac 0.7.0 is available. "));
        EXPECT_EQ(outcomeOf(&UpdateController::download), verified);
    }

    /// Goes on when the operation is cancelled.
    static void waitForCancellation(CancellationFlag& flag) {
        std::promise<void> cancelled;
        flag.whenCancelled([&] { cancelled.set_value(); });
        cancelled.get_future().get();
    }

    /// What an earlier update has left, and what one leaves behind half done.
    void litter() {
        runIn(cache.folder(), "mkdir -p candidate; touch candidate.zip partial.zip candidate/x");
    }

    int argumentCount = 0;
    const QCoreApplication application{argumentCount, nullptr};
    const TemporaryFolder folder;
    const UpdateCache cache = UpdateCache::open(folder.path()).value();
    Desktop desktop;
    Timestamp now = systemNow();
    bool canUnpack = true;
    std::vector<DownloadRequest> requests;
    std::vector<std::string> told; ///< the status after each change
    std::function<Body(CancellationFlag&)> fetchFeed = [](auto&) { return feed(); };
    std::function<Body(const std::function<void(std::int64_t)>&, CancellationFlag&)> fetchArchive =
        [](const auto&, auto&) { return Body(); };
    std::function<tl::expected<UpdatePreparation::Prepared, UpdateFailure>(const Body&,
                                                                           const CancellationFlag&)>
        prepare = [this](const auto&, auto&) {
            return UpdatePreparation::Prepared{cache.archive(), cache.preparedApp()};
        };
    std::function<tl::expected<void, UpdateFailure>(const CancellationFlag&)> recheck =
        [](const auto&) { return tl::expected<void, UpdateFailure>(); };
    std::optional<UpdateController> controller;
};

TEST_F(UpdateControllerTest, tellsWhatTheFeedMeansForThisCopy) {
    const struct {
        Body answer;
        RunningCopy copy;
        std::string status;
    } rows[] = {
        {feed(), {"0.6.0", "1"}, "Mac 0.7.0 is available. Faster. Quieter."},
        {feed(), {std::nullopt, "1"}, "Mac 0.7.0 is available. Faster. Quieter."},
        {feed(), {"0.7.0", "42"}, "You’re up to date — Mac 0.7.0."},
        {feed("1.3.9"),
         {"1.4.0", "1"},
         "You have a newer Mac version (1.4.0) than the published release."},
        {feed("0.7.0", "999.0"), {"0.6.0", "1"}, std::string(message(UpdateFailure::incompatible))},
        {"{}", {"0.6.0", "1"}, std::string(message(UpdateFailure::invalidFeed))},
        {feed(), {"6", "1"}, std::string(message(UpdateFailure::invalidFeed))},
        {Failed(UpdateFailure::server), {}, std::string(message(UpdateFailure::server))},
    };
    for (const auto& row : rows) {
        fetchFeed = [&](auto&) { return row.answer; };
        auto given = services();
        given.copy = row.copy;
        begin(std::move(given));
        EXPECT_EQ(fields(), (UpdateFields{.status = "Check manually for a newer Mac release."}));
        EXPECT_EQ(outcomeOf(&UpdateController::check), row.status);
        EXPECT_THAT(told, ElementsAre(checking, row.status));
        EXPECT_EQ(fields().offersDownload, row.status.starts_with("Mac 0.7.0"));
    }
    EXPECT_EQ(requests[0].url,
              "https://corvane.example/toolyard/tallywick/downloads/mac-latest.json");
    EXPECT_EQ(requests[0].maximum, 16'384);
    EXPECT_EQ(requests[0].wholeLimit, 20s);
    EXPECT_EQ(outcomeOf(&UpdateController::download), message(UpdateFailure::server))
        << "nothing was found";
    EXPECT_EQ(requests.size(), std::size(rows));
}

TEST_F(UpdateControllerTest, downloadsAndPreparesTheReleaseThatWasFound) {
    begin();
    litter();
    fetchArchive = [&](const auto& progress, auto&) {
        EXPECT_TRUE(fs::is_empty(cache.folder())) << "nothing of an earlier update";
        EXPECT_FALSE(cache.claim()) << "no other copy of the program works there now";
        for (const int bytes : {0, 1, 9, 500, 999, 1000})
            progress(bytes);
        return Body();
    };
    EXPECT_EQ(outcomeOf(&UpdateController::check), "Mac 0.7.0 is available. Faster. Quieter.");
    controller->download();
    controller->download();
    controller->check();
    EXPECT_EQ(fields().progress, (UpdateFields::Progress{0, 1000}));
    EXPECT_TRUE(eventually([&] {
        if (fields().status == "Downloading… 99%") {
            EXPECT_EQ(fields().progress, (UpdateFields::Progress{999, 1000}));
        }
        return !fields().busy;
    }));
    EXPECT_THAT(told, ElementsAre(checking, "Mac 0.7.0 is available. Faster. Quieter.",
                                  "Downloading Mac 0.7.0…", "Downloading… 0%", "Downloading… 50%",
                                  "Downloading… 99%", "Downloading… 100%", verified));
    EXPECT_EQ(fields(), (UpdateFields{.status = verified, .offersShow = true}));
    ASSERT_EQ(requests.size(), 2U) << "one of them at a time";
    EXPECT_TRUE(requests[1].url.ends_with("/Corvane-Tallywick-Mac-0.7.0-App-Only.zip"));
    EXPECT_EQ(requests[1].maximum, 1000);
    EXPECT_EQ(requests[1].wholeLimit, 90s);
    EXPECT_EQ(requests[1].destination, cache.partialArchive());

    fetchFeed = [](auto&) { return Failed(UpdateFailure::offline); };
    EXPECT_EQ(outcomeOf(&UpdateController::check), message(UpdateFailure::offline));
    EXPECT_FALSE(fields().offersShow || fields().offersDownload) << "what was found is forgotten";
}

TEST_F(UpdateControllerTest, leavesNothingOfADownloadThatFails) {
    begin();
    outcomeOf(&UpdateController::check);
    const auto outcome = [&] { return outcomeOf(&UpdateController::download); };
    prepare = [&](const Body&, const auto&) {
        litter();
        return Failed(UpdateFailure::unsafeArchive);
    };
    EXPECT_EQ(outcome(), message(UpdateFailure::unsafeArchive));
    EXPECT_TRUE(fs::is_empty(cache.folder()));
    EXPECT_EQ(fields(), (UpdateFields{.status = std::string(message(UpdateFailure::unsafeArchive)),
                                      .offersDownload = true}));

    requests.clear();
    litter();
    auto another = cache.claim();
    EXPECT_EQ(outcome(), message(UpdateFailure::disk));
    EXPECT_TRUE(fs::exists(cache.partialArchive())) << "which another copy downloads now";
    another->reset();
    canUnpack = false;
    EXPECT_EQ(outcome(), "Unpacking an update needs libarchive (on Debian the package "
                         "libarchive13). Install it and retry.");
    auto given = services();
    given.caches.reset();
    begin(std::move(given));
    canUnpack = true;
    outcomeOf(&UpdateController::check);
    EXPECT_EQ(outcome(), message(UpdateFailure::disk));
    EXPECT_EQ(requests.size(), 1U) << "of the feed: without a place nothing is downloaded";
}

TEST_F(UpdateControllerTest, isCancelledAtEveryStep) {
    std::promise<void> begun;
    const auto cancelled = [&](void (UpdateController::*operation)()) {
        told.clear();
        (*controller.*operation)();
        begun.get_future().get();
        begun = {};
        controller->cancel();
        EXPECT_TRUE(fields().busy);
        EXPECT_TRUE(eventually([&] { return !fields().busy; }));
        ASSERT_EQ(told.size(), 3U);
        EXPECT_EQ(told[1], "Cancelling update…");
        EXPECT_EQ(told[2], "Update cancelled.");
    };
    begin();
    controller->cancel();
    EXPECT_TRUE(told.empty()) << "there is nothing to cancel";
    fetchFeed = [&](auto& flag) {
        begun.set_value();
        waitForCancellation(flag);
        return feed();
    };
    cancelled(&UpdateController::check);
    EXPECT_FALSE(fields().offersDownload) << "though the feed came";

    fetchFeed = [](auto&) { return feed(); };
    prepareARelease();
    recheck = [&](auto& flag) {
        begun.set_value();
        while (!flag.isCancelled())
            std::this_thread::yield();
        return Failed(UpdateFailure::corrupt);
    };
    cancelled(&UpdateController::showDownload);
    EXPECT_TRUE(fields().offersShow && desktop.done.empty());

    fetchArchive = [&](const auto& progress, auto& flag) {
        litter();
        begun.set_value();
        waitForCancellation(flag);
        progress(400); // late
        return Failed(UpdateFailure::offline);
    };
    prepare = [&](const Body& body, const auto&) { return Failed(body.error()); };
    cancelled(&UpdateController::download);
    EXPECT_TRUE(fs::is_empty(cache.folder()));
    EXPECT_TRUE(fields().offersDownload && !fields().offersShow);

    fetchArchive = [](const auto&, auto&) { return Body(); };
    prepare = [&](const Body&, const auto& flag) {
        litter();
        begun.set_value();
        while (!flag.isCancelled())
            std::this_thread::yield();
        return UpdatePreparation::Prepared{};
    };
    cancelled(&UpdateController::download);
    EXPECT_TRUE(fs::is_empty(cache.folder()));

    prepare = [&](const Body&, const auto&) {
        litter();
        return UpdatePreparation::Prepared{};
    };
    controller->download();
    EXPECT_TRUE(waitForWorkThreads(60s)) << "all is done, but has not been applied";
    EXPECT_FALSE(fs::is_empty(cache.folder()));
    controller->cancel();
    EXPECT_TRUE(eventually([&] { return !fields().busy; }));
    EXPECT_EQ(fields().status, "Update cancelled.");
    EXPECT_FALSE(fields().offersShow);
    EXPECT_TRUE(fs::is_empty(cache.folder()));
}

TEST_F(UpdateControllerTest, showsAndOpensOnlyWhatPassesARecheck) {
    begin();
    controller->showDownload();
    controller->openUpdate();
    EXPECT_TRUE(told.empty()) << "nothing was prepared";
    prepareARelease();
    EXPECT_EQ(outcomeOf(&UpdateController::openUpdate), verified) << "not offered yet";

    const std::string bundle = cache.preparedApp().string();
    EXPECT_EQ(outcomeOf(&UpdateController::showDownload), rechecked);
    EXPECT_THAT(told, ElementsAre(rechecking, rechecked));
    EXPECT_TRUE(fields().offersShow && fields().offersOpen);
    EXPECT_EQ(outcomeOf(&UpdateController::openUpdate),
              "The update has been opened. Choose Install and Open in it.");
    EXPECT_THAT(desktop.done, ElementsAre("show " + bundle, "open " + bundle));
    desktop.works = false;
    EXPECT_EQ(outcomeOf(&UpdateController::openUpdate),
              "The update could not be opened. Show the download and open it there.");

    for (const auto operation : {&UpdateController::showDownload, &UpdateController::openUpdate}) {
        recheck = [](const auto&) { return tl::expected<void, UpdateFailure>(); };
        prepareARelease();
        EXPECT_FALSE(fields().offersOpen) << "not before a recheck of its own";
        outcomeOf(&UpdateController::showDownload);
        desktop.done.clear();
        recheck = [](const auto&) { return Failed(UpdateFailure::invalidBundle); };
        EXPECT_EQ(outcomeOf(operation),
                  "The update's size or SHA-256 does not match. The download was rejected.");
        EXPECT_TRUE(desktop.done.empty());
        EXPECT_FALSE(fields().offersShow || fields().offersOpen);
        EXPECT_TRUE(fields().offersDownload) << "again";
    }
}

TEST_F(UpdateControllerTest, stopsForGood) {
    begin();
    controller->stop();
    EXPECT_TRUE(told.empty()) << "nothing ran";
    EXPECT_EQ(outcomeOf(&UpdateController::check), "Check manually for a newer Mac release.");

    begin();
    outcomeOf(&UpdateController::check);
    fetchArchive = [&](const auto&, auto& flag) {
        litter();
        waitForCancellation(flag);
        return Failed(UpdateFailure::cancelled);
    };
    prepare = [](const Body& body, const auto&) { return Failed(body.error()); };
    controller->download();
    controller->stop();
    EXPECT_TRUE(waitForWorkThreads(60s));
    EXPECT_TRUE(fs::is_empty(cache.folder()));
    QCoreApplication::processEvents();
    controller->stop();
    controller->cancel();
    EXPECT_THAT(told, ElementsAre(checking, "Mac 0.7.0 is available. Faster. Quieter.",
                                  "Downloading Mac 0.7.0…", "Cancelling update…"));
    EXPECT_TRUE(fields().busy) << "as it was";
    controller.reset();
}

TEST_F(UpdateControllerTest, purgesWhatIsOldUnlessAnotherCopyWorksThere) {
    constexpr Timestamp day = 24 * 60 * 60;
    begin();
    litter();
    const auto purge = controller->purge();
    controller.reset();
    now += 13 * day;
    purge();
    now += 2 * day;
    auto another = cache.claim();
    purge();
    EXPECT_EQ(std::distance(fs::directory_iterator(cache.folder()), {}), 3);
    another->reset();
    purge();
    EXPECT_TRUE(fs::is_empty(cache.folder()));
}

} // namespace
} // namespace tallywick
