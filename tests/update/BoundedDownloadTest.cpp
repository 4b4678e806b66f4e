#include "base/WorkThreads.h"
#include "support/PrivateBus.h"
#include "support/SmallDisk.h"
#include "update/HttpsServer.h"

#include <gtest/gtest.h>

#include <QCoreApplication>

#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>

/// Whether the host of the user's proxy script does not answer now.
static std::atomic<bool> scriptIsSilent = false;

/// Stands in front of libproxy's, which Qt calls.
extern "C" char** px_proxy_factory_get_proxies(void* factory, const char* address);
char** px_proxy_factory_get_proxies(void* factory, const char* address) {
    scriptIsSilent.wait(true);
    const auto next = ::dlsym(RTLD_NEXT, "px_proxy_factory_get_proxies");
    return reinterpret_cast<decltype(&px_proxy_factory_get_proxies)>(next)(factory, address);
}

namespace tallywick {
namespace {

using namespace std::chrono_literals;
using namespace testing;
namespace fs = std::filesystem;

const std::string url = "https://corvane.example/toolyard/tallywick/downloads/mac-latest.json";
const std::string ok = "HTTP/1.1 200 OK\r\n\r\n";

constexpr std::chrono::milliseconds never = 1h; // longer than a test waits

class BoundedDownloadTest : public ::testing::Test {
  protected:
    ~BoundedDownloadTest() override { EXPECT_TRUE(waitForWorkThreads(60s)); }

    /// For at most eight bytes, into a file.
    DownloadRequest request(const HttpsServer& server) const {
        return {.url = url,
                .maximum = 8,
                .wholeLimit = never,
                .stallLimit = never,
                .destination = file,
                .route = server.route(certificates)};
    }

    using Progress = std::function<void(std::int64_t)>;

    /// What comes into the file, which is removed then, or the name of the failure, after which
    /// there is none.
    std::string outcomeOf(const DownloadRequest& wanted, const Progress& progress = {}) {
        const auto result = fetchBounded(wanted, progress, flag);
        EXPECT_EQ(fs::exists(*wanted.destination), result.has_value());
        if (!result)
            return std::string(name(result.error()));
        EXPECT_EQ(*result, "");
        EXPECT_EQ(fs::status(*wanted.destination).permissions(), fs::perms{0600});
        const std::string body = readAll(*wanted.destination);
        fs::remove(*wanted.destination);
        return body;
    }
    int argumentCount = 0;
    const QCoreApplication application{argumentCount, nullptr};
    CancellationFlag flag;
    const Certificates certificates;
    const TemporaryFolder folder;
    const fs::path file = folder / "partial.zip";
};

TEST_F(BoundedDownloadTest, takesTheWholeBodyFromTheMakersHostAndNothingElse) {
    const HttpsServer target(certificates.server("maker"), {{answer("body")}});
    const std::string moved = "HTTP/1.1 301 Moved\r\nLocation: https://127.0.0.1:"
                              + std::to_string(target.port()) + "/\r\nContent-Length: 0\r\n\r\n";
    const Script slow{{answer("", 8), "01", "23", "45", "67"}, false, 450ms};
    const Script endless{std::vector<std::string>(100'000, "x"), false, 10ms};
    const struct {
        const char* what;
        Script script;
        const char* outcome;
        const char* certificate = "maker";
        std::chrono::milliseconds stallLimit = never, wholeLimit = never;
        bool isReset = false; ///< when the first of the body has come
    } rows[] = {
        {"as much as allowed", {{answer("01234567")}}, "01234567"},
        {"until TLS ends", {{ok + "body"}, true}, "body"},
        {"slower in all than a stall", slow, "01234567", "maker", 2s},
        {"moved", {{moved}}, "redirect"},
        {"too much", {{ok, "body", "01234"}}, "oversized"},
        {"cut", {{answer("body", 8)}, true}, "offline"},
        {"broken off", {{ok + "body"}}, "offline", "maker", never, never, true},
        {"stalled", {{answer("body", 8)}}, "offline", "maker", 200ms},
        {"a byte now and then, for ever", endless, "offline", "maker", never, 300ms},
        {"a certificate of yesterday", {{answer("body")}}, "offline", "expired"},
        {"of a stranger", {{answer("body")}}, "offline", "stranger"},
        {"of another host", {{answer("body")}}, "offline", "elsewhere"},
    };
    for (const auto& row : rows) {
        HttpsServer server(certificates.server(row.certificate), row.script);
        DownloadRequest wanted = request(server);
        wanted.stallLimit = row.stallLimit;
        wanted.wholeLimit = row.wholeLimit;
        const auto progress = [&](auto) { row.isReset ? server.reset() : void(); };
        EXPECT_EQ(outcomeOf(wanted, progress), row.outcome) << row.what;
        const auto asks = [](const std::string& text) { return text.starts_with("GET "); };
        EXPECT_EQ(std::ranges::count_if(server.requests(), asks),
                  row.certificate == std::string("maker") ? 1 : 0)
            << row.what << ": asked once, and nobody before he is known";
    }
    EXPECT_EQ(target.requests().size(), 0U) << "the target of a redirect is never contacted";
}

TEST_F(BoundedDownloadTest, speaksTlsAloneAndTrustsTheSystemsAuthorities) {
    const HttpsServer inTheClear(std::nullopt, {{answer("body")}});
    DownloadRequest wanted = request(inTheClear);
    EXPECT_EQ(outcomeOf(wanted), "offline");
    ASSERT_EQ(inTheClear.requests().size(), 1U);
    // The extension by which a client tells its versions of TLS: 1.3 and 1.2.
    EXPECT_NE(inTheClear.requests()[0].find(std::string("\0\x2b\0\5\4\3\4\3\3", 9)),
              std::string::npos);
    wanted.url.replace(0, 5, "http");
    EXPECT_EQ(outcomeOf(wanted), "offline");
    EXPECT_EQ(inTheClear.requests().size(), 1U);

    const HttpsServer server(certificates.server("maker"), {{answer("body")}});
    wanted = request(server);
    wanted.route.authorities.clear();
    EXPECT_EQ(outcomeOf(wanted), "offline") << "the tests' own authority is none of them";
}

TEST_F(BoundedDownloadTest, fillsANewFileAsFarAsThereIsRoom) {
    std::string body;
    for (int i = 0; body.size() < 3'000'000; ++i)
        body += std::to_string(i);
    const HttpsServer server(certificates.server("maker"), {{answer(body)}});
    DownloadRequest wanted = request(server);
    wanted.maximum = static_cast<std::int64_t>(body.size());
    std::vector<std::int64_t> reports;
    const auto progress = [&](auto bytes) { reports.push_back(bytes); };
    EXPECT_TRUE(outcomeOf(wanted, progress) == body);
    EXPECT_TRUE(std::ranges::is_sorted(reports));
    ASSERT_FALSE(reports.empty());
    EXPECT_EQ(reports.back(), wanted.maximum);

    runIn(folder.path(), "mkdir real; ln -s real link; ln -s nowhere dangling; echo x >mine");
    for (const char* place : {"mine", "link/new.zip", "dangling", "missing/new.zip"}) {
        wanted.destination = folder / place;
        EXPECT_EQ(fetchBounded(wanted, {}, flag), tl::unexpected(UpdateFailure::disk)) << place;
    }
    EXPECT_EQ(readAll(folder / "mine"), "x\n") << "what was there is not touched";
    EXPECT_TRUE(fs::is_empty(folder / "real"));
    EXPECT_EQ(server.requests().size(), 1U);

    if (!SmallDisk::isPossible())
        GTEST_SKIP() << "this machine lets nobody mount a file system of his own";
    const SmallDisk disk(folder / "small", 65'536);
    wanted.destination = disk.path() / "partial.zip";
    EXPECT_EQ(outcomeOf(wanted, progress), "disk");
    EXPECT_LE(reports.back(), 65'536) << "what was not stored is not reported";
}

TEST_F(BoundedDownloadTest, isCancelledWhileItWaits) {
    const HttpsServer silent(certificates.server("maker"), {});
    std::thread cancelling([&] {
        while (silent.requests().empty())
            std::this_thread::yield();
        flag.cancel();
    });
    EXPECT_EQ(outcomeOf(request(silent)), "cancelled");
    cancelling.join();
    EXPECT_EQ(outcomeOf(request(silent)), "cancelled") << "before it has begun";
    EXPECT_EQ(silent.requests(),
              std::vector<std::string>{
                  "GET /toolyard/tallywick/downloads/mac-latest.json HTTP/1.1\r\n"
                  "Host: corvane.example\r\nUser-Agent: Corvane-Mac-UpdateCheck/0.6.0\r\n"
                  "Accept-Encoding: identity\r\n\r\n"})
        << "which is all that anybody learns of the user";
}

TEST_F(BoundedDownloadTest, isCancelledWithTheLastByte) {
    const HttpsServer server(certificates.server("maker"), {{answer("body")}});
    DownloadRequest wanted = request(server);
    wanted.destination.reset();
    EXPECT_EQ(fetchBounded(wanted, {}, flag), "body");
    EXPECT_EQ(outcomeOf(request(server), [&](auto) { flag.cancel(); }), "cancelled");
}

TEST(DownloadThroughAProxy, asksTheOneThatTheUserHasSetAndEndsThoughNobodyTellsWhich) {
    runApart([] {
        const HttpsServer proxy(std::nullopt,
                                {{"HTTP/1.1 403 No\r\nContent-Length: 0\r\n\r\n"}, true});
        const std::string setting = "http://127.0.0.1:" + std::to_string(proxy.port());
        ASSERT_EQ(::setenv("https_proxy", setting.c_str(), 1), 0);
        DownloadRequest wanted{.url = url, .maximum = 8, .wholeLimit = 60s};
        CancellationFlag flag;
        EXPECT_EQ(fetchBounded(wanted, {}, flag), tl::unexpected(UpdateFailure::offline));
        ASSERT_EQ(proxy.requests().size(), 1U);
        EXPECT_TRUE(proxy.requests()[0].starts_with("CONNECT corvane.example:443 HTTP/1.1\r\n"))
            << proxy.requests()[0];
        EXPECT_EQ(proxy.requests()[0].find("toolyard"), std::string::npos);

        scriptIsSilent = true;
        wanted.wholeLimit = 50ms;
        EXPECT_EQ(fetchBounded(wanted, {}, flag), tl::unexpected(UpdateFailure::offline));
        wanted.wholeLimit = never;
        std::thread cancelling([&] { flag.cancel(); });
        EXPECT_EQ(fetchBounded(wanted, {}, flag), tl::unexpected(UpdateFailure::cancelled));
        cancelling.join();
        EXPECT_FALSE(waitForWorkThreads(0ms)) << "still asking";
        scriptIsSilent = false;
        scriptIsSilent.notify_all();
        EXPECT_TRUE(waitForWorkThreads(60s));
    });
}

} // namespace
} // namespace tallywick
