#include "update/UpdatePreparation.h"
#include "base/Sha256.h"
#include "platform/process/ChildProcess.h"
#include "support/SampleBundle.h"
#include "update/UpdateFeed.h"
#include "update/UpdateCache.h"

#include <gtest/gtest.h>

#include <sys/xattr.h>

#include <cmath>

namespace tallywick {
namespace {

using testing::makeSampleBundle;
using testing::readAll;
using testing::runIn;
using testing::TemporaryFolder;
using testing::writeAll;
namespace fs = std::filesystem;
using Outcome = tl::expected<void, UpdateFailure>;

std::string nameOf(const Outcome& outcome) {
    return outcome ? "passed" : std::string(name(outcome.error()));
}

TEST(UpdateCache, isAFolderOfItsOwnThatNoLinkLeadsTo) {
    const TemporaryFolder folder;
    const auto cache = UpdateCache::open(folder / "caches");
    ASSERT_TRUE(cache);
    EXPECT_EQ(cache->folder(), folder / "caches/com.corvane.tallywick/Update");
    EXPECT_EQ(fs::status(cache->folder()).permissions(), fs::perms::owner_all);
    EXPECT_TRUE(UpdateCache::open(folder / "caches")) << "it may be there already";

    runIn(folder.path(), "ln -s caches link; mkdir -p other/com.corvane.tallywick file\n"
                         "ln -s ../../caches other/com.corvane.tallywick/Update\n"
                         "touch file/com.corvane.tallywick");
    for (const char* caches : {"link", "other", "file"})
        EXPECT_FALSE(UpdateCache::open(folder / caches)) << caches;
}

TEST(UpdateCache, isClearedOfItsItemsAlone) {
    const TemporaryFolder folder;
    const auto cache = UpdateCache::open(folder.path()).value();
    EXPECT_TRUE(cache.clear()) << "nothing there";
    const auto fill = [&] {
        runIn(cache.folder(), "touch candidate.zip more; ln -s more partial.zip\n"
                              "mkdir -p 'candidate/a b/c'; touch candidate/a\\ b/c/d");
    };
    fill();
    EXPECT_TRUE(cache.clear());
    EXPECT_EQ(std::distance(fs::directory_iterator(cache.folder()), {}), 1);
    EXPECT_TRUE(fs::exists(cache.folder() / "more"));

    fill();
    runIn(folder.path(), "mv com.corvane.tallywick real; ln -s real com.corvane.tallywick");
    EXPECT_EQ(nameOf(cache.clear()), "disk") << "reached through a link meanwhile";
    EXPECT_TRUE(fs::exists(cache.archive()));
}

TEST(UpdateCache, isClaimedByOneAtATime) {
    const TemporaryFolder folder;
    const auto cache = UpdateCache::open(folder.path()).value();
    auto claim = cache.claim();
    ASSERT_TRUE(claim);
    EXPECT_EQ(cache.claim().error(), UpdateFailure::disk);
    EXPECT_TRUE(fs::is_empty(cache.folder())) << "the items have the folder for themselves";
    claim->reset();
    EXPECT_TRUE(cache.claim());
}

TEST(UpdateCache, losesWhatIsOlderThanFourteenDays) {
    constexpr Timestamp day = 24 * 60 * 60;
    const TemporaryFolder folder;
    const auto cache = UpdateCache::open(folder.path()).value();
    runIn(cache.folder(), "mkdir candidate; touch candidate/x candidate.zip\n"
                          "ln -s /usr/bin/env partial.zip");
    const Timestamp now = std::ceil(systemNow()) + 1;
    cache.purgeStaleItems(now + 13 * day);
    EXPECT_TRUE(fs::exists(cache.unpackFolder()) && fs::exists(cache.archive()));
    EXPECT_TRUE(fs::is_symlink(cache.partialArchive())) << "its own age counts";
    cache.purgeStaleItems(now + 14 * day);
    EXPECT_TRUE(fs::is_empty(cache.folder()));
    EXPECT_TRUE(fs::exists("/usr/bin/env"));
}

TEST(UpdateCache, keepsThePreparedApplicationWhileItRuns) {
    const TemporaryFolder folder;
    const auto cache = UpdateCache::open(folder.path()).value();
    fs::create_directories(cache.unpackFolder());
    const fs::path beside = makeSampleBundle(cache.folder(), {}, "candidate.app");
    makeSampleBundle(cache.unpackFolder());
    const auto runs = [&](const fs::path& bundle) {
        const fs::path program = bundle / "Contents/MacOS/CorvaneUtility";
        fs::copy_file("/bin/cat", program, fs::copy_options::overwrite_existing);
        return ChildProcess::launch({program, {}, "/"}, {});
    };
    auto other = runs(beside);
    EXPECT_FALSE(cache.isPreparedAppRunning()) << "a copy that lies elsewhere";
    auto prepared = runs(cache.preparedApp());
    EXPECT_TRUE(cache.isPreparedAppRunning());
    EXPECT_EQ(nameOf(cache.clear()), "disk");
    cache.purgeStaleItems(systemNow() + 1e9);
    EXPECT_TRUE(fs::exists(cache.preparedApp()));
    prepared.reset();
    other.reset();
    ASSERT_TRUE(waitForChildProcesses(std::chrono::seconds(20)));
    EXPECT_TRUE(cache.clear());
    EXPECT_FALSE(fs::exists(cache.unpackFolder()));
}

TEST(ReleaseChecks, verifyThatAnArchiveIsTheOneOfTheFeed) {
    const TemporaryFolder folder;
    std::string content(2'500'000, 'x');
    content.back() = 'y';
    const fs::path archive = folder / "candidate.zip";
    UpdateManifest manifest;
    manifest.bytes = static_cast<std::int64_t>(content.size());
    manifest.sha256 = sha256Hex(content);
    const auto outcome = [&](const std::string& bytes) {
        writeAll(archive, bytes);
        return nameOf(ReleaseChecks::verifyArchive(manifest, archive));
    };
    EXPECT_EQ(outcome(content), "passed");
    EXPECT_EQ(outcome(content + 'y'), "corrupt");
    EXPECT_EQ(outcome(content.substr(1)), "corrupt");
    EXPECT_EQ(outcome(std::string(content.size(), 'x')), "corrupt");
    EXPECT_EQ(outcome(""), "corrupt");
    writeAll(archive, content);
    runIn(folder.path(), "ln -s candidate.zip link; mkfifo pipe");
    for (const char* place : {"link", "pipe", "missing", "."})
        EXPECT_EQ(nameOf(ReleaseChecks::verifyArchive(manifest, folder / place)), "corrupt")
            << place;
    const fs::path unreadable = fs::canonical("/proc/self") / "mem"; // at its beginning
    EXPECT_EQ(nameOf(ReleaseChecks::verifyArchive(manifest, unreadable)), "disk");
}

TEST(ReleaseChecks, validateThatAnApplicationIsTheReleaseOfTheFeed) {
    const auto signature = systemCodeSignature();
    const std::string own = runningSystem().architecture;
    const std::string other = own == "arm64" ? "x86_64" : "arm64";
    const struct {
        const char* what;
        Json information;
        const char* change;
        std::vector<std::string> architectures;
        std::string outcome;
    } rows[] = {
        {"as it should be", Json::object(), "", {own}, "passed"},
        {"of both processors", Json::object(), "", {"arm64", "x86_64"}, "invalidBundle"},
        {"of another processor", Json::object(), "", {other}, "invalidBundle"},
        {"a preview", {{"CorvanePreview", false}}, "", {own}, "invalidBundle"},
        {"another version", {{"CFBundleShortVersionString", "0.7"}}, "", {own}, "invalidBundle"},
        {"another build", {{"CFBundleVersion", "0042"}}, "", {own}, "invalidBundle"},
        {"no build", {{"CFBundleVersion", nullptr}}, "", {own}, "invalidBundle"},
        {"another system", {{"LSMinimumSystemVersion", "6.1.0"}}, "", {own}, "invalidBundle"},
        {"another identity",
         {{"CFBundleIdentifier", "com.corvane.other"}},
         "",
         {own},
         "invalidBundle"},
        {"changed after it was sealed",
         Json::object(),
         "echo x >>Contents/Resources/corvane-logo.png",
         {own},
         "invalidBundle"},
        {"with something added", Json::object(), "touch Contents/PkgInfo", {own}, "invalidBundle"},
        {"without a seal",
         Json::object(),
         "rm Contents/_CodeSignature/CodeResources",
         {own},
         "invalidBundle"},
    };
    UpdateManifest manifest;
    manifest.version = "0.7.0";
    manifest.build = 42;
    manifest.minimumSystemVersion = "6.1";
    for (const auto& row : rows) {
        const TemporaryFolder folder;
        Json information{{"CFBundleShortVersionString", "0.7.0"}, {"CFBundleVersion", "42"}};
        information.merge_patch(row.information);
        const fs::path bundle = makeSampleBundle(folder.path(), information);
        fs::copy_file("/bin/cat", bundle / "Contents/MacOS/CorvaneUtility",
                      fs::copy_options::overwrite_existing);
        ASSERT_TRUE(sealBundle(bundle));
        runIn(bundle, row.change);
        manifest.architectures = row.architectures;
        EXPECT_EQ(nameOf(ReleaseChecks::validateApp(manifest, bundle, *signature)), row.outcome)
            << row.what;
    }
}

TEST(ReleaseChecks, markWhatWasDownloaded) {
    EXPECT_EQ(ReleaseChecks::quarantineMark(1'795'443'213.9, "ID"),
              "0081;6b044a0d;Corvane Tallywick;ID");
    const TemporaryFolder folder;
    EXPECT_EQ(nameOf(ReleaseChecks::markQuarantined(folder / "missing", 1)), "disk");
    ASSERT_EQ(nameOf(ReleaseChecks::markQuarantined(folder.path(), 0x6b04360d)), "passed");
    char mark[100]{};
    const auto length =
        ::getxattr(folder.path().c_str(), "user.com.apple.quarantine", mark, sizeof mark);
    if (length < 0 && errno == ENOTSUP)
        GTEST_SKIP() << "the file system of temporary files has no extended attributes";
    ASSERT_GT(length, 0);
    EXPECT_TRUE(std::string(mark).starts_with("0081;6b04360d;Corvane Tallywick;")) << mark;
    EXPECT_EQ(length, 32 + 36);
    EXPECT_EQ(std::string(mark + 32).find_first_not_of("0123456789ABCDEF-"), std::string::npos);
}

} // namespace
} // namespace tallywick
