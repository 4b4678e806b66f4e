#include "platform/bundle/CodeSignature.h"

#include "base/Sha256.h"
#include "support/SampleBundle.h"

namespace tallywick {
namespace {

namespace fs = std::filesystem;
using testing::makeSampleBundle;
using testing::runIn;
using testing::TemporaryFolder;

bool isValid(const fs::path& bundle) { return systemCodeSignature()->isValid(bundle); }

TEST(CodeSignature, seesEveryDifference) {
    const struct {
        const char* name;
        const char* command; ///< run in the bundle's folder "Contents"
    } changes[] = {
        {"a byte changed", "printf 'A logo' > Resources/corvane-logo.png"},
        {"a byte of the seal changed", "sed -i '0,/Info/s//info/' _CodeSignature/CodeResources"},
        {"a file too large to be read", "truncate -s 2T Info.plist"},
        {"a file missing", "rm Resources/corvane-logo.png"},
        {"an extra file beside the seal", "touch _CodeSignature/CodeResources.new"},
        {"an extra file whose name is not UTF-8", "touch \"$(printf '\\377')\""},
        {"an extra empty folder", "mkdir Empty"},
        {"an extra dangling link", "ln -s nowhere link"},
        {"a FIFO in place of a file", "rm Info.plist; mkfifo Info.plist"},
        {"a link in place of a folder", "mv Resources ../..; ln -s ../../Resources"},
        {"the bundle a link", "cd ../..; mv *.app moved; ln -s moved 'Corvane Tallywick.app'"},
        {"a link in place of the seal",
         "cd _CodeSignature; mv CodeResources ../../..; ln -s ../../../CodeResources"},
        {"a FIFO in place of the seal",
         "cd _CodeSignature; rm CodeResources; mkfifo CodeResources"},
        {"no seal", "rm _CodeSignature/CodeResources"},
        {"a seal that is too large",
         "head -c 65536 /dev/zero | tr '\\0' ' ' >> _CodeSignature/CodeResources"},
        {"a seal that is cut", "truncate -s -2 _CodeSignature/CodeResources"},
        {"a file sealed twice",
         "sed -i '/<key>Contents.Info/{h;n;H;G}' _CodeSignature/CodeResources"},
        {"a digest of another kind",
         "sed -i 's/<string>.*<.string>/<true\\/>/' _CodeSignature/CodeResources"},
        {"no list of files", "sed -i 's/<key>files/<key>file/' _CodeSignature/CodeResources"},
        {"no bundle", "rm -r ../../*.app"},
    };
    for (const auto& change : changes) {
        const TemporaryFolder folder;
        const fs::path bundle = makeSampleBundle(folder.path());
        runIn(bundle / "Contents", change.command);
        EXPECT_FALSE(isValid(bundle)) << change.name;
    }
}

TEST(CodeSignature, holdsForTheSameFilesElsewhere) {
    const TemporaryFolder folder;
    const fs::path bundle = makeSampleBundle(folder.path());
    runIn(bundle, "touch -t 197001020000 Contents/Info.plist; chmod 600 Contents/Info.plist");
    EXPECT_TRUE(isValid(bundle)) << "times and permissions are not sealed";
    const std::string digest = "debe7e55e398958e5bb73e3534d991e842949fcb5630c1ade3735bbc700642f8";
    EXPECT_EQ(sealedFiles(bundle)->at("Contents/Resources/corvane-logo.png"), digest);
    EXPECT_EQ(sha256Hex("a logo"), digest) << "in one piece";
    runIn(bundle, "head -c 200000 /dev/zero > large");
    EXPECT_TRUE(sealBundle(bundle)) << "a second time";
    runIn(folder.path(), "cp -R *.app copy.app");
    EXPECT_TRUE(isValid(folder / "copy.app"));
    runIn(folder / "copy.app", "printf x | dd of=large bs=1 seek=199999 conv=notrunc status=none");
    EXPECT_FALSE(isValid(folder / "copy.app")) << "the last byte";
}

TEST(BundleSeal, isNotMadeForWhatCannotBeSealed) {
    const auto canBeSealed = [](const std::string& command) {
        const TemporaryFolder folder;
        const fs::path bundle = makeSampleBundle(folder.path());
        runIn(bundle, command);
        return sealBundle(bundle);
    };
    EXPECT_FALSE(canBeSealed("mkdir Empty"));
    EXPECT_FALSE(canBeSealed("touch \"$(printf '\\377')\""));
    const std::size_t more = maximumSealedFiles - 4;
    EXPECT_TRUE(canBeSealed("touch $(seq " + std::to_string(more) + ")"));
    EXPECT_FALSE(canBeSealed("touch $(seq " + std::to_string(more + 1) + ")"));
    EXPECT_TRUE(canBeSealed("mkdir -p 1/2/3/4/5/6/7/8; touch 1/2/3/4/5/6/7/8/file"));
    EXPECT_FALSE(canBeSealed("mkdir -p 1/2/3/4/5/6/7/8/9; touch 1/2/3/4/5/6/7/8/9/file"));
}

} // namespace
} // namespace tallywick
