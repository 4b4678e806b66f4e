#include "base/Sha256.h"
#include "support/RunningProgram.h"
#include "update/SampleRelease.h"
#include "update/UpdatePreparation.h"

#include <gmock/gmock.h>

#include <sys/xattr.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <thread>

namespace tallywick {
namespace {

using namespace testing;
using namespace std::string_literals;
using ::testing::AnyOf;
using ::testing::MatchesRegex;
using ::testing::Not;
namespace fs = std::filesystem;
using Entries = std::vector<ZipEntry>;

std::string nameOf(const tl::expected<void, UpdateFailure>& outcome) {
    return outcome ? "passed" : std::string(name(outcome.error()));
}

/// A cache into which an archive may have been downloaded, of which a feed has told.
class PreparationTest : public ::testing::Test {
  protected:
    PreparationTest() {
        manifest.version = "0.7.0";
        manifest.build = 42;
        manifest.minimumSystemVersion = "6.1";
        manifest.architectures = {runningSystem().architecture};
    }

    /// The files of a release, as they are packed.
    static Entries release() {
        const TemporaryFolder made;
        makeRelease(made.path());
        Entries entries = releaseEntries();
        for (ZipEntry& entry : entries) {
            entry.content = entry.name.ends_with('/') ? "" : readAll(made.path() / entry.name);
            entry.isDeflated = entry.content.size() > 1000;
        }
        return entries;
    }

    /// Prepares the archive as a finished download.
    std::string prepare(const std::string& archive) {
        EXPECT_TRUE(cache.clear());
        writeAll(cache.partialArchive(), archive);
        manifest.bytes = static_cast<std::int64_t>(archive.size());
        manifest.sha256 = sha256Hex(archive);
        return prepare();
    }

    std::string prepare() {
        const auto prepared = UpdatePreparation::prepare({}, manifest, means, flag);
        return prepared ? "prepared" : std::string(name(prepared.error()));
    }

    std::string recheck() {
        return nameOf(UpdatePreparation::recheck({cache.archive(), cache.preparedApp()}, manifest,
                                                 *signature, flag));
    }

    const TemporaryFolder folder;
    const UpdateCache cache = UpdateCache::open(folder.path()).value();
    UpdateManifest manifest;
    CancellationFlag flag;
    UnpackTool tool{MAKE_RELEASE, {"unpack"}};
    const std::unique_ptr<CodeSignature> signature = systemCodeSignature();
    const UpdatePreparation::Means means{cache, tool, *signature, [] { return 1'795'443'213.9; }};
};

using UpdateCacheTest = PreparationTest;
using ReleaseChecksTest = PreparationTest;

TEST_F(UpdateCacheTest, isAFolderOfItsOwnThatNoLinkLeadsTo) {
    EXPECT_EQ(cache.folder(), folder / "com.corvane.tallywick/Update");
    EXPECT_EQ(fs::status(cache.folder()).permissions(), fs::perms::owner_all);
    runIn(folder.path(), "ln -s . link; mkdir -p other/com.corvane.tallywick file\n"
                         "ln -s ../.. other/com.corvane.tallywick/Update\n"
                         "touch file/com.corvane.tallywick");
    for (const char* caches : {"link", "other", "file"})
        EXPECT_FALSE(UpdateCache::open(folder / caches)) << caches;
    writeAll(cache.archive(), "an archive");
    runIn(folder.path(), "mv com.corvane.tallywick real; ln -s real com.corvane.tallywick");
    EXPECT_EQ(nameOf(cache.clear()), "disk") << "reached through a link meanwhile";
    EXPECT_TRUE(fs::exists(cache.archive()));
}

TEST_F(UpdateCacheTest, losesItsItemsButNotWhileTheirApplicationRuns) {
    constexpr Timestamp day = 24 * 60 * 60;
    const auto fill = [&] {
        fs::create_directory(cache.unpackFolder());
        makeRelease(cache.unpackFolder());
        runIn(cache.folder(), "touch candidate.zip; ln -s /usr/bin/env partial.zip");
    };
    fill();
    RunningProgram running(cache.preparedApp() / Product::executablePath, {});
    EXPECT_TRUE(waitUntil([&] { return cache.isPreparedAppRunning(); }));
    const Timestamp now = std::ceil(systemNow()) + 1;
    EXPECT_EQ(nameOf(cache.clear()), "disk");
    cache.purgeStaleItems(now + 14 * day);
    EXPECT_TRUE(fs::exists(cache.preparedApp()) && fs::exists(cache.archive()));
    running.end();
    cache.purgeStaleItems(now + 13 * day);
    EXPECT_TRUE(fs::exists(cache.preparedApp()) && fs::exists(cache.archive()));
    EXPECT_TRUE(fs::is_symlink(cache.partialArchive())) << "its own age counts";
    cache.purgeStaleItems(now + 14 * day);
    EXPECT_TRUE(fs::is_empty(cache.folder()));
    fill();
    writeAll(cache.folder() / "more", "");
    EXPECT_TRUE(cache.clear());
    EXPECT_EQ(std::distance(fs::directory_iterator(cache.folder()), {}), 1) << "its items alone";
    EXPECT_TRUE(fs::exists("/usr/bin/env"));
}

TEST_F(ReleaseChecksTest, verifyThatAnArchiveIsTheOneOfTheFeed) {
    const std::string content = std::string(2'500'000, 'x') + 'y'; // more than is read at once
    manifest.bytes = static_cast<std::int64_t>(content.size());
    manifest.sha256 = sha256Hex(content);
    writeAll(folder / "archive", content);
    writeAll(folder / "short", content.substr(1));
    writeAll(folder / "other", content.substr(1) + 'x');
    writeAll(folder / "long", content + 'y');
    runIn(folder.path(), "ln -s archive link; mkfifo pipe");
    EXPECT_EQ(nameOf(ReleaseChecks::verifyArchive(manifest, folder / "archive")), "passed");
    for (const char* place : {"short", "other", "long", "link", "pipe", "missing", "."})
        EXPECT_EQ(nameOf(ReleaseChecks::verifyArchive(manifest, folder / place)), "corrupt")
            << place;
    const fs::path unreadable = fs::canonical("/proc/self") / "mem"; // at its beginning
    EXPECT_EQ(nameOf(ReleaseChecks::verifyArchive(manifest, unreadable)), "disk");
}

TEST_F(ReleaseChecksTest, validateThatAnApplicationIsTheReleaseOfTheFeed) {
    const std::string own = manifest.architectures[0];
    const std::string universal = folder / "universal"; // for both processors, of which one is ours
    writeAll(universal, "\xCA\xFE\xBA\xBE\0\0\0\2"s + "\1\0\0\7"s + std::string(16, 0)
                            + "\1\0\0\x0C"s + std::string(16, 0));
    fs::permissions(universal, fs::perms{0755});
    const struct {
        const char* what;
        Json information = Json::object();
        std::vector<std::string> architectures = {};
        const char* outcome = "invalidBundle";
        std::string program = "/bin/cat";
    } rows[] = {
        {"as it should be", Json::object(), {own}, "passed"},
        {"of both processors", Json::object(), {"arm64", "x86_64"}},
        {"universal", Json::object(), {"arm64", "x86_64"}, "passed", universal},
        {"and of more than are asked for", Json::object(), {own}, "passed", universal},
        {"of another processor", Json::object(), {own == "arm64" ? "x86_64" : "arm64"}},
        {"a preview", {{"CorvanePreview", false}}},
        {"another version", {{"CFBundleShortVersionString", "0.7"}}},
        {"another build", {{"CFBundleVersion", "0042"}}},
        {"no build", {{"CFBundleVersion", nullptr}}},
        {"another system", {{"LSMinimumSystemVersion", "6.1.0"}}},
    };
    for (const auto& row : rows) {
        const TemporaryFolder made;
        manifest.architectures = row.architectures;
        const fs::path bundle = makeRelease(made.path(), row.information, row.program);
        EXPECT_EQ(nameOf(ReleaseChecks::validateApp(manifest, bundle, *signature)), row.outcome)
            << row.what;
    }
}

std::string markOf(const fs::path& path) {
    char mark[100]{};
    const auto length = ::getxattr(path.c_str(), "user.com.apple.quarantine", mark, sizeof mark);
    return length < 0 ? std::strerror(errno) : std::string(mark, mark + length);
}

TEST_F(PreparationTest, makesAnApplicationOfWhatRealToolsHavePacked) {
    ASSERT_TRUE(ArchiveExtraction::isPossible());
    for (const std::string command :
         {"/usr/bin/zip -qr", "/usr/bin/zip -qrDX0", "/usr/bin/bsdtar --format zip -cf",
          "/usr/bin/python3 -m zipfile -c"}) {
        const TemporaryFolder made;
        makeRelease(made.path());
        runIn(made.path(), command + " made.zip 'Corvane Tallywick.app'");
        EXPECT_EQ(prepare(readAll(made / "made.zip")), "prepared") << command;
    }
    EXPECT_FALSE(fs::exists(cache.partialArchive()));
    EXPECT_EQ(fs::status(cache.preparedApp() / Product::executablePath).permissions(),
              fs::perms{0755});
    const std::string unmarked = std::strerror(ENOTSUP); // by the folder of the tests
    for (const fs::path& path : {cache.archive(), cache.preparedApp()})
        EXPECT_THAT(markOf(path), AnyOf(MatchesRegex("0081;6b044a0d;Corvane Tallywick;"
                                                     "[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}"),
                                        unmarked));
    EXPECT_THAT(markOf(cache.archive()), AnyOf(Not(markOf(cache.preparedApp())), unmarked));
    EXPECT_NE(markOf(cache.preparedApp() / Product::executablePath).substr(0, 4), "0081");
    EXPECT_EQ(nameOf(ReleaseChecks::markQuarantined(folder / "missing", 1)), "disk");
    EXPECT_EQ(recheck(), "passed");
    runIn(cache.preparedApp(), "echo >>Contents/Resources/corvane-logo.png");
    EXPECT_EQ(recheck(), "invalidBundle");
    runIn(cache.folder(), "echo >>candidate.zip");
    EXPECT_EQ(recheck(), "corrupt");
    flag.cancel();
    EXPECT_EQ(recheck(), "cancelled");
}

TEST_F(PreparationTest, endsAtTheFirstStepThatFails) {
    const std::string archive = buildZip(release()).bytes;
    EXPECT_EQ(prepare(), "disk") << "nothing was downloaded";
    EXPECT_EQ(prepare(archive + 'x'), "unsafeArchive");
    EXPECT_FALSE(fs::exists(cache.unpackFolder())) << "nothing was unpacked";
    runIn(cache.folder(), "mv candidate.zip partial.zip");
    manifest.sha256[0] ^= 1;
    EXPECT_EQ(prepare(), "corrupt") << "before its layout is looked at";
    writeAll(cache.partialArchive(), archive);
    EXPECT_EQ(prepare(), "disk");
    EXPECT_EQ(readAll(cache.archive()), archive + 'x') << "which is not replaced";
    EXPECT_EQ(prepare(archive), "prepared");
    runIn(cache.folder(), "mv candidate.zip partial.zip");
    EXPECT_EQ(prepare(), "disk") << "something lies where it is to be unpacked";
    tool.executable = "/nowhere";
    EXPECT_EQ(prepare(archive), "disk");
    const std::string other = folder / "other.zip";
    writeAll(other, buildZip(release(), "in front").bytes);
    tool = {"/bin/sh",
            {"-c", "cp '" + other + "' \"$1\"; exec '" MAKE_RELEASE "' unpack \"$@\"", "sh"}};
    EXPECT_EQ(prepare(archive), "unsafeArchive") << "another took the place of what was checked";
    flag.cancel();
    EXPECT_EQ(prepare(archive), "cancelled");
    EXPECT_TRUE(fs::exists(cache.partialArchive())) << "cancelled before anything was done";
}

TEST_F(PreparationTest, looksAtWhatTheToolHasLeftAndStopsOneThatTakesTooLong) {
    const std::string archive = buildZip(release()).bytes;
    const struct {
        const char* what;
        const char* after; ///< run in "Contents" of what was unpacked into $3
        const char* outcome = "unsafeArchive";
        int waits = 100'000;
    } rows[] = {
        {"as it is", ":", "prepared"},
        {"a file more", "touch $3/x"},
        {"a file less", "rm Resources/corvane-logo.png"},
        {"a longer file", "echo >>Info.plist"},
        {"a link", "mv Info.plist $3/../x; ln -s $3/../x Info.plist"},
        {"a second name", "ln Info.plist $3/../y"},
        {"a setuid program", "chmod u+s MacOS/*"},
        {"a failure", "exit 1"},
        {"a delay", "exec sleep 600", "unsafeArchive", 2},
        {"a delay in which it is cancelled", "touch $3/begun; exec sleep 600", "cancelled"},
    };
    std::thread cancelling([&] {
        while (!fs::exists(cache.unpackFolder() / "begun"))
            std::this_thread::yield();
        flag.cancel();
    });
    for (const auto& row : rows) {
        tool = {"/bin/sh",
                {"-ec", "'" MAKE_RELEASE "' unpack \"$@\"; cd \"$3\"/*.app/Contents; "s + row.after,
                 "sh"},
                row.waits};
        EXPECT_EQ(prepare(archive), row.outcome) << row.what;
    }
    cancelling.join();
}

/// An extra field of a local header, which the layout does not look at.
std::string extra(const std::string& id, const std::string& data) {
    return id + std::string{static_cast<char>(data.size()), '\0'} + data;
}

std::string renamed(const std::string& entry, const std::string& to) {
    std::string sum;
    for (int bit = 0; bit < 32; bit += 8)
        sum += static_cast<char>(crc32(entry) >> bit);
    return extra("up", '\1' + sum + to);
}

TEST_F(PreparationTest, isNotDeceivedByAnArchiveThatKeepsTheLayout) {
    const auto asItIs = [](auto&) {};
    const struct {
        const char* what;
        std::function<void(Entries&)> change;
        std::function<void(ZipArchive&)> lie = [](auto&) {};
        const char* outcome = "unsafeArchive";
    } rows[] = {
        {"renamed into the folder above",
         [](auto& entries) { entries[0].localExtra = renamed(entries[0].name, "../evil"); }},
        {"renamed to an absolute place",
         [&](auto& entries) { entries[0].localExtra = renamed(entries[0].name, folder / "evil"); }},
        {"made a link", [](auto& e) { e[0].localExtra = extra("xl", "\5\x1E\3\0\0\xFF\xA1"s); }},
        {"a folder with content", [](auto& entries) { entries[7].content = "x"; }},
        {"longer than declared", asItIs, [](auto& a) { a.tell(1, size, 10, 4); }},
        {"shorter than declared", asItIs, [](auto& a) { a.tell(2, size, 1'000'000, 4); }},
        {"with another checksum", asItIs, [](auto& a) { a.tell(1, checksum, 1, 4); }},
        {"that cannot be inflated", asItIs, [](auto& a) { a.tell(2, method, 8); }},
        {"setuid", asItIs, [](auto& a) { a.set(a.centrals[1] + 40, 0x8DFF); }, "prepared"},
        {"a bomb of its declared size",
         [](auto& entries) {
             entries[2].content.assign(8'000'000, '\0');
             entries[2].isDeflated = true;
         },
         asItIs, "invalidBundle"},
    };
    for (const auto& row : rows) {
        Entries entries = release();
        row.change(entries);
        ZipArchive archive = buildZip(entries);
        row.lie(archive);
        EXPECT_TRUE(SafeUpdateArchive::validate(archive.bytes)) << row.what;
        EXPECT_EQ(prepare(archive.bytes), row.outcome) << row.what;
        EXPECT_FALSE(fs::exists(cache.folder() / "evil") || fs::exists(folder / "evil"))
            << row.what;
    }
    // One that begins like a tar: its directory is a release's, and is what is read.
    runIn(folder.path(), "ln -s /etc link; /usr/bin/bsdtar -cf made.tar link");
    EXPECT_EQ(prepare(buildZip(release(), readAll(folder / "made.tar")).bytes), "prepared");
}

} // namespace
} // namespace tallywick
