#include "base/Sha256.h"
#include "update/UpdatePreparation.h"
#include "update/ZipBuilder.h"

#include <gmock/gmock.h>

#include <sys/xattr.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <thread>

namespace tallywick {
namespace {

using ::testing::AnyOf;
using testing::buildZip;
using testing::makeRelease;
using testing::put32;
using testing::readAll;
using testing::runIn;
using testing::TemporaryFolder;
using testing::writeAll;
using testing::ZipEntry;
namespace fs = std::filesystem;
using namespace std::string_literals;

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
    static std::vector<ZipEntry> release() {
        const TemporaryFolder made;
        makeRelease(made.path());
        std::vector<ZipEntry> entries = testing::releaseEntries();
        for (ZipEntry& entry : entries) {
            entry.content = entry.name.ends_with('/') ? "" : readAll(made.path() / entry.name);
            entry.method = entry.content.size() > 1000 ? 8 : 0;
        }
        return entries;
    }

    /// Lays the archive down as a finished download.
    void download(const std::string& archive) {
        EXPECT_TRUE(cache.clear());
        writeAll(cache.partialArchive(), archive);
        manifest.bytes = static_cast<std::int64_t>(archive.size());
        manifest.sha256 = sha256Hex(archive);
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

    const char* const fill = "mkdir candidate; touch candidate/x candidate.zip more\n"
                             "ln -s /usr/bin/env partial.zip";
    runIn(cache.folder(), fill);
    EXPECT_TRUE(cache.clear());
    EXPECT_EQ(std::distance(fs::directory_iterator(cache.folder()), {}), 1);
    EXPECT_TRUE(fs::exists(cache.folder() / "more")) << "its own items alone are removed";
    runIn(cache.folder(), fill);
    runIn(folder.path(), "mv com.corvane.tallywick real; ln -s real com.corvane.tallywick");
    EXPECT_EQ(nameOf(cache.clear()), "disk") << "reached through a link meanwhile";
    EXPECT_TRUE(fs::exists(cache.archive()));
}

TEST_F(UpdateCacheTest, losesWhatIsOlderThanFourteenDaysUnlessItRuns) {
    constexpr Timestamp day = 24 * 60 * 60;
    runIn(cache.folder(), "mkdir candidate; touch candidate/x candidate.zip\n"
                          "ln -s /usr/bin/env partial.zip");
    std::vector<RunningApplication> running{{1, cache.preparedApp()}};
    const auto ours = UpdateCache::open(folder.path(), [&] { return running; }).value();
    const Timestamp now = std::ceil(systemNow()) + 1;
    EXPECT_EQ(nameOf(ours.clear()), "disk");
    ours.purgeStaleItems(now + 14 * day);
    running = {{1, cache.folder() / "candidate.app"}}; // which lies elsewhere
    ours.purgeStaleItems(now + 13 * day);
    EXPECT_TRUE(fs::exists(cache.unpackFolder()) && fs::exists(cache.archive()));
    EXPECT_TRUE(fs::is_symlink(cache.partialArchive())) << "its own age counts";
    ours.purgeStaleItems(now + 14 * day);
    EXPECT_TRUE(fs::is_empty(cache.folder()));
    EXPECT_TRUE(fs::exists("/usr/bin/env"));
}

TEST_F(ReleaseChecksTest, verifyThatAnArchiveIsTheOneOfTheFeed) {
    const std::string content = std::string(2'500'000, 'x') + 'y'; // more than is read at once
    download(content);
    EXPECT_EQ(nameOf(ReleaseChecks::verifyArchive(manifest, cache.partialArchive())), "passed");
    writeAll(folder / "short", content.substr(1));
    writeAll(folder / "other", content.substr(1) + 'x');
    writeAll(folder / "long", content + 'y');
    runIn(folder.path(), "ln -s '" + cache.partialArchive().string() + "' link; mkfifo pipe");
    for (const char* place : {"short", "other", "long", "link", "pipe", "missing", "."})
        EXPECT_EQ(nameOf(ReleaseChecks::verifyArchive(manifest, folder / place)), "corrupt")
            << place;
    const fs::path unreadable = fs::canonical("/proc/self") / "mem"; // at its beginning
    EXPECT_EQ(nameOf(ReleaseChecks::verifyArchive(manifest, unreadable)), "disk");
}

TEST_F(ReleaseChecksTest, validateThatAnApplicationIsTheReleaseOfTheFeed) {
    const std::string own = manifest.architectures[0];
    const struct {
        const char* what;
        Json information = Json::object();
        std::vector<std::string> architectures = {};
        const char* outcome = "invalidBundle";
    } rows[] = {
        {"as it should be", Json::object(), {own}, "passed"},
        {"of both processors", Json::object(), {"arm64", "x86_64"}},
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
        EXPECT_EQ(nameOf(ReleaseChecks::validateApp(
                      manifest, makeRelease(made.path(), row.information), *signature)),
                  row.outcome)
            << row.what;
    }
}

/// What a file's mark says before the identifier of the download.
std::string markOf(const fs::path& path) {
    char mark[100]{};
    const auto length = ::getxattr(path.c_str(), "user.com.apple.quarantine", mark, sizeof mark);
    constexpr std::size_t identifier = 36;
    return length < 0 ? std::strerror(errno) : std::string(mark, mark + length - identifier);
}

TEST_F(PreparationTest, makesAnApplicationOfWhatRealToolsHavePacked) {
    ASSERT_TRUE(ArchiveExtraction::isPossible());
    for (const std::string command :
         {"/usr/bin/zip -qr", "/usr/bin/zip -qrDX0", "/usr/bin/bsdtar --format zip -cf",
          "/usr/bin/python3 -m zipfile -c"}) {
        const TemporaryFolder made;
        makeRelease(made.path());
        runIn(made.path(), command + " made.zip 'Corvane Tallywick.app'");
        download(readAll(made / "made.zip"));
        EXPECT_EQ(prepare(), "prepared") << command;
    }
    EXPECT_FALSE(fs::exists(cache.partialArchive()));
    EXPECT_EQ(fs::status(cache.preparedApp() / Product::executablePath).permissions(),
              fs::perms{0755});
    for (const fs::path& path : {cache.archive(), cache.preparedApp()})
        EXPECT_THAT(markOf(path), AnyOf("0081;6b044a0d;Corvane Tallywick;",
                                        std::strerror(ENOTSUP))); // by the folder of the tests
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
    download(archive);
    writeAll(cache.archive(), "an earlier one");
    EXPECT_EQ(prepare(), "disk");
    EXPECT_EQ(readAll(cache.archive()), "an earlier one") << "which is not replaced";
    download(archive + 'x');
    EXPECT_EQ(prepare(), "unsafeArchive");
    EXPECT_FALSE(fs::exists(cache.unpackFolder())) << "nothing was unpacked";
    download(archive);
    fs::create_directory(cache.unpackFolder());
    EXPECT_EQ(prepare(), "disk") << "something lies where it is to be unpacked";
    download(archive);
    tool.executable = "/nowhere";
    EXPECT_EQ(prepare(), "disk");
    const fs::path other = folder / "other.zip";
    writeAll(other, buildZip(release(), "in front").bytes);
    download(archive);
    tool = {
        "/bin/sh",
        {"-c", "cp '" + other.string() + "' \"$1\"; exec '" MAKE_RELEASE "' unpack \"$@\"", "sh"}};
    EXPECT_EQ(prepare(), "unsafeArchive") << "another took the place of what was checked";
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
        const char* outcome = "unsafeArchive";
    } rows[] = {
        {"as it is", ":", "prepared"},
        {"a file more", "touch $D/x"},
        {"a file less", "rm Resources/corvane-logo.png"},
        {"a longer file", "echo >>Info.plist"},
        {"a link", "mv Info.plist $D/../x; ln -s $D/../x Info.plist"},
        {"a second name", "ln Info.plist $D/../y"},
        {"a setuid program", "chmod u+s MacOS/*"},
        {"a failure", "false"},
    };
    for (const auto& row : rows) {
        download(archive);
        tool = {"/bin/sh",
                {"-ec",
                 std::string("'" MAKE_RELEASE "' unpack \"$1\" \"$2\" \"$3\"\n"
                             "D=$3; cd \"$D\"/*.app/Contents\n")
                     + row.after,
                 "sh"}};
        EXPECT_EQ(prepare(), row.outcome) << row.what;
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
}

/// An extra field of a local header, which the layout does not look at.
std::string extra(const std::string& id, const std::string& data) {
    return id + std::string{static_cast<char>(data.size()), '\0'} + data;
}

std::string renamed(const std::string& entry, const std::string& to) {
    std::string checksum(4, '\0');
    put32(checksum, 0, testing::crc32(entry));
    return extra("up", '\1' + checksum + to);
}

TEST_F(PreparationTest, refusesAnArchiveThatKeepsTheLayoutButLiesAboutTheRest) {
    const struct {
        const char* what;
        std::function<void(std::vector<ZipEntry>&)> change;
    } rows[] = {
        {"renamed into the folder above",
         [](auto& entries) { entries[0].localExtra = renamed(entries[0].name, "../evil"); }},
        {"renamed to an absolute place",
         [&](auto& entries) { entries[0].localExtra = renamed(entries[0].name, folder / "evil"); }},
        {"made a link",
         [](auto& entries) { entries[0].localExtra = extra("xl", "\5\x1E\3\0\0\xFF\xA1"s); }},
        {"a folder with content", [](auto& entries) { entries[7].content = "x"; }},
        {"longer than declared",
         [](auto& entries) { entries[1].content.assign(2'000'000, 'x'), entries[1].size = 10; }},
        {"shorter than declared", [](auto& entries) { entries[2].size = 1'000'000; }},
        {"with another checksum", [](auto& entries) { entries[1].checksum = 1; }},
        {"that cannot be inflated", [](auto& entries) { entries[1].stored = "\xFF\xFF\xFF\xFF"; }},
    };
    for (const auto& row : rows) {
        std::vector<ZipEntry> entries = release();
        row.change(entries);
        const std::string archive = buildZip(entries).bytes;
        download(archive);
        EXPECT_TRUE(SafeUpdateArchive::validate(archive)) << row.what;
        EXPECT_EQ(prepare(), "unsafeArchive") << row.what;
        EXPECT_FALSE(fs::exists(cache.folder() / "evil") || fs::exists(folder / "evil"))
            << row.what;
    }
    // One that begins like a tar: its directory is a release's, and is what is read.
    runIn(folder.path(), "ln -s /etc link; /usr/bin/bsdtar -cf made.tar link");
    download(buildZip(release(), readAll(folder / "made.tar")).bytes);
    EXPECT_EQ(prepare(), "prepared");
}

} // namespace
} // namespace tallywick
