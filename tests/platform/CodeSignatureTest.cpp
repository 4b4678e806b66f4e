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

struct Change {
    const char* name;
    std::string command; ///< run in the bundle
};

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
    const std::vector<Change> changes = {
        {"a file cut short", "truncate -s -1 Contents/Info.plist"},
        {"a file emptied", "truncate -s 0 Contents/Info.plist"},
        {"a file grown", "truncate -s +1 Contents/Info.plist"},
        {"a file too large to be read", "truncate -s 2T Contents/Info.plist"},
        {"a file missing", "rm Contents/Resources/corvane-logo.png"},
        {"a file under another name", "cd Contents/Resources; mv corvane-logo.png Logo.png"},
        {"two files exchanged", "cd Contents/Resources; mv corvane-logo.png x; "
                                "mv CorvaneIcon.icns corvane-logo.png; mv x CorvaneIcon.icns"},
        {"an extra file beside Contents", "echo > note"},
        {"an extra empty file", "touch Contents/.hidden"},
        {"an extra file beside the seal", "touch Contents/_CodeSignature/CodeResources.new"},
        {"an extra file whose name is not UTF-8", "touch \"Contents/$(printf '\\377')\""},
        {"an extra empty folder", "mkdir Contents/Empty"},
        {"an extra link to a sealed file", "ln -s Info.plist Contents/link"},
        {"an extra dangling link", "ln -s nowhere Contents/link"},
        {"an extra name of a sealed file", "ln Contents/Info.plist Contents/twin"},
        {"an extra FIFO", "mkfifo Contents/pipe"},
        {"a FIFO in place of a file", "rm Contents/Info.plist; mkfifo Contents/Info.plist"},
        {"a FIFO in place of the seal",
         "cd Contents/_CodeSignature; rm CodeResources; mkfifo CodeResources"},
        {"a folder in place of a file", "rm Contents/Info.plist; mkdir Contents/Info.plist"},
        {"a link in place of a file", "mv Contents/Info.plist ..; ln -s ../../Info.plist Contents"},
        {"a link in place of a folder", "mv Contents/Resources ..; ln -s ../../Resources Contents"},
        {"a link in place of the seal", "mv Contents/_CodeSignature/CodeResources ..; "
                                        "ln -s ../../../CodeResources Contents/_CodeSignature"},
        {"the bundle a link", "cd ..; mv *.app moved; ln -s moved 'Corvane Tallywick.app'"},
        {"no seal", "rm Contents/_CodeSignature/CodeResources"},
        {"no bundle", "rm -r ../*.app"},
    };
    for (const Change& change : changes) {
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
        {"a file of the system", [](Json& files) { files["/etc/passwd"] = files[logo]; }},
        {"a file listed a second time by a detour",
         [](Json& files) { files["Contents/MacOS/../Resources/corvane-logo.png"] = files[logo]; }},
        {"a path from the root in place of one below the bundle",
         [&](Json& files) {
             files[(bundle / logo).string()] = files[logo];
             files.erase(logo);
         }},
        {"the seal itself", [](Json& files) { files[sealPath] = files[logo]; }},
        {"another digest", [](Json& files) { files[logo] = std::string(64, '0'); }},
        {"a digest of another kind", [](Json& files) { files[logo] = true; }},
        {"no files", [](Json& files) { files = Json::object(); }},
        {"a list of another kind", [](Json& files) { files = "all"; }},
    };
    for (const Row& row : rows) {
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
    const std::vector<Change> changes = {
        {"a link", "ln -s Info.plist Contents/link"},
        {"an empty folder", "mkdir Contents/Empty"},
        {"a name that is not UTF-8", "touch \"Contents/$(printf '\\377')\""},
        {"too many files", "touch $(seq " + std::to_string(maximumSealedFiles) + ")"},
        {"folders too deep", "mkdir -p 1/2/3/4/5/6/7/8/9; touch 1/2/3/4/5/6/7/8/9/file"},
        {"a missing folder", "rm -r ../*.app"},
    };
    for (const Change& change : changes) {
        SCOPED_TRACE(change.name);
        const TemporaryFolder folder;
        const fs::path bundle = makeSampleBundle(folder.path());
        runIn(bundle, change.command);
        EXPECT_FALSE(sealBundle(bundle));
        EXPECT_FALSE(isValid(bundle));
    }
}

} // namespace
} // namespace tallywick
