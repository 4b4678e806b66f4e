#include "base/Ed25519.h"
#include "platform/bundle/CodeSignature.h"
#include "platform/bundle/linux/ApplicationBundle.h"
#include "support/RunningProgram.h"
#include "support/SampleBundle.h"

#include <unistd.h>

namespace tallywick {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using testing::makeSampleBundle;
using testing::readAll;
using testing::runIn;
using testing::TemporaryFolder;

TEST(ApplicationBundle, isFoundAndTellsItsInformation) {
    EXPECT_EQ(enclosingBundle("/x/Outer.app/Contents/In ner.app/Contents/MacOS/Tool"),
              "/x/Outer.app/Contents/In ner.app");
    for (const char* executable :
         {"/A.app/Contents/Resources/Tool", "/A.app/Contents/MacOS/sub/Tool",
          "/A.app/Versions/MacOS/Tool", "/.app/Contents/MacOS/Tool", "/A/Contents/MacOS/Tool", ""})
        EXPECT_EQ(enclosingBundle(executable), std::nullopt) << executable;
    EXPECT_EQ(runningBundle(), fs::canonical("/proc/self/exe").parent_path()) << "outside a bundle";

    const TemporaryFolder folder;
    const fs::path bundle = makeSampleBundle(folder.path());
    runIn(folder.path(), "ln -s *.app link.app");
    EXPECT_TRUE(informationDictionary(folder / "link.app"));
    testing::writeAll(bundle / "Contents/Info.plist", writePropertyList(Json::object()));
    EXPECT_FALSE(informationDictionary(bundle)) << "an empty dictionary";
}

TEST(ApplicationBundle, isManagedWhenAFileBesideItSaysSo) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can give files away";
    const std::pair<const char*, bool> rows[] = {
        {"true", false},
        {"chown 65534 A.app; touch A.app.managed", true},
        {"chown 65534 A.app; touch A.app.managed; chown 65534 A.app.managed", true},
        {"touch A.app.managed; chown 65534 A.app.managed", false},
        {"mkdir A.app.managed", false},
        {"touch mark; ln -s mark A.app.managed", false},
    };
    for (const auto& [command, isManaged] : rows) {
        const TemporaryFolder folder;
        fs::create_directory(folder / "A.app");
        runIn(folder.path(), command);
        EXPECT_EQ(isManagedBundle(folder / "A.app"), isManaged) << command;
    }
}

TEST(RunningApplications, areThisUsersProcessesOfBundles) {
    const TemporaryFolder folder;
    for (const char* name : {"One", "Two"})
        makeSampleBundle(folder.path(), {{"CFBundleIdentifier", name}}, (name + ".app"s).c_str());
    makeSampleBundle(folder.path(), {{"CFBundleIdentifier", nullptr}}, "Unnamed.app");
    runIn(folder.path(), R"(
        add() {
            mkdir -p "processes/$1"
            ln -s "$PWD/$2.app/Contents/MacOS/CorvaneUtility$3" "processes/$1/exe"
        }
        add 900 One; printf './CorvaneUtility\0--watch\0\0' >processes/900/cmdline
        add 30 Two; add 7 One ' (deleted)' # replaced while it runs
        add 32 Unnamed; add 34 Gone; add self One; add 36x One
        mkdir processes/38 # a thread of the kernel
        add 41 One; chown 65534 processes/41 || rm -r processes/41 # only root can do so)");
    EXPECT_EQ(runningApplicationsIn(folder / "processes", {"Two", "One"}),
              (std::vector<RunningApplication>{{7, folder / "One.app", {}},
                                               {30, folder / "Two.app", {}},
                                               {900, folder / "One.app", {"--watch", ""}}}));
    EXPECT_TRUE(runningApplicationsIn(folder / "missing", {"One"}).empty());
}

TEST(RunningApplications, areAskedToQuitAsLongAsTheyAreTheSame) {
    const TemporaryFolder folder;
    const fs::path bundle = folder / "One.app";
    const fs::path executable = bundle / "Contents/MacOS/CorvaneUtility";
    fs::create_directories(executable.parent_path());
    fs::copy("/bin/sleep", executable);
    const testing::RunningProgram program(executable, {"1000"});
    const int process = std::stoi(testing::outputOf("pidof '" + executable.string() + "'"));
    const RunningApplication application{process, bundle};
    EXPECT_TRUE(isRunning(application));
    EXPECT_FALSE(isRunning({process, folder / "Two.app"}));
    EXPECT_TRUE(askToQuit({process, folder / "Two.app"})) << "somebody else's by now";
    EXPECT_TRUE(isRunning(application));
    EXPECT_TRUE(askToQuit(application));
    EXPECT_TRUE(testing::waitUntil([&] { return !isRunning(application); }));
    EXPECT_TRUE(askToQuit(application)) << "it has ended";
}

TEST(CodeSignature, seesEveryDifferenceAndOnlySomeCanBeSealed) {
    const std::string full = std::to_string(maximumSealedFiles - 4);
    const std::pair<std::string, bool> changes[] = {
        // made in the bundle's folder "Contents"
        {"printf 'A logo' > Resources/corvane-logo.png", true},
        {"rm Resources/corvane-logo.png", true},
        {"touch _CodeSignature/CodeResources.new", true},
        {"rm -r _CodeSignature", true},
        {"sed -i 's/<key>files/<key>file/' _CodeSignature/CodeResources", true},
        {"touch $(seq " + full + ")", true},
        {"touch more $(seq " + full + ")", false},
        {"mkdir -p 2/3/4/5/6/7/8; touch 2/3/4/5/6/7/8/file", true},
        {"mkdir -p 2/3/4/5/6/7/8/9; touch 2/3/4/5/6/7/8/9/file", false},
        {"truncate -s 2T Info.plist", false},
        {"mkdir Empty", false},
        {"ln -s nowhere link", false},
        {"rm Info.plist; mkfifo Info.plist", false},
        {"cd ../..; mv *.app moved; ln -s moved 'Corvane Tallywick.app'", false},
    };
    const auto signature = systemCodeSignature();
    for (const auto& [command, canBeSealed] : changes) {
        const TemporaryFolder folder;
        const fs::path bundle = makeSampleBundle(folder.path());
        runIn(bundle / "Contents", "touch -t 197001020000 Info.plist; chmod 600 Info.plist");
        EXPECT_TRUE(signature->isValid(bundle)) << "times and permissions are not sealed";
        runIn(bundle / "Contents", command);
        EXPECT_FALSE(signature->isValid(bundle)) << command;
        EXPECT_EQ(sealBundle(bundle), canBeSealed) << command;
        EXPECT_EQ(signature->isValid(bundle), canBeSealed) << command;
    }
}

TEST(CodeSignature, ofAReleaseIsMadeWithOneOfTheMakersKeysAndByCommonToolsToo) {
    const TemporaryFolder folder;
    const fs::path bundle = makeSampleBundle(folder.path());
    runIn(folder.path(), R"(
        digits() { od -An -v -tx1 | tr -d ' \n'; }
        openssl genpkey -algorithm ed25519 -out key.pem
        openssl pkey -in key.pem -pubout -outform DER | tail -c 32 | digits >key
        (cd *.app
        head -c 200000 /dev/zero >large
        printf 'Tallywick seal, version 1\0com.corvane.tallywick\0'
        find * -type f ! -name CodeResources -print0 | LC_ALL=C sort -z | xargs -0 sha256sum -z) >text
        openssl pkeyutl -sign -rawin -inkey key.pem -in text | digits >signature)");
    const SigningKey own = SigningKey::make();
    const std::string keys[] = {readAll(folder / "key"), own.publicKey()};
    const auto makers = releaseCodeSignature(std::array<std::string_view, 2>{keys[0], keys[1]});
    const auto withoutKeys = releaseCodeSignature(std::span<const std::string_view>());

    const std::string text = readAll(folder / "text");
    const std::string signature = own.sign(text);
    const struct {
        const char* what;
        Json signature;
        bool isTheMakers;
    } rows[] = {
        {"made by common tools", readAll(folder / "signature"), true},
        {"the second key", signature, true},
        {"a stranger's key", SigningKey::make().sign(text), false},
        {"no signature", nullptr, false},
        {"without its last digit", signature.substr(0, 127), false},
        {"no digits", std::string(128, 'x'), false},
    };
    for (const auto& row : rows) {
        testing::writeAll(bundle / sealPath, writePropertyList({{"files", *sealedFiles(bundle)},
                                                                {"signature", row.signature}}));
        EXPECT_EQ(makers->isValid(bundle), row.isTheMakers) << row.what;
        EXPECT_TRUE(withoutKeys->isValid(bundle)) << row.what;
    }
}

} // namespace
} // namespace tallywick
