#include "base/ByteReading.h"
#include "base/ExecutableFormats.h"
#include "install/AppInstallation.h"
#include "platform/bundle/ApplicationBundle.h"
#include "support/SampleBundle.h"

#include <gtest/gtest.h>

namespace tallywick {
namespace {

namespace fs = std::filesystem;
using testing::readAll;

/// The bundle that the build has made, by its path without links.
fs::path builtBundle() { return fs::canonical(TALLYWICK_BUNDLE); }

TEST(BuiltBundle, isACompleteSealedCopyOfTheProjectsVersionAndNoPreview) {
    EXPECT_TRUE(AppInstallation::isVerifiedBundle(builtBundle(), *systemCodeSignature()));
    EXPECT_EQ(builtBundle().filename(), Product::applicationFolderName);
    const auto information = informationDictionary(builtBundle());
    ASSERT_TRUE(information);
    EXPECT_EQ(information->value("CFBundleShortVersionString", ""), Product::version);
    EXPECT_EQ(information->value("CFBundleIconFile", ""), "CorvaneIcon");
    EXPECT_EQ(information->value("LSMinimumSystemVersion", ""), "6.1");
    EXPECT_FALSE(information->contains("CorvanePreview"));
    const std::string program = readAll(builtBundle() / Product::executablePath);
    EXPECT_FALSE(elfArchitectures(program).empty());
}

/// The width of a square PNG; zero when the bytes are none.
std::uint32_t pngSize(std::string_view bytes) {
    const auto width = bigEndian32(bytes, 16);
    return bytes.starts_with("\x89PNG\r\n\x1a\n") && width == bigEndian32(bytes, 20)
               ? width.value_or(0)
               : 0;
}

TEST(BuiltBundle, holdsAnIconOfEverySize) {
    const fs::path resources = builtBundle() / "Contents/Resources";
    EXPECT_GE(pngSize(readAll(resources / "corvane-logo.png")), 128U);

    const std::string icons = readAll(resources / "CorvaneIcon.icns");
    ASSERT_TRUE(icons.starts_with("icns"));
    ASSERT_EQ(bigEndian32(icons, 4), icons.size());
    std::string found;
    for (std::size_t at = 8; at < icons.size();) {
        const std::size_t length = bigEndian32(icons, at + 4).value_or(0);
        ASSERT_GT(length, 8U);
        const std::uint32_t size = pngSize(bytesAt(icons, at + 8, length - 8));
        found.append(bytesAt(icons, at, 4)).append(" " + std::to_string(size) + ", ");
        at += length;
    }
    EXPECT_EQ(found, "icp4 16, icp5 32, icp6 64, ic07 128, ic08 256, ic09 512, ic10 1024, "
                     "ic11 32, ic12 64, ic13 256, ic14 512, ");
}

} // namespace
} // namespace tallywick
