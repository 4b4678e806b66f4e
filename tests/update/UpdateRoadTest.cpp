#include "base/Ed25519.h"
#include "base/Sha256.h"
#include "base/WorkThreads.h"
#include "support/PrivateBus.h"
#include "support/SampleBundle.h"
#include "update/HttpsServer.h"
#include "update/UpdateController.h"
#include "update/ZipBuilder.h"

#include <cstdlib>
#include <functional>

namespace tallywick {
namespace {

using namespace std::chrono_literals;
using testing::eventually;
using testing::HttpsServer;
using testing::readAll;
using testing::runIn;
using testing::Script;
using testing::TemporaryFolder;
using End = Script::End;
namespace fs = std::filesystem;

const std::string ok = "HTTP/1.1 200 OK\r\n";
const std::string available = "Mac 0.7.0 is available. Faster. Quieter.";
const std::string verified = "Download verified. Show it in Finder, open the app, then choose "
                             "Install and Open. This release is not Apple-notarized.";
const std::string rechecked = "Open the selected app and choose Install and Open. macOS may ask "
                              "you to approve this unnotarized release.";

/// A server that sends these bytes to whoever asks.
Script says(const std::string& bytes, End end = End::stayOpen) {
    return {.pieces = {bytes}, .end = end};
}
std::string answer(const std::string& body, std::size_t announced) {
    return ok + "Content-Length: " + std::to_string(announced) + "\r\n\r\n" + body;
}
Script serving(const std::string& body) { return says(answer(body, body.size())); }

/// The folder of a maker, who has an application, notes and a key, and makes a release of them.
class Maker {
  public:
    Maker() {
        const fs::path bundle = testing::makeSampleBundle(
            folder.path(), {{"CFBundleShortVersionString", "0.7.0"}, {"CFBundleVersion", "42"}});
        fs::copy_file("/bin/cat", bundle / "Contents/MacOS/CorvaneUtility",
                      fs::copy_options::overwrite_existing);
        EXPECT_TRUE(sealBundle(bundle));
        testing::writeAll(folder / "notes", "Faster.\nQuieter.\n");
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
    EXPECT_TRUE(maker.make("check release " + maker.publicKey())) << maker.errors();
    EXPECT_FALSE(maker.pack()) << "there is one already";

    maker.change("mkdir ../../x; cd ../../x; /usr/bin/python3 -m zipfile -t ../release/*.zip >log\n"
                 "/usr/bin/bsdtar -xf ../release/*.zip; diff -r *.app ../*.app\n"
                 "test $(stat -c %a *.app/Contents/MacOS/*) = 755\n"
                 "test $(stat -c %a ../release/*.json) = 644");
    maker.change("truncate -s -1 ../../release/*.zip");
    EXPECT_FALSE(maker.make("check release " + maker.publicKey()));
}

TEST(ReleaseTool, refusesWhatACopyWouldNotTake) {
    const char* const signs = "sign *.app key";
    const struct {
        const char* what;
        const char* before;  ///< run before the application is signed
        const char* command; ///< of the tool, run then
        const char* after;   ///< run before it is packed
        const char* refusal;
    } rows[] = {
        {"nothing is wrong", "", signs, "", ""},
        {"it is not signed", "", "public-key key >log", "", "invalidBundle"},
        {"a stranger has signed it", "", "key other >log && '" MAKE_RELEASE "' sign *.app other",
         "", "invalidBundle"},
        {"it was changed since", "", signs, "echo >>Info.plist", "invalidBundle"},
        {"it has a further file", "touch PkgInfo", signs, "", "invalidBundle"},
        {"it is a preview",
         "sed -i 's/<key>CFBundleVersion/<key>CorvanePreview<\\/key><true\\/>&/' Info.plist", signs,
         "", "invalidBundle"},
        {"its build has another form", "sed -i 's/>42</>042</' Info.plist", signs, "",
         "invalidBundle"},
        {"its program is for no processor", "echo '#!/bin/sh' >MacOS/CorvaneUtility", signs, "",
         "invalidFeed"},
        {"it is too large", "truncate -s 40M Resources/*.png", signs, "", "cannot read"},
        {"its notes are too long", "head -c 2001 /dev/zero | tr '\\0' x >../../notes", signs, "",
         "invalidFeed"},
    };
    for (const auto& row : rows) {
        const Maker maker;
        maker.change(row.before);
        ASSERT_TRUE(maker.make(row.command)) << row.what << ": " << maker.errors();
        maker.change(row.after);
        const bool isMade = *row.refusal == '\0';
        EXPECT_EQ(maker.pack(), isMade) << row.what;
        EXPECT_NE(maker.errors().find(row.refusal), std::string::npos) << maker.errors();
        EXPECT_EQ(maker.feed().empty(), !isMade) << row.what;
    }
    const Maker maker;
    EXPECT_FALSE(maker.make("key key")) << "a key is not replaced";
    maker.change("chmod 640 ../../key");
    EXPECT_FALSE(maker.sign()) << "others can read the key";
}

struct Desktop : Workspace {
    std::vector<fs::path> shown;
    void revealItem(const fs::path& item) override { shown.push_back(item); }
    bool openAddress(const std::string&) override { return false; }
    void openNewInstance(const fs::path&, const std::vector<std::string>&,
                         std::function<void(OpenOutcome)>) override {}
    bool openFolder(const fs::path&) override { return false; }
    bool openApplication(const fs::path&) override { return false; }
    void copyText(const std::string&) override {}
};

/// A maker who has made a release, a server, and a copy of the program that looks for it.
class UpdateRoad : public ::testing::Test {
  protected:
    UpdateRoad() {
        EXPECT_TRUE(maker.sign() && maker.pack()) << maker.errors();
        serve(serving(maker.feed()), serving(maker.archive()));
        begin(maker.publicKey());
    }
    ~UpdateRoad() override {
        controller.reset();
        EXPECT_TRUE(waitForWorkThreads(60s));
    }

    void serve(const Script& feed, const Script& archive) {
        feedServer.emplace(certificates.server("maker"), feed);
        archiveServer.emplace(certificates.server("maker"), archive);
    }
    /// Begins anew, with a copy that knows this key of its maker.
    void begin(const std::string& key) {
        const std::string_view keys[] = {key};
        controller.reset();
        controller.emplace(UpdateController::Services{.clock = systemNow,
                                                      .caches = folder.path(),
                                                      .copy = {"0.6.0", "1"},
                                                      .unpackTool = {MAKE_RELEASE, {"unpack"}},
                                                      .signature = releaseCodeSignature(keys),
                                                      .workspace = desktop,
                                                      .steps = {.fetch = fetchFromOurServers()}},
                           [this] {
                               const auto& progress = fields().progress;
                               if (meanwhile && progress && progress->received > 0)
                                   std::exchange(meanwhile, {})();
                           });
    }
    /// As the program fetches, but from the servers of this test.
    std::function<decltype(fetchBounded)> fetchFromOurServers() {
        return [this](DownloadRequest request, auto progress, CancellationFlag& flag) {
            const auto& server = request.destination ? archiveServer : feedServer;
            request.route = {.address = "127.0.0.1",
                             .port = server->port(),
                             .authorities = certificates.authority(),
                             .usesUsersProxy = false};
            return fetchBounded(request, std::move(progress), flag);
        };
    }

    const UpdateFields& fields() const { return controller->fields(); }

    /// Runs an operation to its end, and gives the sentence that it ends with.
    std::string outcomeOf(void (UpdateController::*operation)()) {
        (*controller.*operation)();
        EXPECT_TRUE(eventually([&] { return !fields().busy; }));
        return fields().status;
    }
    std::string check() { return outcomeOf(&UpdateController::check); }
    std::string download() { return outcomeOf(&UpdateController::download); }
    std::string show() { return outcomeOf(&UpdateController::showDownload); }

    int argumentCount = 0;
    const QCoreApplication application{argumentCount, nullptr};
    const Maker maker;
    const testing::Certificates certificates;
    const TemporaryFolder folder;
    const UpdateCache cache = UpdateCache::open(folder.path()).value();
    Desktop desktop;
    std::optional<HttpsServer> feedServer, archiveServer;
    std::function<void()> meanwhile; ///< done once, when a part of the archive has come
    std::optional<UpdateController> controller;
};

TEST_F(UpdateRoad, leadsFromTheMakersToolToTheUsersFileBrowser) {
    EXPECT_EQ(check(), available);
    EXPECT_EQ(download(), verified);
    EXPECT_EQ(show(), rechecked);
    EXPECT_EQ(desktop.shown, std::vector{cache.preparedApp()});

    runIn(cache.preparedApp(), "echo >>Contents/Resources/corvane-logo.png");
    EXPECT_EQ(show(), message(UpdateFailure::corrupt)) << "altered after it was prepared";
    EXPECT_FALSE(fields().offersShow);
    EXPECT_EQ(download(), verified) << "which begins anew";
    EXPECT_EQ(feedServer->requests().size(), 1U);
    EXPECT_EQ(archiveServer->requests().size(), 2U);
}

TEST_F(UpdateRoad, endsInASentenceWhateverGoesWrong) {
    const std::string archive = maker.archive();
    const std::string half = archive.substr(0, archive.size() / 2);
    std::string damaged = archive;
    damaged[damaged.size() / 2] ^= 1;
    std::vector<testing::ZipEntry> entries = testing::releaseEntries();
    const std::string empty = testing::buildZip(entries).bytes;
    entries.push_back({.name = "Corvane Tallywick.app/Contents/PkgInfo"});
    const std::string unsafe = testing::buildZip(entries).bytes;

    const Script found = serving(maker.feed());
    const auto foundWith = [&](const Json& changes) {
        Json feed = *parseJson(maker.feed());
        feed.update(changes);
        return serving(writeJson(feed));
    };
    const auto foundFor = [&](const std::string& other) {
        return foundWith({{"bytes", other.size()}, {"sha256", sha256Hex(other)}});
    };
    const std::string elsewhere =
        "HTTP/1.1 302 Found\r\nLocation: https://corvane.example/\r\n\r\n";
    const Script missing = says("HTTP/1.1 404 Not Found\r\n\r\n");
    const struct {
        const char* what;
        Script feed;
        Script archive; ///< without one, the feed is not taken
        UpdateFailure failure;
        std::function<void()> meanwhile = {};
    } rows[] = {
        {"the feed lies elsewhere", says(elsewhere), {}, UpdateFailure::redirect},
        {"there is no feed", missing, {}, UpdateFailure::server},
        {"nothing is answered", says("", End::close), {}, UpdateFailure::offline},
        {"the feed is too long",
         serving(maker.feed() + std::string(16'384, ' ')),
         {},
         UpdateFailure::oversized},
        {"the feed is no feed", serving(maker.feed().substr(1)), {}, UpdateFailure::invalidFeed},
        {"the release is for another system",
         foundWith({{"minimumSystemVersion", "999.0"}}),
         {},
         UpdateFailure::incompatible},
        {"the archive is not there", found, missing, UpdateFailure::server},
        {"it is longer than the feed says", found, serving(archive + 'x'),
         UpdateFailure::oversized},
        {"it is shorter", found, serving(half), UpdateFailure::corrupt},
        {"it is another of that size", found, serving(damaged), UpdateFailure::corrupt},
        {"it is cut off", found, says(answer(half, archive.size()), End::close),
         UpdateFailure::offline},
        {"the connection breaks", found, says(answer(half, archive.size())), UpdateFailure::offline,
         [&] { archiveServer->reset(); }},
        {"the user cancels", found, says(answer(half, archive.size())), UpdateFailure::cancelled,
         [&] { controller->cancel(); }},
        {"it holds something else", foundFor(unsafe), serving(unsafe),
         UpdateFailure::unsafeArchive},
        {"it holds no application", foundFor(empty), serving(empty), UpdateFailure::invalidBundle},
        {"it is another release", foundWith({{"build", 43}}), serving(archive),
         UpdateFailure::invalidBundle},
    };
    for (const auto& row : rows) {
        serve(row.feed, row.archive);
        meanwhile = row.meanwhile;
        const bool isOfTheFeed = row.archive.pieces.empty();
        EXPECT_EQ(check(), isOfTheFeed ? message(row.failure) : available) << row.what;
        if (!isOfTheFeed) {
            EXPECT_EQ(download(), message(row.failure)) << row.what;
        }
        EXPECT_FALSE(fields().offersShow) << row.what;
        EXPECT_TRUE(fs::is_empty(cache.folder())) << row.what;
    }
}

TEST_F(UpdateRoad, endsWhereAnotherThanTheMakerHasSigned) {
    const std::string foreign = SigningKey::make().publicKey();
    begin(foreign);
    EXPECT_EQ(check(), available);
    EXPECT_EQ(download(), message(UpdateFailure::invalidBundle));
    EXPECT_TRUE(fs::is_empty(cache.folder()));
    begin(maker.publicKey());
    EXPECT_EQ(check(), available);
    EXPECT_EQ(download(), verified);
}

} // namespace
} // namespace tallywick
