#pragma once

#include "base/WorkThreads.h"
#include "support/PrivateBus.h"
#include "update/HttpsServer.h"
#include "update/SampleRelease.h"
#include "update/UpdateController.h"

#include <gmock/gmock.h>

namespace tallywick::testing {

// What the user reads when all is well.
inline const std::string available = "Mac 0.7.0 is available. Faster. Quieter.";
inline const std::string verified =
    "Download verified. Show it in Finder, open the app, then choose Install and Open. "
    "This release is not Apple-notarized.";
inline const std::string rechecked =
    "Open the selected app and choose Install and Open. macOS may ask you to approve this "
    "unnotarized release.";

inline std::string sentence(UpdateFailure failure) { return std::string(message(failure)); }

/// A controller of release 0.6.0 with a cache and a desktop of its own, and the maker's servers.
class UpdateStory : public ::testing::Test {
  protected:
    ~UpdateStory() override {
        controller.reset();
        EXPECT_TRUE(waitForWorkThreads(std::chrono::seconds(60)));
    }

    UpdateController::Services services(UpdateController::Steps steps) {
        return {.clock = [this] { return now; },
                .caches = folder.path(),
                .copy = {"0.6.0", "1"},
                .unpackTool = {MAKE_RELEASE, {"unpack"}},
                .signature = systemCodeSignature(),
                .workspace = desktop,
                .steps = std::move(steps)};
    }

    void begin(UpdateController::Services given) {
        told.clear();
        controller.emplace(std::move(given), [this] {
            told.push_back(fields().status);
            if (onChange)
                onChange();
        });
    }

    void serve(const Script& feed, const Script& archive) {
        if (!certificates)
            certificates.emplace();
        feedServer.emplace(certificates->server("maker"), feed);
        archiveServer.emplace(certificates->server("maker"), archive);
    }

    /// Fetches as the program does, but from these servers.
    UpdateController::Steps fromTheServers() {
        const auto fetch = [this](DownloadRequest request, auto progress, CancellationFlag& flag) {
            const auto& server = request.destination ? archiveServer : feedServer;
            request.route = server->route(*certificates);
            return fetchBounded(request, std::move(progress), flag);
        };
        return {.fetch = fetch};
    }

    const UpdateFields& fields() const { return controller->fields(); }

    /// Waits for the end of what runs, and gives the sentence that it ends with.
    std::string outcome() {
        const auto hasEnded = [this] { return !fields().busy; };
        EXPECT_TRUE(eventually(hasEnded) || eventually(hasEnded) || eventually(hasEnded)
                    || eventually(hasEnded));
        return fields().status;
    }
    std::string outcomeOf(void (UpdateController::*operation)()) {
        told.clear();
        (*controller.*operation)();
        return outcome();
    }
    std::string check() { return outcomeOf(&UpdateController::check); }
    std::string download() { return outcomeOf(&UpdateController::download); }
    std::string show() { return outcomeOf(&UpdateController::showDownload); }

    /// A desktop that tells of an opened application when the test does.
    struct Desktop : Workspace {
        std::vector<std::string> done;
        std::function<void(OpenOutcome)> opened;
        bool openAddress(const std::string&) override { return false; }
        bool openFolder(const std::filesystem::path&) override { return false; }
        void copyText(const std::string&) override {}
        void revealItem(const std::filesystem::path& item) override {
            done.push_back("show " + item.string());
        }
        void openNewInstance(const std::filesystem::path& bundle,
                             const std::vector<std::string>& arguments,
                             std::function<void(OpenOutcome)> tell) override {
            EXPECT_TRUE(arguments.empty());
            done.push_back("open " + bundle.string());
            opened = std::move(tell);
        }
    };

    int argumentCount = 0;
    const QCoreApplication application{argumentCount, nullptr};
    std::optional<Certificates> certificates;
    std::optional<HttpsServer> feedServer, archiveServer;
    const TemporaryFolder folder;
    const UpdateCache cache = UpdateCache::open(folder.path()).value();
    Desktop desktop;
    Timestamp now = systemNow();
    std::vector<std::string> told; ///< the status after each change of the last operation
    std::function<void()> onChange;
    std::optional<UpdateController> controller;
};

} // namespace tallywick::testing
