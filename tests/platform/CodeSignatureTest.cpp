#include "platform/bundle/CodeSignature.h"

#include "base/Ed25519.h"
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

/// Puts a signature into the seal of a bundle; null for none.
void putSignature(const fs::path& bundle, const Json& signature) {
    testing::writeAll(bundle / sealPath, writePropertyList({{"files", *sealedFiles(bundle)},
                                                            {"signature", signature}}));
}

TEST(CodeSignature, ofAReleaseIsMadeWithOneOfTheMakersKeys) {
    const TemporaryFolder folder;
    const fs::path bundle = makeSampleBundle(folder.path());
    const SigningKey first = SigningKey::make(), second = SigningKey::make();
    const std::string keys[] = {first.publicKey(), second.publicKey()};
    const auto makers = releaseCodeSignature(std::array<std::string_view, 2>{keys[0], keys[1]});
    const auto withoutKeys = releaseCodeSignature(std::span<const std::string_view>());

    const std::string text = signedText(*sealedFiles(bundle));
    const auto changed = [&](const std::string& part, const std::string& by) {
        std::string other = text;
        return first.sign(other.replace(text.find(part), part.size(), by));
    };
    const std::string signature = first.sign(text);
    std::string capitals = signature;
    std::ranges::transform(capitals, capitals.begin(), ::toupper);
    const struct {
        const char* what;
        Json signature;
        bool isTheMakers;
    } rows[] = {
        {"the first key", signature, true},
        {"the second key", second.sign(text), true},
        {"a stranger's key", SigningKey::make().sign(text), false},
        {"no signature", nullptr, false},
        {"of another kind", true, false},
        {"without its last digit", signature.substr(0, 127), false},
        {"with a digit more", signature + '0', false},
        {"empty", "", false},
        {"no digits", std::string(128, 'x'), false},
        {"another way to write it", capitals, false},
        {"another signature", first.sign(text + text), false},
        {"of another product", changed(Product::bundleIdentifier, "com.corvane.other"), false},
        {"of something else", changed("Tallywick seal", "Tallywick feed"), false},
        {"of another file", changed(sha256Hex("a logo"), sha256Hex("another")), false},
        {"of a file elsewhere", changed("corvane-logo", "corvane-Logo"), false},
    };
    for (const auto& row : rows) {
        putSignature(bundle, row.signature);
        EXPECT_EQ(makers->isValid(bundle), row.isTheMakers) << row.what;
        EXPECT_TRUE(withoutKeys->isValid(bundle) && isValid(bundle)) << row.what;
    }
}

TEST(CodeSignature, canBeMadeAndCheckedWithCommonTools) {
    const TemporaryFolder folder;
    const fs::path bundle = makeSampleBundle(folder.path());
    runIn(folder.path(), R"(
        digits() { od -An -v -tx1 | tr -d ' \n'; }
        openssl genpkey -algorithm ed25519 -out key.pem
        openssl pkey -in key.pem -pubout -outform DER | tail -c 32 | digits >key
        (cd *.app
        printf 'Tallywick seal, version 1\0com.corvane.tallywick\0'
        find * -type f ! -name CodeResources -print0 | LC_ALL=C sort -z | xargs -0 sha256sum -z) >text
        openssl pkeyutl -sign -rawin -inkey key.pem -in text | digits >signature)");
    const std::string key = testing::readAll(folder / "key");
    putSignature(bundle, testing::readAll(folder / "signature"));
    const auto ofKey = releaseCodeSignature(std::array<std::string_view, 1>{key});
    EXPECT_TRUE(ofKey->isValid(bundle));
    putSignature(bundle, SigningKey::make().sign(testing::readAll(folder / "text")));
    EXPECT_FALSE(ofKey->isValid(bundle));
}

} // namespace
} // namespace tallywick
