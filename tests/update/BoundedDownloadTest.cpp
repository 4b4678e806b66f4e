#include "update/BoundedDownload.h"
#include "base/WorkThreads.h"
#include "support/PrivateBus.h"
#include "update/HttpsServer.h"

#include <gtest/gtest.h>

#include <QCoreApplication>

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <atomic>
#include <functional>
#include <thread>

namespace tallywick {
namespace {

using namespace std::chrono_literals;
using testing::HttpsServer;
using testing::readAll;
using testing::Script;
using End = Script::End;
namespace fs = std::filesystem;

const std::string url = "https://corvane.example/toolyard/tallywick/downloads/mac-latest.json";

std::string answer(const std::string& body, std::size_t announced) {
    return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(announced) + "\r\n\r\n" + body;
}
std::string answer(const std::string& body) { return answer(body, body.size()); }

/// Qt's event loops keep a descriptor each for as long as there is the process: the main thread's
/// is opened before descriptors are counted.
class FirstEventLoop : public ::testing::EmptyTestEventListener {
    void OnEnvironmentsSetUpStart(const ::testing::UnitTest& /*suite*/) override {
        int count = 0;
        const QCoreApplication first(count, nullptr);
    }
};
[[maybe_unused]] const bool isInstalled = [] {
    ::testing::UnitTest::GetInstance()->listeners().Append(new FirstEventLoop);
    return true;
}();

class BoundedDownloadTest : public ::testing::Test {
  protected:
    void TearDown() override { EXPECT_TRUE(waitForWorkThreads(60s)); }

    DownloadRequest request(const HttpsServer& server, std::int64_t maximum) const {
        return {.url = url,
                .maximum = maximum,
                .wholeLimit = 60s,
                .stallLimit = 60s,
                .destination = std::nullopt,
                .route = {.address = "127.0.0.1",
                          .port = server.port(),
                          .authorities = certificates.authority(),
                          .usesUsersProxy = false}};
    }

    /// The body, or the name of the failure, of a download that has ended for good.
    std::string outcomeOf(const DownloadRequest& wanted,
                          const std::function<void(BoundedDownload&)>& meanwhile = {},
                          const std::function<void(std::int64_t)>& progress = {}) {
        std::atomic<int> completions = 0;
        std::string outcome;
        auto download = BoundedDownload::start(
            wanted, {.progress = progress, .completion = [&](BoundedDownload::Result result) {
                         outcome = result ? *result : std::string(name(result.error()));
                         ++completions;
                     }});
        if (!download)
            return "at once: " + std::string(name(download.error()));
        if (meanwhile)
            meanwhile(**download);
        EXPECT_TRUE(waitForWorkThreads(60s));
        EXPECT_EQ(completions, 1);
        return outcome;
    }

    fs::path file() const { return folder / "partial.zip"; }

    int argumentCount = 0;
    const QCoreApplication application{argumentCount, nullptr};
    const testing::Certificates certificates;
    const testing::TemporaryFolder folder;
};

TEST_F(BoundedDownloadTest, asksOnceForTheBodyAsItIs) {
    const HttpsServer server(certificates.server("maker"), {.pieces = {answer("{}")}});
    EXPECT_EQ(outcomeOf(request(server, 2)), "{}");
    EXPECT_EQ(server.requests(),
              std::vector<std::string>{
                  "GET /toolyard/tallywick/downloads/mac-latest.json HTTP/1.1\r\n"
                  "Host: corvane.example\r\nUser-Agent: Corvane-Mac-UpdateCheck/0.6.0\r\n"
                  "Accept-Encoding: identity\r\n\r\n"});
}

TEST_F(BoundedDownloadTest, fillsANewFileOfItsOwnersAlone) {
    std::string body;
    for (int i = 0; body.size() < 3'000'000; ++i)
        body += std::to_string(i);
    for (const Script& script :
         {Script{.pieces = {answer(body)}},
          Script{.pieces = {"HTTP/1.1 200 OK\r\n\r\n", body}, .end = End::close}}) {
        const HttpsServer server(certificates.server("maker"), script);
        DownloadRequest wanted = request(server, static_cast<std::int64_t>(body.size()));
        wanted.destination = file();
        std::vector<std::int64_t> progress;
        EXPECT_EQ(outcomeOf(wanted, {}, [&](std::int64_t bytes) { progress.push_back(bytes); }),
                  "");
        EXPECT_TRUE(readAll(file()) == body);
        EXPECT_TRUE(std::ranges::is_sorted(progress));
        ASSERT_FALSE(progress.empty());
        EXPECT_EQ(progress.back(), static_cast<std::int64_t>(body.size()));
        EXPECT_EQ(fs::status(file()).permissions(), fs::perms{0600});

        EXPECT_EQ(outcomeOf(wanted), "at once: disk") << "something is there already";
        EXPECT_EQ(server.requests().size(), 1U);
        EXPECT_TRUE(readAll(file()) == body) << "which is not touched";
        fs::remove(file());
    }
}

TEST_F(BoundedDownloadTest, refusesAnAnswerThatIsNotThePlainBody) {
    const HttpsServer target(certificates.server("maker"), {.pieces = {answer("body")}});
    const auto moved = [&](const char* status) {
        return std::string("HTTP/1.1 ") + status + " Moved\r\nLocation: https://127.0.0.1:"
               + std::to_string(target.port()) + "/\r\nContent-Length: 0\r\n\r\n";
    };
    const struct {
        const char* what;
        Script script;
        std::string outcome;
    } rows[] = {
        {"moved for good", {.pieces = {moved("301")}}, "redirect"},
        {"moved for now", {.pieces = {moved("307")}}, "redirect"},
        {"not found", {.pieces = {"HTTP/1.1 404 Not Found\r\n\r\nbody"}}, "server"},
        {"too much announced", {.pieces = {answer("", 9)}}, "oversized"},
        {"too much sent", {.pieces = {"HTTP/1.1 200 OK\r\n\r\n", "body", "01234"}}, "oversized"},
        {"cut", {.pieces = {answer("body", 8)}, .end = End::close}, "offline"},
        {"closed without an answer", {.pieces = {}, .end = End::close}, "offline"},
        {"as much as allowed", {.pieces = {answer("01234567")}}, "01234567"},
        {"and more than announced", {.pieces = {answer("body, and more", 4)}}, "body"},
    };
    for (const auto& row : rows) {
        const HttpsServer server(certificates.server("maker"), row.script);
        DownloadRequest wanted = request(server, 8);
        EXPECT_EQ(outcomeOf(wanted), row.outcome) << row.what;

        wanted.destination = file();
        const bool isTaken = outcomeOf(wanted) == "";
        EXPECT_EQ(fs::exists(file()), isTaken) << row.what;
        EXPECT_EQ(server.requests().size(), 2U) << row.what;
        if (isTaken) {
            EXPECT_EQ(readAll(file()), row.outcome) << row.what;
            fs::remove(file());
        }
    }
    EXPECT_EQ(target.requests().size(), 0U) << "the target of a redirect is never contacted";
}

TEST_F(BoundedDownloadTest, trustsTheMakersHostAlone) {
    for (const char* name : {"expired", "stranger", "elsewhere"}) {
        const HttpsServer server(certificates.server(name), {.pieces = {answer("body")}});
        EXPECT_EQ(outcomeOf(request(server, 8)), "offline") << name;
        for (const std::string& received : server.requests())
            EXPECT_EQ(received, "") << name << ": nothing is told before the server is known";
    }
    const HttpsServer inTheClear(std::nullopt, {.pieces = {answer("body")}});
    DownloadRequest wanted = request(inTheClear, 8);
    EXPECT_EQ(outcomeOf(wanted), "offline");
    ASSERT_EQ(inTheClear.requests().size(), 1U);
    // The extension by which a client tells its versions of TLS: 1.3 and 1.2.
    EXPECT_NE(inTheClear.requests()[0].find(std::string("\0\x2b\0\5\4\3\4\3\3", 9)),
              std::string::npos);
    wanted.url.replace(0, 5, "http");
    EXPECT_EQ(outcomeOf(wanted), "offline");
    EXPECT_EQ(inTheClear.requests().size(), 1U);
    wanted.url = url;

    // The system's authorities, which the program trusts, know nothing of the tests' own.
    const HttpsServer server(certificates.server("maker"), {.pieces = {answer("body")}});
    wanted = request(server, 8);
    EXPECT_EQ(outcomeOf(wanted), "body");
    wanted.route.authorities.clear();
    EXPECT_EQ(outcomeOf(wanted), "offline");
}

TEST_F(BoundedDownloadTest, isOfflineWhenNobodyListensOrTheConnectionBreaks) {
    std::optional<HttpsServer> server(std::in_place, certificates.server("maker"),
                                      Script{.pieces = {"HTTP/1.1 200 OK\r\n\r\nbody"}});
    DownloadRequest wanted = request(*server, 8);
    wanted.destination = file();
    EXPECT_EQ(outcomeOf(wanted, {}, [&](std::int64_t) { server->reset(); }), "offline");
    EXPECT_FALSE(fs::exists(file()));
    server.reset();
    EXPECT_EQ(outcomeOf(wanted), "offline");
    EXPECT_FALSE(fs::exists(file()));
}

TEST_F(BoundedDownloadTest, endsAStallAndWhatTakesTooLong) {
    const HttpsServer stalled(certificates.server("maker"), {.pieces = {answer("body", 8)}});
    DownloadRequest wanted = request(stalled, 8);
    wanted.stallLimit = 200ms;
    EXPECT_EQ(outcomeOf(wanted), "offline");

    // A byte now and then is no stall, but it does not go on for ever.
    const HttpsServer slow(certificates.server("maker"),
                           {.pieces = std::vector<std::string>(100'000, "x"), .pause = 10ms});
    wanted = request(slow, 8);
    wanted.wholeLimit = 300ms;
    EXPECT_EQ(outcomeOf(wanted), "offline");

    const HttpsServer steady(certificates.server("maker"),
                             {.pieces = {answer("", 8), "01", "23", "45", "67"}, .pause = 450ms});
    wanted = request(steady, 8);
    wanted.stallLimit = 2s; // less than the pauses together
    EXPECT_EQ(outcomeOf(wanted), "01234567");
    EXPECT_EQ(DownloadRequest().stallLimit, 20s) << "the limit that the program has";
}

TEST_F(BoundedDownloadTest, isCancelledAtAnyMoment) {
    const std::string piece(1000, 'x');
    const HttpsServer endless(certificates.server("maker"),
                              {.pieces = std::vector<std::string>(100'000, piece), .pause = 1ms});
    const HttpsServer stalled(certificates.server("maker"),
                              {.pieces = {"HTTP/1.1 200 OK\r\n\r\n", piece}});
    for (const HttpsServer* server : {&endless, &stalled}) {
        DownloadRequest wanted = request(*server, 1 << 30);
        wanted.destination = file();
        std::size_t before = 0;
        const auto asked = [&] {
            while (server->requests().size() == before)
                std::this_thread::yield();
        };
        const std::function<void(BoundedDownload&)> moments[] = {
            [](auto& download) { download.cancel(); },
            [](auto& download) { download.cancel(), download.cancel(); },
            [&](auto& download) { asked(), download.cancel(); },
            [](auto& download) { std::thread([&] { download.cancel(); }).join(); },
        };
        for (const auto& moment : moments) {
            before = server->requests().size();
            EXPECT_EQ(outcomeOf(wanted, moment), "cancelled") << &moment - moments;
            EXPECT_FALSE(fs::exists(file())) << &moment - moments;
        }
    }
}

TEST_F(BoundedDownloadTest, isCancelledInItsCallbacksAndWhenItIsLetGo) {
    const HttpsServer server(certificates.server("maker"), {.pieces = {answer("body")}});
    DownloadRequest wanted = request(server, 8);
    wanted.destination = file();
    std::promise<BoundedDownload*> begun;
    auto download = begun.get_future().share();
    EXPECT_EQ(outcomeOf(
                  wanted, [&](BoundedDownload& running) { begun.set_value(&running); },
                  [&](std::int64_t) { download.get()->cancel(); }),
              "cancelled")
        << "with the last byte";
    EXPECT_FALSE(fs::exists(file()));

    std::promise<BoundedDownload*> ended;
    std::vector<BoundedDownload::Result> results;
    auto finishing = BoundedDownload::start(
        wanted, {.progress = {}, .completion = [&](BoundedDownload::Result result) {
                     results.push_back(std::move(result));
                     ended.get_future().get()->cancel();
                 }});
    ASSERT_TRUE(finishing);
    ended.set_value(finishing->get());
    EXPECT_TRUE(waitForWorkThreads(60s));
    (*finishing)->cancel();
    finishing->reset();
    ASSERT_EQ(results.size(), 1U);
    EXPECT_TRUE(results[0]) << "it had ended when it was cancelled";
    EXPECT_EQ(readAll(file()), "body");
    fs::remove(file());

    const HttpsServer silent(certificates.server("maker"), {});
    results.clear();
    wanted.route.port = silent.port();
    ASSERT_TRUE(BoundedDownload::start(
        wanted, {.progress = {}, .completion = [&](BoundedDownload::Result result) {
                     results.push_back(std::move(result));
                 }}));
    EXPECT_TRUE(waitForWorkThreads(60s));
    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(results[0].error(), UpdateFailure::cancelled);
    EXPECT_FALSE(fs::exists(file()));
}

TEST_F(BoundedDownloadTest, canBeWaitedForUntilItIsCancelled) {
    const HttpsServer server(certificates.server("maker"), {.pieces = {answer("body")}});
    CancellationFlag flag;
    std::int64_t reported = 0;
    EXPECT_EQ(fetchBounded(
                  request(server, 8), [&](std::int64_t bytes) { reported = bytes; }, flag),
              "body");
    EXPECT_EQ(reported, 4);

    const HttpsServer silent(certificates.server("maker"), {});
    const DownloadRequest wanted = request(silent, 8);
    std::thread cancelling([&] {
        while (silent.requests().empty())
            std::this_thread::yield();
        flag.cancel();
    });
    const tl::unexpected cancelled(UpdateFailure::cancelled);
    EXPECT_EQ(fetchBounded(wanted, {}, flag), cancelled);
    cancelling.join();
    EXPECT_EQ(fetchBounded(wanted, {}, flag), cancelled) << "before it has begun";
}

TEST_F(BoundedDownloadTest, createsNothingBehindALink) {
    const HttpsServer server(certificates.server("maker"), {.pieces = {answer("body")}});
    testing::runIn(folder.path(),
                   "mkdir real; ln -s real link; ln -s nowhere dangling; mkdir taken");
    DownloadRequest wanted = request(server, 8);
    for (const char* place : {"link/partial.zip", "dangling", "taken", "missing/partial.zip"}) {
        wanted.destination = folder / place;
        EXPECT_EQ(outcomeOf(wanted), "at once: disk") << place;
    }
    EXPECT_TRUE(fs::is_empty(folder / "real"));
    EXPECT_EQ(server.requests().size(), 0U);
}

TEST_F(BoundedDownloadTest, isDiskWhenTheFileSystemIsFull) {
    if (::unshare(CLONE_NEWNS) != 0 && ::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
        GTEST_SKIP() << "this machine lets nobody mount a file system of his own";
    const fs::path small = folder / "small";
    fs::create_directory(small);
    ASSERT_EQ(::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
    ASSERT_EQ(::mount("none", small.c_str(), "tmpfs", 0, "size=65536"), 0);
    {
        const HttpsServer server(certificates.server("maker"),
                                 {.pieces = {answer(std::string(200'000, 'x'))}});
        DownloadRequest wanted = request(server, 200'000);
        wanted.destination = small / "partial.zip";
        std::int64_t reported = 0;
        EXPECT_EQ(outcomeOf(wanted, {}, [&](std::int64_t bytes) { reported = bytes; }), "disk");
        EXPECT_TRUE(fs::is_empty(small));
        EXPECT_LE(reported, 65'536) << "what was not stored is not reported";
    }
    ASSERT_EQ(::umount(small.c_str()), 0);
}

TEST(DownloadThroughAProxy, asksTheOneThatTheUserHasSet) {
    testing::runApart([] {
        const HttpsServer proxy(
            std::nullopt,
            {.pieces = {"HTTP/1.1 403 No\r\nContent-Length: 0\r\n\r\n"}, .end = End::close});
        const std::string setting = "http://127.0.0.1:" + std::to_string(proxy.port());
        ASSERT_EQ(::setenv("https_proxy", setting.c_str(), 1), 0);
        BoundedDownload::Result result;
        const auto download = BoundedDownload::start(
            {.url = url, .maximum = 8, .wholeLimit = 60s},
            {.progress = {}, .completion = [&](BoundedDownload::Result ended) { result = ended; }});
        ASSERT_TRUE(waitForWorkThreads(60s));
        ASSERT_FALSE(result);
        EXPECT_EQ(result.error(), UpdateFailure::offline);
        ASSERT_EQ(proxy.requests().size(), 1U);
        EXPECT_TRUE(proxy.requests()[0].starts_with("CONNECT corvane.example:443 HTTP/1.1\r\n"))
            << proxy.requests()[0];
        EXPECT_EQ(proxy.requests()[0].find("toolyard"), std::string::npos);
    });
}

} // namespace
} // namespace tallywick
