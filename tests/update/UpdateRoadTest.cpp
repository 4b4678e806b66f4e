#include "base/Ed25519.h"
#include "base/Sha256.h"
#include "update/UpdateStory.h"

#include <cstdlib>
#include <functional>

namespace tallywick::testing {
namespace {

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
        const std::string command = "{ '" MAKE_RELEASE "' " + arguments + "; } 2>errors";
        return std::system(("cd '" + folder.path().string() + "'; " + command).c_str()) == 0;
    }
    bool signAndPack(const std::string& release = "release") const {
        return make("sign *.app key && '" MAKE_RELEASE "' pack *.app notes " + release + ' '
                    + publicKey());
    }

    /// Runs a command in the application's "Contents".
    void change(const std::string& command) const {
        runIn(folder / "Corvane Tallywick.app/Contents", command);
    }

    std::string publicKey() const { return read("public-key").substr(0, 64); }
    std::string feed() const { return read("release/mac-latest.json"); }
    std::string archive() const { return read("release/Corvane-Tallywick-Mac-0.7.0-App-Only.zip"); }
    std::string read(const std::string& file) const { return readAll(folder / file); }

  private:
    const TemporaryFolder folder;
};

TEST(ReleaseTool, makesTheSameReleaseOfTheSameApplication) {
    const Maker maker;
    ASSERT_TRUE(maker.signAndPack()) << maker.read("errors");
    maker.change("find . -type f -exec touch -t 200001010000 {} +; chmod 711 MacOS/*");
    ASSERT_TRUE(maker.signAndPack("again")) << maker.read("errors");
    EXPECT_FALSE(maker.signAndPack()) << "there is one already";
    maker.change("cd ../..; diff -r release again; mkdir x; cd x\n"
                 "/usr/bin/python3 -m zipfile -t ../release/*.zip >log\n"
                 "/usr/bin/bsdtar -xf ../release/*.zip; diff -r *.app ../*.app\n"
                 "test $(stat -c %a *.app/Contents/MacOS/*) = 755\n"
                 "test $(stat -c %a ../release/*.json) = 644");
    const std::string check = "check release " + maker.publicKey();
    EXPECT_TRUE(maker.make(check)) << maker.read("errors");
    maker.change("truncate -s -1 ../../release/*.zip");
    EXPECT_FALSE(maker.make(check));
}

TEST(ReleaseTool, refusesWhatACopyWouldNotTake) {
    const std::pair<const char*, const char*> rows[] = {
        {"echo '#!/bin/sh' >MacOS/CorvaneUtility", "invalidFeed"}, // for no processor
        {"truncate -s 40M Resources/*.png", "cannot read"},
        {"head -c 2001 /dev/zero | tr '\\0' x >../../notes", "invalidFeed"},
        {"touch PkgInfo", "invalidBundle"},
        {"chmod 640 ../../key", "key"}, // others can read it
    };
    for (const auto& [command, refusal] : rows) {
        const Maker maker;
        maker.change(command);
        EXPECT_FALSE(maker.signAndPack()) << command;
        EXPECT_THAT(maker.read("errors"), HasSubstr(refusal)) << command;
        EXPECT_EQ(maker.feed(), "") << command;
        EXPECT_FALSE(maker.make("key key")) << "a key is not replaced";
    }
}

/// A maker who has made a release, and a copy of the program that looks for it.
class UpdateRoad : public UpdateStory {
  protected:
    UpdateRoad() {
        EXPECT_TRUE(maker.signAndPack()) << maker.read("errors");
        begin(maker.publicKey());
    }
    ~UpdateRoad() override { controller.reset(); } // before what it tells

    /// Begins anew, with a copy that knows this key of its maker.
    void begin(const std::string& key) {
        auto given = services(fromTheServers());
        const std::string_view keys[] = {key};
        given.signature = releaseCodeSignature(keys);
        UpdateStory::begin(std::move(given));
    }

    const Maker maker;
};

TEST_F(UpdateRoad, leadsFromTheMakersToolToTheUsersFileBrowser) {
    serve({{answer(maker.feed())}}, {{answer(maker.archive())}});
    EXPECT_EQ(check(), available);
    EXPECT_EQ(download(), verified);
    EXPECT_EQ(show(), rechecked);
    EXPECT_THAT(desktop.done, ElementsAre("show " + cache.preparedApp().string()));

    runIn(cache.preparedApp(), "echo >>Contents/Resources/corvane-logo.png");
    EXPECT_EQ(show(), sentence(UpdateFailure::corrupt)) << "altered after it was prepared";
    EXPECT_EQ(download(), verified) << "which begins anew";

    begin(SigningKey::make().publicKey());
    EXPECT_EQ(check(), available);
    EXPECT_EQ(download(), sentence(UpdateFailure::invalidBundle)) << "another's signature";
}

TEST_F(UpdateRoad, endsInASentenceWhateverGoesWrong) {
    const std::string archive = maker.archive();
    const std::string half = answer(archive.substr(0, archive.size() / 2), archive.size());
    std::string damaged = archive;
    damaged[damaged.size() / 2] ^= 1;
    const std::string unsafe = archive + 'x';
    const Json unsafeFeed{{"bytes", unsafe.size()}, {"sha256", sha256Hex(unsafe)}};
    const auto feed = [&](const Json& changes = Json::object()) {
        Json changed = *parseJson(maker.feed());
        changed.update(changes);
        return answer(writeJson(changed));
    };
    const struct {
        const char* words; ///< of the sentence
        std::string feed;
        std::string archive = "";             ///< without one, the feed is not taken
        std::function<void()> meanwhile = {}; ///< done when a part of the archive has come
    } rows[] = {
        {"redirected to another location", "HTTP/1.1 302 Found\r\nLocation: https://x/\r\n\r\n"},
        {"is not available on the website yet", "HTTP/1.1 404 Not Found\r\n\r\n"},
        {"feed is missing or invalid", answer("{}")},
        {"requires a different macOS version", feed({{"minimumSystemVersion", "999.0"}})},
        {"exceeded the allowed download size", feed(), answer(unsafe)},
        {"size or SHA-256 does not match", feed(), answer(damaged)},
        {"Unable to contact the update server", feed(), half, [&] { archiveServer->reset(); }},
        {"Update cancelled.", feed(), half, [&] { controller->cancel(); }},
        {"unsafe or unsupported archive layout", feed(unsafeFeed), answer(unsafe)},
        {"signature is invalid", feed({{"build", 43}}), answer(archive)},
    };
    for (const auto& row : rows) {
        serve({{row.feed}}, {{row.archive}});
        onChange = [&, meanwhile = row.meanwhile]() mutable {
            if (meanwhile && fields().progress && fields().progress->received > 0)
                std::exchange(meanwhile, {})();
        };
        const bool isOfTheFeed = row.archive.empty();
        EXPECT_THAT(check(), HasSubstr(isOfTheFeed ? row.words : available));
        if (!isOfTheFeed) {
            EXPECT_THAT(download(), HasSubstr(row.words));
        }
        EXPECT_FALSE(fields().offersShow) << row.words;
        EXPECT_TRUE(fs::is_empty(cache.folder())) << row.words;
    }
}

} // namespace
} // namespace tallywick::testing
