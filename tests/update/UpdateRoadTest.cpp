#include "base/Ed25519.h"
#include "base/Sha256.h"
#include "support/PrivateBus.h"
#include "support/SampleBundle.h"
#include "update/HttpsServer.h"
#include "update/UpdateController.h"
#include "update/UpdateThreads.h"
#include "update/ZipBuilder.h"

#include <sched.h>
#include <sys/mount.h>

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

std::string answer(const std::string& body, std::size_t announced) {
    return ok + "Content-Length: " + std::to_string(announced) + "\r\n\r\n" + body;
}
std::string answer(const std::string& body) { return answer(body, body.size()); }

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
                 "test $(stat -c %a *.app/Contents/MacOS/*) = 755");
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
    bool openFolder(const fs::path&) override { return false; }
    bool openApplication(const fs::path&) override { return false; }
    void copyText(const std::string&) override {}
};

/// A maker who has made a release, a server, and a copy of the program that looks for it.
class UpdateRoad : public ::testing::Test {
  protected:
    UpdateRoad() {
        EXPECT_TRUE(maker.sign() && maker.pack()) << maker.errors();
        serve({answer(maker.feed())}, {answer(maker.archive())});
        begin(maker.publicKey());
    }
    ~UpdateRoad() override {
        controller.reset();
        EXPECT_TRUE(waitForUpdateThreads(60s));
    }

    void serve(const Script& feed, const Script& archive) {
        feedServer.emplace(certificates.server("maker"), feed);
        archiveServer.emplace(certificates.server("maker"), archive);
    }
    void serve(const std::vector<std::string>& feed, const std::vector<std::string>& archive) {
        serve(Script{.pieces = feed}, Script{.pieces = archive});
    }

    /// Begins anew, with a copy that knows this key of its maker.
    void begin(const std::string& key, const fs::path& caches, UnpackTool unpackTool) {
        const std::string_view keys[] = {key};
        controller.reset();
        controller.emplace(UpdateController::Services{.clock = systemNow,
                                                      .caches = caches,
                                                      .copy = {"0.6.0", "1"},
                                                      .unpackTool = std::move(unpackTool),
                                                      .signature = releaseCodeSignature(keys),
                                                      .workspace = desktop,
                                                      .steps = {.fetch = fetchFromOurServers()}},
                           [this] {
                               const auto& progress = fields().progress;
                               if (meanwhile && progress && progress->received > 0)
                                   std::exchange(meanwhile, {})();
                           });
    }
    void begin(const std::string& key) { begin(key, folder.path(), {MAKE_RELEASE, {"unpack"}}); }

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
        return end();
    }
    std::string end() {
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
    const auto feed = [&](const char* key, const Json& value) {
        Json changed = *parseJson(maker.feed());
        changed[key] = value;
        return writeJson(changed);
    };
    const auto feedOf = [&](const std::string& other) {
        Json changed = *parseJson(feed("bytes", other.size()));
        changed["sha256"] = sha256Hex(other);
        return writeJson(changed);
    };
    std::string damaged = archive;
    damaged[damaged.size() / 2] ^= 1;
    std::vector<testing::ZipEntry> entries = testing::releaseEntries();
    entries.push_back({.name = "Corvane Tallywick.app/Contents/PkgInfo"});
    const std::string unsafe = testing::buildZip(entries).bytes;
    const std::string empty = testing::buildZip(testing::releaseEntries()).bytes;
    const Script good{.pieces = {answer(maker.feed())}};

    const struct {
        const char* what;
        Script feed;
        Script archive;
        UpdateFailure failure;
        std::function<void()> meanwhile = {};
    } rows[] = {
        {"the feed lies elsewhere",
         {.pieces = {"HTTP/1.1 302 Found\r\nLocation: https://corvane.example/\r\n\r\n"}},
         {},
         UpdateFailure::redirect},
        {"there is no feed", {.pieces = {"HTTP/1.1 404 No\r\n\r\n"}}, {}, UpdateFailure::server},
        {"nothing is answered", {.pieces = {}, .end = End::close}, {}, UpdateFailure::offline},
        {"the feed is too long",
         {.pieces = {answer(maker.feed() + std::string(16'384, ' '))}},
         {},
         UpdateFailure::oversized},
        {"the feed is cut inside",
         {.pieces = {answer(maker.feed().substr(1))}},
         {},
         UpdateFailure::invalidFeed},
        {"the release is for another system",
         {.pieces = {answer(feed("minimumSystemVersion", "999.0"))}},
         {},
         UpdateFailure::incompatible},
        {"the archive is not there yet",
         good,
         {.pieces = {"HTTP/1.1 404 No\r\n\r\n"}},
         UpdateFailure::server},
        {"the archive is announced longer than the feed says",
         good,
         {.pieces = {answer(archive + 'x')}},
         UpdateFailure::oversized},
        {"it is longer",
         good,
         {.pieces = {ok + "\r\n" + archive, "x"}, .end = End::close},
         UpdateFailure::oversized},
        {"it is cut off",
         good,
         {.pieces = {answer(half, archive.size())}, .end = End::close},
         UpdateFailure::offline},
        {"the connection breaks",
         good,
         {.pieces = {answer(half, archive.size())}},
         UpdateFailure::offline,
         [&] { archiveServer->reset(); }},
        {"the user cancels in the middle of it",
         good,
         {.pieces = {answer(half, archive.size())}},
         UpdateFailure::cancelled,
         [&] { controller->cancel(); }},
        {"it is shorter", good, {.pieces = {answer(half)}}, UpdateFailure::corrupt},
        {"it is another one of that size",
         good,
         {.pieces = {answer(damaged)}},
         UpdateFailure::corrupt},
        {"it holds something else",
         {.pieces = {answer(feedOf(unsafe))}},
         {.pieces = {answer(unsafe)}},
         UpdateFailure::unsafeArchive},
        {"it holds no application",
         {.pieces = {answer(feedOf(empty))}},
         {.pieces = {answer(empty)}},
         UpdateFailure::invalidBundle},
        {"it is another release",
         {.pieces = {answer(feed("build", 43))}},
         {.pieces = {answer(archive)}},
         UpdateFailure::invalidBundle},
    };
    for (const auto& row : rows) {
        serve(row.feed, row.archive);
        meanwhile = row.meanwhile;
        const bool isOfTheFeed = row.archive.pieces.empty();
        EXPECT_EQ(check() == message(row.failure), isOfTheFeed) << row.what;
        if (!isOfTheFeed) {
            EXPECT_TRUE(fields().offersDownload) << row.what;
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

TEST_F(UpdateRoad, isLeftAtAnyPointByCancelling) {
    const std::string cancelled(message(UpdateFailure::cancelled));
    serve(Script{}, Script{});
    controller->check();
    EXPECT_TRUE(eventually([&] { return feedServer->requests() != std::vector<std::string>(); }));
    controller->cancel();
    EXPECT_EQ(end(), cancelled) << "while it looks for a release";

    serve({answer(maker.feed())}, {answer(maker.archive())});
    begin(maker.publicKey(), folder.path(),
          {"/bin/sh", {"-c", "touch \"$3/begun\"; exec sleep 600", "sh"}, 100'000});
    EXPECT_EQ(check(), available);
    controller->download();
    EXPECT_TRUE(eventually([&] { return fs::exists(cache.unpackFolder() / "begun"); }));
    controller->cancel();
    EXPECT_EQ(end(), cancelled) << "while it unpacks one";
    EXPECT_TRUE(fs::is_empty(cache.folder()));

    begin(maker.publicKey());
    EXPECT_EQ(check(), available);
    EXPECT_EQ(download(), verified);
    controller->showDownload();
    controller->cancel();
    EXPECT_EQ(end(), cancelled) << "while it looks at it again";
    EXPECT_TRUE(desktop.shown.empty());
    EXPECT_EQ(show(), rechecked) << "which can be done later";
}

TEST_F(UpdateRoad, endsAtAFullDisk) {
    if (::unshare(CLONE_NEWNS) != 0)
        GTEST_SKIP() << "only root may mount a file system of his own here";
    const fs::path small = folder / "small";
    fs::create_directory(small);
    ASSERT_EQ(::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
    ASSERT_EQ(::mount("none", small.c_str(), "tmpfs", 0, "size=8192"), 0);
    begin(maker.publicKey(), small, {MAKE_RELEASE, {"unpack"}});
    EXPECT_EQ(check(), available);
    EXPECT_EQ(download(), message(UpdateFailure::disk));
    EXPECT_TRUE(fs::is_empty(UpdateCache::open(small).value().folder()));
    controller.reset();
    EXPECT_TRUE(waitForUpdateThreads(60s));
    ASSERT_EQ(::umount(small.c_str()), 0);
}

} // namespace
} // namespace tallywick
