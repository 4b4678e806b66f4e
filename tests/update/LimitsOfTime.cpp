// How long the program waits for a server that keeps it waiting: up to a minute and a half.
// Therefore this is a program of its own, which `.ci/run` runs and `./check` does not.

#include "base/Json.h"
#include "update/HttpsServer.h"
#include "update/UpdateStory.h"

namespace tallywick {
namespace {

using namespace std::chrono_literals;
using testing::HttpsServer;
using testing::Script;

constexpr std::int64_t archiveBytes = 1'090;

std::string feed() {
    return writeJson({{"schemaVersion", 1},
                      {"platform", "macos"},
                      {"bundleIdentifier", Product::bundleIdentifier},
                      {"version", "9.0.0"},
                      {"build", 1},
                      {"minimumSystemVersion", "1.0"},
                      {"architectures", {"x86_64", "arm64"}},
                      {"url", UpdateFeed::expectedArchiveURL("9.0.0")},
                      {"bytes", archiveBytes},
                      {"sha256", std::string(64, '0')},
                      {"signing", "ad-hoc"},
                      {"notarized", false},
                      {"releaseNotes", ""}});
}

/// A whole answer whose head and pieces come after a pause each.
Script slowly(std::size_t size, std::size_t pieces, std::chrono::milliseconds pause) {
    Script script{
        .pieces = {"HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n"},
        .pause = pause};
    script.pieces.resize(1 + pieces, std::string(size / pieces, 'x'));
    return script;
}

/// Without its limit, a download would end with what the server sends at last, and another
/// sentence.
class LimitsOfTime : public testing::UpdateStory {
  protected:
    void begin(const Script& script, bool forArchive) {
        server.emplace(certificates.server("maker"), script);
        const auto fetch = [this, forArchive](DownloadRequest request, auto progress,
                                              CancellationFlag& flag) -> BoundedDownload::Result {
            if (request.destination.has_value() != forArchive)
                return feed();
            request.route = server->route(certificates);
            return fetchBounded(request, std::move(progress), flag);
        };
        UpdateStory::begin(services({.fetch = fetch}));
        controller->check();
    }

    std::string end() {
        while (fields().busy)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        return fields().status;
    }

    const std::string offline{message(UpdateFailure::offline)};
    const testing::Certificates certificates;
    std::optional<HttpsServer> server;
};

TEST_F(LimitsOfTime, endAFeedThatComesBitByBit) {
    begin(slowly(290, 29, 1s), false);
    EXPECT_EQ(end(), offline);
}

TEST_F(LimitsOfTime, endAnArchiveThatComesBitByBit) {
    begin(slowly(archiveBytes, 109, 1s), true);
    EXPECT_NE(end(), offline);
    controller->download();
    EXPECT_EQ(end(), offline);
}

TEST_F(LimitsOfTime, endAnArchiveThatDoesNotBegin) {
    begin(slowly(archiveBytes, 1, 30s), true);
    EXPECT_NE(end(), offline);
    controller->download();
    EXPECT_EQ(end(), offline);
}

} // namespace
} // namespace tallywick
