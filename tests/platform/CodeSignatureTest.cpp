#include "platform/CodeSignature.h"

#include "base/PropertyList.h"
#include "platform/linux/BundleSeal.h"
#include "support/SampleBundle.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace tallywick {
namespace {

namespace fs = std::filesystem;
using testing::makeSampleBundle;
using testing::readAll;
using testing::runIn;
using testing::TemporaryFolder;
using testing::writeAll;

const char* const logo = "Contents/Resources/corvane-logo.png";

bool isValid(const fs::path& bundle) { return systemCodeSignature()->isValid(bundle); }

TEST(CodeSignature, seesAChangeOfAnyByteOfAnyFile) {
    const TemporaryFolder folder;
    const fs::path bundle = makeSampleBundle(folder.path());
    const auto files = sealedFiles(bundle);
    ASSERT_TRUE(files);
    ASSERT_EQ(files->size(), 4U);
    for (const auto& [name, digest] : *files) {
        const std::string bytes = readAll(bundle / name);
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            std::string changed = bytes;
            changed[i] = static_cast<char>(changed[i] ^ 1);
            writeAll(bundle / name, changed);
            ASSERT_FALSE(isValid(bundle)) << name << " at " << i;
        }
        writeAll(bundle / name, bytes);
        ASSERT_TRUE(isValid(bundle)) << name;
    }
}

TEST(CodeSignature, seesEveryOtherDifference) {
    const struct {
        const char* name;
        const char* command; ///< run in the bundle
    } changes[] = {
        {"a file grown", "truncate -s +1 Contents/Info.plist"},
        {"a file too large to be read", "truncate -s 2T Contents/Info.plist"},
        {"a file missing", "rm Contents/Resources/corvane-logo.png"},
        {"an extra file beside Contents", "echo > note"},
        {"an extra file beside the seal", "touch Contents/_CodeSignature/CodeResources.new"},
        {"an extra file whose name is not UTF-8", "touch \"Contents/$(printf '\\377')\""},
        {"an extra empty folder", "mkdir Contents/Empty"},
        {"an extra dangling link", "ln -s nowhere Contents/link"},
        {"a FIFO in place of a file", "rm Contents/Info.plist; mkfifo Contents/Info.plist"},
        {"a FIFO in place of the seal",
         "cd Contents/_CodeSignature; rm CodeResources; mkfifo CodeResources"},
        {"a link in place of a folder", "mv Contents/Resources ..; ln -s ../../Resources Contents"},
        {"a link in place of the seal", "mv Contents/_CodeSignature/CodeResources ..; "
                                        "ln -s ../../../CodeResources Contents/_CodeSignature"},
        {"the bundle a link", "cd ..; mv *.app moved; ln -s moved 'Corvane Tallywick.app'"},
        {"no seal", "rm Contents/_CodeSignature/CodeResources"},
        {"no bundle", "rm -r ../*.app"},
    };
    for (const auto& change : changes) {
        SCOPED_TRACE(change.name);
        const TemporaryFolder folder;
        const fs::path bundle = makeSampleBundle(folder.path());
        ASSERT_TRUE(isValid(bundle));
        runIn(bundle, change.command);
        EXPECT_FALSE(isValid(bundle));
    }
}

TEST(CodeSignature, refusesASealThatDoesNotListJustTheFiles) {
    const TemporaryFolder folder;
    const fs::path bundle = makeSampleBundle(folder.path());
    const Json original = parsePropertyList(readAll(bundle / sealPath)).value();
    struct Row {
        const char* name;
        std::function<void(Json& files)> change;
    };
    const std::vector<Row> rows = {
        {"a file not listed", [](Json& files) { files.erase(logo); }},
        {"a file that is not there", [](Json& files) { files["Contents/more"] = files[logo]; }},
        {"a file listed a second time by a detour",
         [](Json& files) { files["Contents/MacOS/../Resources/corvane-logo.png"] = files[logo]; }},
        {"the seal itself", [](Json& files) { files[sealPath] = files[logo]; }},
        {"a digest of another kind", [](Json& files) { files[logo] = true; }},
        {"a list of another kind", [](Json& files) { files = "all"; }},
    };
    for (const auto& row : rows) {
        Json changed = original;
        row.change(changed.at("files"));
        writeAll(bundle / sealPath, writePropertyList(changed));
        EXPECT_FALSE(isValid(bundle)) << row.name;
    }
    const std::string text = writePropertyList(original);
    for (const std::string& other :
         {std::string(), std::string("no list"), writePropertyList({{"version", "1"}}),
          text + std::string(maximumPropertyListBytes, ' ')}) {
        writeAll(bundle / sealPath, other);
        EXPECT_FALSE(isValid(bundle)) << other.size() << " bytes";
    }
    writeAll(bundle / sealPath, text);
    EXPECT_TRUE(isValid(bundle));
}

TEST(CodeSignature, holdsForTheSameFilesElsewhere) {
    const TemporaryFolder folder;
    const fs::path bundle = makeSampleBundle(folder.path());
    runIn(bundle, "touch -t 197001020000 Contents/Info.plist; chmod 600 Contents/Info.plist");
    EXPECT_TRUE(isValid(bundle)) << "times and permissions are not sealed";
    runIn(bundle, "cd ..; cp -R *.app copy.app");
    EXPECT_TRUE(isValid(folder / "copy.app"));
    EXPECT_TRUE(sealBundle(bundle)) << "a second time";
    EXPECT_TRUE(isValid(bundle));
}

TEST(BundleSeal, isNotMadeForWhatCannotBeSealed) {
    for (const std::string& command :
         {std::string("mkdir Contents/Empty"), std::string("touch \"Contents/$(printf '\\377')\""),
          "touch $(seq " + std::to_string(maximumSealedFiles) + ")",
          std::string("mkdir -p 1/2/3/4/5/6/7/8/9; touch 1/2/3/4/5/6/7/8/9/file")}) {
        const TemporaryFolder folder;
        const fs::path bundle = makeSampleBundle(folder.path());
        runIn(bundle, command);
        EXPECT_FALSE(sealBundle(bundle)) << command.substr(0, 60);
    }
}

} // namespace
} // namespace tallywick
