#include "release/Release.h"

#include "base/ExecutableFormats.h"
#include "base/Product.h"
#include "base/Sha256.h"
#include "base/WholeNumber.h"
#include "install/AppInstallation.h"
#include "platform/bundle/ApplicationBundle.h"
#include "platform/bundle/CodeSignature.h"
#include "platform/files/FileAccess.h"
#include "platform/files/FilePieces.h"
#include "release/ZipWriter.h"
#include "update/UpdateFeed.h"
#include "update/UpdatePreparation.h"

#include <system_error>

namespace tallywick {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t maximumKeyBytes = 65; // the digits and a line feed
constexpr auto feedName = "mac-latest.json";

/// A folder that is there while a release is checked.
class ScratchFolder {
  public:
    ScratchFolder() {
        std::string name = (fs::canonical(fs::temp_directory_path()) / "release-XXXXXX").string();
        if (!::mkdtemp(name.data()))
            throw ReleaseError("there is no place for temporary files");
        folder = name;
    }
    ~ScratchFolder() {
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    const fs::path& path() const { return folder; }

  private:
    fs::path folder;
};

void writeNewFile(const fs::path& path, std::string_view content) {
    auto file = NewFile::create(path);
    if (!file || file->append(content) != WriteResult::written)
        throw ReleaseError("cannot write " + path.string() + ", or there is one already");
    file->keep();
}

std::string readFile(const fs::path& path, std::size_t maximum) {
    auto content = readRegularFile(path, maximum);
    if (!content)
        throw ReleaseError("cannot read " + path.string());
    return *std::move(content);
}

std::string archiveNameOf(std::string_view version) {
    return fs::path(UpdateFeed::expectedArchiveURL(version)).filename();
}

std::string archiveOf(const fs::path& bundle) {
    std::vector<PackedFile> files;
    files.reserve(AppInstallation::requiredFiles.size());
    for (const std::string_view name : AppInstallation::requiredFiles)
        files.push_back(
            {.name = std::string(Product::applicationFolderName).append("/").append(name),
             .content = readFile(bundle / name, std::size_t{UpdateFeed::maximumArchiveBytes}),
             .isProgram = name == Product::executablePath});
    return zipArchive(files);
}

/// What the feed says of the application itself.
Json descriptionOf(const fs::path& bundle) {
    constexpr std::size_t headerSize = 4'096;
    const auto information = informationDictionary(bundle);
    const auto text = [&](const char* key) {
        const std::string* value = information ? stringMember(*information, key) : nullptr;
        if (!value)
            throw ReleaseError(bundle.string() + " tells no " + key);
        return *value;
    };
    const auto header = readFileStart(bundle / Product::executablePath, headerSize).value_or("");
    auto architectures = machOArchitectures(header);
    architectures.merge(elfArchitectures(header));
    return {{"bundleIdentifier", text("CFBundleIdentifier")},
            {"version", text("CFBundleShortVersionString")},
            {"build", wholeNumber<int>(text("CFBundleVersion")).value_or(0)}, // 0 is refused
            {"minimumSystemVersion", text("LSMinimumSystemVersion")},
            {"architectures", architectures}};
}

} // namespace

SigningKey makeSigningKey(const fs::path& file) {
    const SigningKey key = SigningKey::make();
    writeNewFile(file, key.secret() + '\n');
    return key;
}

SigningKey readSigningKey(const fs::path& file) {
    std::error_code error;
    constexpr fs::perms others = fs::perms::group_all | fs::perms::others_all;
    if ((fs::status(file, error).permissions() & others) != fs::perms::none)
        throw ReleaseError(file.string() + " can be read by others, or is not there");
    std::string text = readOwnFile(file, maximumKeyBytes).value_or("");
    if (text.ends_with('\n'))
        text.pop_back();
    const auto key = SigningKey::ofSecret(text);
    if (!key)
        throw ReleaseError(file.string() + " holds no private key of this user");
    return *key;
}

Release packRelease(const fs::path& bundle, const std::string& releaseNotes) {
    Json feed = descriptionOf(bundle);
    const std::string version = feed["version"];
    Release release{
        .archiveName = archiveNameOf(version), .archive = archiveOf(bundle), .feed = {}};
    feed.update({{"schemaVersion", 1},
                 {"platform", "macos"},
                 {"url", UpdateFeed::expectedArchiveURL(version)},
                 {"bytes", release.archive.size()},
                 {"sha256", sha256Hex(release.archive)},
                 {"signing", "ad-hoc"},
                 {"notarized", false},
                 {"releaseNotes", releaseNotes}});
    release.feed = feed.dump(2) + '\n';
    return release;
}

Release readRelease(const fs::path& folder) {
    Release release;
    release.feed = readFile(folder / feedName, UpdateFeed::maximumFeedBytes);
    const auto manifest = UpdateManifest::parse(release.feed);
    if (!manifest)
        throw ReleaseError("the feed is refused");
    release.archiveName = archiveNameOf(manifest->version);
    release.archive = readFile(folder / release.archiveName, UpdateFeed::maximumArchiveBytes);
    return release;
}

void checkRelease(const Release& release, std::span<const std::string_view> makerKeys,
                  const fs::path& unpacker) {
    const auto require = [](const auto& outcome) {
        if (!outcome)
            throw ReleaseError("the program refuses it: " + std::string(name(outcome.error())));
        return *outcome;
    };
    const UpdateManifest manifest = require(UpdateManifest::parse(release.feed));
    const ScratchFolder scratch;
    const UpdateCache cache = require(UpdateCache::open(scratch.path()));
    writeNewFile(cache.partialArchive(), release.archive);
    const UnpackTool tool{unpacker, {"unpack"}};
    const auto signature = releaseCodeSignature(makerKeys);
    require(UpdatePreparation::prepare({}, manifest, {cache, tool, *signature}, {}));
}

void writeRelease(const Release& release, const fs::path& folder) {
    if (!fs::create_directory(folder))
        throw ReleaseError(folder.string() + " is there already");
    const auto publish = [&](const fs::path& name, std::string_view content) {
        writeNewFile(folder / name, content);
        fs::permissions(folder / name, fs::perms{0644}); // a server reads it as somebody else
    };
    publish(release.archiveName, release.archive);
    publish(feedName, release.feed);
}

} // namespace tallywick
