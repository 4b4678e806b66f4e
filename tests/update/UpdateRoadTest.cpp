#include "base/Ed25519.h"
#include "base/Sha256.h"
#include "update/HttpsServer.h"
#include "update/UpdateStory.h"
#include "update/ZipBuilder.h"

#include <cstdlib>
#include <functional>

namespace tallywick {
namespace {

using namespace testing;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
namespace fs = std::filesystem;

/// The folder of a maker, who has an application, notes and a key, and makes a release of them.
class Maker {
  public:
    Maker() {
        makeRelease(folder.path());
        writeAll(folder / "notes", "Faster.\nQuieter.\n");
        EXPECT_TRUE(make("key key >public-key"));
    }

    /// Runs the tool. Whether it did what it was asked for.
    bool make(const std::string& arguments) const {
        const std::string command = "'" MAKE_RELEASE "' " + arguments + " 2>errors";
        return std::system(("cd '" + folder.path().string() + "'; " + command).c_str()) == 0;
    }
    bool sign() const { return make("sign *.app key"); }
    bool pack(const std::string& release = "release") const {
        return make("pack *.app notes " + release + ' ' + publicKey());
    }

    /// Runs a command in the application's "Contents".
    void change(const std::string& command) const {
        runIn(folder / "Corvane Tallywick.app/Contents", command);
    }

    std::string publicKey() const { return readAll(folder / "public-key").substr(0, 64); }
    std::string errors() const { return readAll(folder / "errors"); }
    std::string feed(const std::string& release = "release") const {
        return readAll(folder / release / "mac-latest.json");
    }
    std::string archive(const std::string& release = "release") const {
        return readAll(folder / release / "Corvane-Tallywick-Mac-0.7.0-App-Only.zip");
    }

  private:
    const TemporaryFolder folder;
};

TEST(ReleaseTool, makesTheSameReleaseOfTheSameApplication) {
    const Maker maker;
    ASSERT_TRUE(maker.sign() && maker.pack()) << maker.errors();
    maker.change("find . -type f -exec touch -t 200001010000 {} +; chmod 711 MacOS/*");
    ASSERT_TRUE(maker.sign() && maker.pack("again")) << maker.errors();
    EXPECT_EQ(maker.feed(), maker.feed("again"));
    EXPECT_TRUE(maker.archive() == maker.archive("again"));
    EXPECT_FALSE(maker.pack()) << "there is one already";

    maker.change("mkdir ../../x; cd ../../x; /usr/bin/python3 -m zipfile -t ../release/*.zip >log\n"
                 "/usr/bin/bsdtar -xf ../release/*.zip; diff -r *.app ../*.app\n"
                 "test $(stat -c %a *.app/Contents/MacOS/*) = 755\n"
                 "test $(stat -c %a ../release/*.json) = 644");
    EXPECT_TRUE(maker.make("check release " + maker.publicKey())) << maker.errors();
    maker.change("truncate -s -1 ../../release/*.zip");
    EXPECT_FALSE(maker.make("check release " + maker.publicKey()));
}

TEST(ReleaseTool, refusesWhatACopyWouldNotTake) {
    const struct {
        const char* what;
        const char* before; ///< run before the application is signed
        const char* after;  ///< and then
        const char* refusal;
    } rows[] = {
        {"a stranger has signed it", "",
         "'" MAKE_RELEASE "' key other >log; '" MAKE_RELEASE "' sign ../../*.app other",
         "invalidBundle"},
        {"its program is for no processor", "echo '#!/bin/sh' >MacOS/CorvaneUtility", "",
         "invalidFeed"},
        {"it is too large", "truncate -s 40M Resources/*.png", "", "cannot read"},
        {"its notes are too long", "head -c 2001 /dev/zero | tr '\\0' x >../../notes", "",
         "invalidFeed"},
    };
    for (const auto& row : rows) {
        const Maker maker;
        maker.change(row.before);
        ASSERT_TRUE(maker.sign()) << row.what << ": " << maker.errors();
        maker.change(row.after);
        EXPECT_FALSE(maker.pack()) << row.what;
        EXPECT_THAT(maker.errors(), HasSubstr(row.refusal)) << row.what;
        EXPECT_EQ(maker.feed(), "") << row.what;
    }
    const Maker maker;
    EXPECT_FALSE(maker.make("key key")) << "a key is not replaced";
    maker.change("chmod 640 ../../key");
    EXPECT_FALSE(maker.sign()) << "others can read the key";
}

std::string answer(const std::string& body, std::size_t announced) {
    return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(announced) + "\r\n\r\n" + body;
}
Script serving(const std::string& body) { return {{answer(body, body.size())}}; }

/// A maker who has made a release, a server, and a copy of the program that looks for it.
class UpdateRoad : public UpdateStory {
  protected:
    UpdateRoad() {
        EXPECT_TRUE(maker.sign() && maker.pack()) << maker.errors();
        serve(serving(maker.feed()), serving(maker.archive()));
        begin(maker.publicKey());
    }
    ~UpdateRoad() override { controller.reset(); } // before the servers

    void serve(const Script& feed, const Script& archive) {
        feedServer.emplace(certificates.server("maker"), feed);
        archiveServer.emplace(certificates.server("maker"), archive);
    }
    /// Begins anew, with a copy that knows this key of its maker, and fetches as the program does,
    /// but from the servers of this test.
    void begin(const std::string& key) {
        const auto fetch = [this](DownloadRequest request, auto progress, CancellationFlag& flag) {
            request.route = (request.destination ? archiveServer : feedServer)->route(certificates);
            return fetchBounded(request, std::move(progress), flag);
        };
        auto given = services({.fetch = fetch});
        const std::string_view keys[] = {key};
        given.signature = releaseCodeSignature(keys);
        UpdateStory::begin(std::move(given));
    }

    const Maker maker;
    const Certificates certificates;
    std::optional<HttpsServer> feedServer, archiveServer;
};

TEST_F(UpdateRoad, leadsFromTheMakersToolToTheUsersFileBrowser) {
    EXPECT_EQ(check(), available);
    EXPECT_EQ(download(), verified);
    EXPECT_EQ(show(), rechecked);
    EXPECT_THAT(desktop.done, ElementsAre("show " + cache.preparedApp().string()));

    runIn(cache.preparedApp(), "echo >>Contents/Resources/corvane-logo.png");
    EXPECT_EQ(show(), message(UpdateFailure::corrupt)) << "altered after it was prepared";
    EXPECT_EQ(download(), verified) << "which begins anew";

    begin(SigningKey::make().publicKey());
    EXPECT_EQ(check(), available);
    EXPECT_EQ(download(), message(UpdateFailure::invalidBundle)) << "another's signature";
}

TEST_F(UpdateRoad, endsInASentenceWhateverGoesWrong) {
    const std::string archive = maker.archive();
    const std::string half = archive.substr(0, archive.size() / 2);
    std::string damaged = archive;
    damaged[damaged.size() / 2] ^= 1;
    std::vector<ZipEntry> entries = releaseEntries();
    entries.push_back({.name = "Corvane Tallywick.app/Contents/PkgInfo"});
    const std::string unsafe = buildZip(entries).bytes;

    const Script found = serving(maker.feed());
    const auto foundWith = [&](const Json& changes) {
        Json feed = *parseJson(maker.feed());
        feed.update(changes);
        return serving(writeJson(feed));
    };
    const struct {
        const char* what;
        Script feed;
        Script archive; ///< without one, the feed is not taken
        const char* sentence;
        std::function<void()> meanwhile = {}; ///< done when a part of the archive has come
    } rows[] = {
        {"the feed has moved",
         {{"HTTP/1.1 302 Found\r\nLocation: https://corvane.example/\r\n\r\n"}},
         {},
         "The update server redirected to another location. Download blocked."},
        {"there is none",
         {{"HTTP/1.1 404 Not Found\r\n\r\n"}},
         {},
         "The Mac update feed is not available on the website yet, or the server returned an "
         "error."},
        {"it is no feed",
         serving("{}"),
         {},
         "The Mac update feed is missing or invalid. No update was installed."},
        {"the release is for another system",
         foundWith({{"minimumSystemVersion", "999.0"}}),
         {},
         "The available update requires a different macOS version or processor."},
        {"the archive is longer than the feed says", found, serving(archive + 'x'),
         "The update exceeded the allowed download size."},
        {"it is another of that size", found, serving(damaged),
         "The update's size or SHA-256 does not match. The download was rejected."},
        {"the connection breaks",
         found,
         {{answer(half, archive.size())}},
         "Unable to contact the update server. Check your connection and retry.",
         [&] { archiveServer->reset(); }},
        {"the user cancels",
         found,
         {{answer(half, archive.size())}},
         "Update cancelled.",
         [&] { controller->cancel(); }},
        {"the archive holds something else",
         foundWith({{"bytes", unsafe.size()}, {"sha256", sha256Hex(unsafe)}}), serving(unsafe),
         "This update contains an unsafe or unsupported archive layout."},
        {"it is another release", foundWith({{"build", 43}}), serving(archive),
         "The downloaded app's identity, version, or signature is invalid."},
    };
    for (const auto& row : rows) {
        serve(row.feed, row.archive);
        onChange = [&, meanwhile = row.meanwhile]() mutable {
            if (meanwhile && fields().progress && fields().progress->received > 0)
                std::exchange(meanwhile, {})();
        };
        const bool isOfTheFeed = row.archive.pieces.empty();
        EXPECT_EQ(check(), isOfTheFeed ? row.sentence : available) << row.what;
        if (!isOfTheFeed) {
            EXPECT_EQ(download(), row.sentence) << row.what;
        }
        EXPECT_FALSE(fields().offersShow) << row.what;
        EXPECT_TRUE(fs::is_empty(cache.folder())) << row.what;
    }
}

} // namespace
} // namespace tallywick
