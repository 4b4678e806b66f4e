#include "base/Sha256.h"
#include "support/SampleBundle.h"
#include "update/ReleaseUnpacker.h"
#include "update/UpdateFeed.h"
#include "update/UpdatePreparation.h"
#include "update/ZipBuilder.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>

namespace tallywick {
namespace {

using testing::buildZip;
using testing::makeSampleBundle;
using testing::put32;
using testing::readAll;
using testing::runIn;
using testing::TemporaryFolder;
using testing::writeAll;
using testing::ZipArchive;
using testing::ZipEntry;
namespace fs = std::filesystem;

/// A cache into which an archive has been downloaded.
class PreparationTest : public ::testing::Test {
  protected:
    PreparationTest() {
        manifest.version = "0.7.0";
        manifest.build = 42;
        manifest.minimumSystemVersion = "6.1";
        manifest.architectures = {runningSystem().architecture};
    }

    /// The files of a release, as they are packed. `change` is run in the application's folder.
    std::vector<ZipEntry> release(const char* change = "") {
        const TemporaryFolder made;
        const fs::path bundle = makeSampleBundle(
            made.path(), {{"CFBundleShortVersionString", "0.7.0"}, {"CFBundleVersion", "42"}});
        fs::copy_file("/bin/cat", bundle / "Contents/MacOS/CorvaneUtility",
                      fs::copy_options::overwrite_existing);
        EXPECT_TRUE(sealBundle(bundle));
        runIn(bundle, change);
        std::vector<ZipEntry> entries = testing::releaseEntries();
        for (ZipEntry& entry : entries) {
            entry.content = entry.name.ends_with('/') ? "" : readAll(made.path() / entry.name);
            entry.deflate = entry.content.size() > 1000;
        }
        return entries;
    }

    /// Lays the archive down as a finished download that the feed has told of.
    void download(const std::string& archive) {
        EXPECT_TRUE(cache.clear());
        writeAll(cache.partialArchive(), archive);
        manifest.bytes = static_cast<std::int64_t>(archive.size());
        manifest.sha256 = sha256Hex(archive);
    }

    std::string prepare(const BoundedDownload::Result& result = {}) {
        const auto prepared = UpdatePreparation::prepare(result, manifest, means, flag);
        return prepared ? "prepared" : std::string(name(prepared.error()));
    }

    std::string recheck() {
        const auto outcome = UpdatePreparation::recheck({cache.archive(), cache.preparedApp()},
                                                        manifest, *signature, flag);
        return outcome ? "passed" : std::string(name(outcome.error()));
    }

    const TemporaryFolder folder;
    const UpdateCache cache = UpdateCache::open(folder.path()).value();
    UpdateManifest manifest;
    CancellationFlag flag;
    UnpackTool tool{UNPACK_RELEASE};
    const std::unique_ptr<CodeSignature> signature = systemCodeSignature();
    const UpdatePreparation::Means means{cache, tool, *signature};
};

TEST_F(PreparationTest, makesAnApplicationOfAnArchive) {
    ASSERT_TRUE(ArchiveExtraction::isPossible());
    download(buildZip(release()).bytes);
    EXPECT_EQ(prepare(), "prepared");
    EXPECT_FALSE(fs::exists(cache.partialArchive()));
    EXPECT_EQ(fs::status(cache.preparedApp() / Product::executablePath).permissions(),
              fs::perms{0755});
    EXPECT_EQ(recheck(), "passed");

    const auto aside = folder / "aside";
    fs::rename(cache.preparedApp(), aside);
    EXPECT_EQ(recheck(), "invalidBundle");
    fs::rename(aside, cache.preparedApp());
    runIn(cache.preparedApp(), "echo >>Contents/Resources/corvane-logo.png");
    EXPECT_EQ(recheck(), "invalidBundle");
    runIn(cache.folder(), "echo >>candidate.zip");
    EXPECT_EQ(recheck(), "corrupt");
    flag.cancel();
    EXPECT_EQ(recheck(), "cancelled");
}

TEST_F(PreparationTest, takesWhatRealToolsHavePacked) {
    for (const char* command :
         {"/usr/bin/zip -qr", "/usr/bin/zip -qr0X", "/usr/bin/bsdtar --format zip -cf",
          "/usr/bin/python3 -m zipfile -c"}) {
        const TemporaryFolder made;
        makeSampleBundle(made.path());
        for (const ZipEntry& entry : release()) {
            if (!entry.name.ends_with('/'))
                writeAll(made.path() / entry.name, entry.content);
        }
        runIn(made.path(), std::string(command) + " made.zip 'Corvane Tallywick.app'");
        download(readAll(made / "made.zip"));
        EXPECT_EQ(prepare(), "prepared") << command;
    }
}

TEST_F(PreparationTest, endsAtTheFirstStepThatFails) {
    const std::string archive = buildZip(release()).bytes;
    EXPECT_EQ(prepare(tl::unexpected(UpdateFailure::oversized)), "oversized");
    EXPECT_EQ(prepare(), "disk") << "nothing was downloaded";

    download(archive);
    writeAll(cache.archive(), "an earlier one");
    EXPECT_EQ(prepare(), "disk");
    EXPECT_EQ(readAll(cache.archive()), "an earlier one") << "which is not replaced";

    download(archive + 'x');
    EXPECT_EQ(prepare(), "unsafeArchive");
    EXPECT_FALSE(fs::exists(cache.unpackFolder())) << "nothing was unpacked";
    download(archive);
    manifest.sha256.front() = manifest.sha256.front() == '0' ? '1' : '0';
    EXPECT_EQ(prepare(), "corrupt");

    download(archive);
    fs::create_directory(cache.unpackFolder());
    EXPECT_EQ(prepare(), "disk") << "something lies where it is to be unpacked";

    download(buildZip(release("echo x >>Contents/Resources/corvane-logo.png")).bytes);
    EXPECT_EQ(prepare(), "invalidBundle");

    download(archive);
    tool.executable = "/nowhere";
    EXPECT_EQ(prepare(), "disk");
    download(archive);
    flag.cancel();
    EXPECT_EQ(prepare(), "cancelled");
    EXPECT_TRUE(fs::exists(cache.partialArchive())) << "cancelled before anything was done";
}

TEST_F(PreparationTest, looksAtWhatTheToolHasLeft) {
    const std::string archive = buildZip(release()).bytes;
    const struct {
        const char* what;
        const char* after; ///< run in "Contents" of what was unpacked into $D
        const char* outcome;
    } rows[] = {
        {"as it is", ":", "prepared"},
        {"a file more", "touch $D/x", "unsafeArchive"},
        {"a folder more", "mkdir x", "unsafeArchive"},
        {"a file less", "rm Resources/corvane-logo.png", "unsafeArchive"},
        {"a longer file", "echo >>Info.plist", "unsafeArchive"},
        {"a link", "mv Info.plist $D/../x; ln -s $D/../x Info.plist", "unsafeArchive"},
        {"a link to a folder", "mv Resources $D/../y; ln -s $D/../y Resources", "unsafeArchive"},
        {"a second name", "ln Info.plist $D/../x", "unsafeArchive"},
        {"a setuid program", "chmod u+s MacOS/*", "unsafeArchive"},
        {"a FIFO", "rm Info.plist; mkfifo Info.plist", "unsafeArchive"},
        {"a failure", "exit 1", "unsafeArchive"},
        {"a death", "kill -9 $$", "unsafeArchive"},
    };
    for (const auto& row : rows) {
        download(archive);
        tool = {"/bin/sh",
                {"-ec",
                 std::string("out=$('" UNPACK_RELEASE "' \"$1\" \"$2\" \"$3\")\n"
                             "D=$3; cd \"$D\"/*.app/Contents\n")
                     + row.after + "\nprintf %s \"$out\"",
                 "sh"}};
        EXPECT_EQ(prepare(), row.outcome) << row.what;
        runIn(cache.folder(), "rm -rf x y");
    }
}

TEST_F(PreparationTest, stopsAToolThatTakesTooLong) {
    download(buildZip(release()).bytes);
    tool = {"/bin/sh", {"-c", "exec sleep 600", "sh"}, 2};
    EXPECT_EQ(prepare(), "unsafeArchive");

    download(buildZip(release()).bytes);
    tool = {"/bin/sh", {"-c", "touch \"$3/begun\"; exec sleep 600", "sh"}, 100'000};
    std::thread cancelling([&] {
        while (!fs::exists(cache.unpackFolder() / "begun"))
            std::this_thread::yield();
        flag.cancel();
    });
    EXPECT_EQ(prepare(), "cancelled");
    cancelling.join();
    EXPECT_TRUE(cache.clear());
}

TEST_F(PreparationTest, refusesAnArchiveThatKeepsTheLayoutButLiesAboutTheRest) {
    // Extra fields of a local header, which the layout does not look at: another name, and another
    // mode.
    const auto extra = [](const std::string& id, const std::string& data) {
        return id + std::string{static_cast<char>(data.size()), '\0'} + data;
    };
    const auto renamed = [&](const std::string& entry, const std::string& to) {
        const std::uint32_t crc = testing::crc32(entry);
        std::string data = "\1";
        for (int shift = 0; shift < 32; shift += 8)
            data += static_cast<char>(crc >> shift);
        return extra("up", data + to);
    };
    const struct {
        const char* what;
        std::function<void(std::vector<ZipEntry>&)> change;
        std::function<void(ZipArchive&)> damage;
    } rows[] = {
        {"renamed into the folder above",
         [&](auto& entries) { entries[0].localExtra = renamed(entries[0].name, "../evil"); },
         {}},
        {"renamed to an absolute place",
         [&](auto& entries) {
             entries[0].localExtra = renamed(entries[0].name, (folder / "evil").string());
         },
         {}},
        {"made a link",
         [&](auto& entries) {
             entries[0].localExtra = extra("xl", {'\5', '\x1E', '\3', '\0', '\0', '\xFF', '\xA1'});
         },
         {}},
        {"a folder with content", [](auto& entries) { entries[7].content = "x"; }, {}},
        {"content that is longer than declared",
         [](auto& entries) {
             entries[2].content = std::string(2'000'000, 'x'), entries[2].deflate = true;
         },
         [](ZipArchive& archive) {
             put32(archive.bytes, archive.locals[2] + 22, 10);
             put32(archive.bytes, archive.centrals[2] + 24, 10);
         }},
        {"content that is shorter than declared", [](auto&) {},
         [](ZipArchive& archive) {
             put32(archive.bytes, archive.locals[2] + 22, 1'000'000);
             put32(archive.bytes, archive.centrals[2] + 24, 1'000'000);
         }},
        {"content that cannot be inflated", [](auto&) {},
         [](ZipArchive& archive) {
             const std::size_t at =
                 archive.locals[1] + 30 + testing::releaseEntries()[1].name.size();
             archive.bytes.replace(at, 8, "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF");
         }},
        {"content with another checksum", [](auto&) {},
         [](ZipArchive& archive) {
             put32(archive.bytes, archive.locals[1] + 14, 1);
             put32(archive.bytes, archive.centrals[1] + 16, 1);
         }},
        {"one that begins like a tar", {}, {}},
    };
    for (const auto& row : rows) {
        std::vector<ZipEntry> entries = release();
        if (row.change)
            row.change(entries);
        ZipArchive archive = buildZip(entries);
        if (row.damage)
            row.damage(archive);
        bool isHarmless = false;
        if (!row.change && !row.damage) {
            runIn(folder.path(), "ln -s /etc link; /usr/bin/bsdtar -cf made.tar link");
            archive = buildZip(entries, 0, readAll(folder / "made.tar"));
            isHarmless = true; // its directory is a release's, and is what is read
        }
        download(archive.bytes);
        EXPECT_TRUE(SafeUpdateArchive::validate(archive.bytes)) << row.what;
        const std::string outcome = prepare();
        EXPECT_TRUE(outcome == "unsafeArchive" || (isHarmless && outcome == "prepared"))
            << row.what << ": " << outcome;
        EXPECT_FALSE(fs::exists(cache.folder() / "evil") || fs::exists(folder / "evil"))
            << row.what;
    }
}

} // namespace
} // namespace tallywick
