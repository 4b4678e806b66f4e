#include "base/ByteReading.h"
#include "base/ElfArchitectures.h"
#include "install/AppInstallation.h"
#include "platform/ApplicationBundle.h"
#include "platform/CodeSignature.h"
#include "support/SampleBundle.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace tallywick {
namespace {

namespace fs = std::filesystem;
using testing::makeSampleBundle;
using testing::readAll;
using testing::run;
using testing::TemporaryFolder;

/// The bundle that the build has made, by its path without links.
fs::path builtBundle() { return fs::canonical(TALLYWICK_BUNDLE); }

bool isVerified(const fs::path& bundle) {
    return AppInstallation::isVerifiedBundle(bundle, *systemCodeSignature());
}

TEST(BuiltBundle, isACompleteSealedCopyOfTheProjectsVersionAndNoPreview) {
    EXPECT_TRUE(isVerified(builtBundle()));
    EXPECT_EQ(builtBundle().filename(), AppInstallation::applicationFolderName);
    const auto information = informationDictionary(builtBundle());
    ASSERT_TRUE(information);
    for (const auto& [key, value] : std::vector<std::pair<const char*, std::string>>{
             {"CFBundleIdentifier", "com.corvane.tallywick"},
             {"CFBundleExecutable", "CorvaneUtility"},
             {"CFBundleShortVersionString", TALLYWICK_VERSION},
             {"CFBundleIconFile", "CorvaneIcon"},
             {"LSMinimumSystemVersion", "13.0"}}) {
        const std::string* const text = stringMember(*information, key);
        ASSERT_TRUE(text) << key;
        EXPECT_EQ(*text, value) << key;
    }
    EXPECT_FALSE(information->contains("CorvanePreview"));
    EXPECT_FALSE(
        ElfArchitectures::architectures(readAll(builtBundle() / AppInstallation::executablePath))
            .empty());
}

/// Width and height of a PNG; zero when the bytes are none.
std::pair<std::uint32_t, std::uint32_t> pngSize(std::string_view bytes) {
    if (!bytes.starts_with("\x89PNG\r\n\x1a\n"))
        return {};
    return {bigEndian32(bytes, 16).value_or(0), bigEndian32(bytes, 20).value_or(0)};
}

TEST(BuiltBundle, holdsAnIconOfEverySize) {
    const std::string icons = readAll(builtBundle() / "Contents/Resources/CorvaneIcon.icns");
    ASSERT_TRUE(icons.starts_with("icns"));
    ASSERT_EQ(bigEndian32(icons, 4), icons.size());
    std::vector<std::pair<std::string, std::uint32_t>> found;
    for (std::size_t at = 8; at < icons.size();) {
        const std::string_view type = bytesAt(icons, at, 4);
        const std::size_t length = bigEndian32(icons, at + 4).value_or(0);
        ASSERT_GT(length, 8U) << type;
        const auto [width, height] = pngSize(bytesAt(icons, at + 8, length - 8));
        EXPECT_EQ(width, height) << type;
        found.emplace_back(type, width);
        at += length;
    }
    const std::vector<std::pair<std::string, std::uint32_t>> expected{
        {"icp4", 16},   {"icp5", 32}, {"icp6", 64}, {"ic07", 128}, {"ic08", 256}, {"ic09", 512},
        {"ic10", 1024}, {"ic11", 32}, {"ic12", 64}, {"ic13", 256}, {"ic14", 512}};
    EXPECT_EQ(found, expected);

    const auto [width, height] =
        pngSize(readAll(builtBundle() / "Contents/Resources/corvane-logo.png"));
    EXPECT_GE(width, 128U);
    EXPECT_EQ(width, height);
}

TEST(SealingTool, sealsWhatCanBeSealedAndTellsWhatCannot) {
    const TemporaryFolder folder;
    const fs::path bundle = makeSampleBundle(folder.path());
    fs::remove_all((bundle / sealPath).parent_path());
    ASSERT_FALSE(isVerified(bundle));
    EXPECT_EQ(run({TALLYWICK_SEALING_TOOL, bundle}), 0);
    EXPECT_TRUE(isVerified(bundle));

    fs::create_symlink("Info.plist", bundle / "Contents/link");
    EXPECT_EQ(run({TALLYWICK_SEALING_TOOL, bundle}), 1);
    EXPECT_EQ(run({TALLYWICK_SEALING_TOOL, folder / "missing.app"}), 1);
}

} // namespace
} // namespace tallywick
