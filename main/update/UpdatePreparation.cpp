#include "update/UpdatePreparation.h"

#include "base/ExecutableFormats.h"
#include "base/Product.h"
#include "base/Sha256.h"
#include "install/AppInstallation.h"
#include "platform/bundle/ApplicationBundle.h"
#include "platform/files/FileAccess.h"
#include "platform/files/FilePieces.h"
#include "update/SafeUpdateArchive.h"
#include "update/UpdateFeed.h"

#include <QUuid>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <set>
#include <system_error>
#include <utility>

namespace tallywick::ReleaseChecks {

namespace fs = std::filesystem;

namespace {

using Failure = tl::unexpected<UpdateFailure>;

constexpr std::size_t readPiece = std::size_t{1024} * 1024;
constexpr std::size_t headerSize = 4'096; // holds every header that tells the processor

/// Whether the information dictionary is that of the release.
bool namesTheRelease(const Json& information, const UpdateManifest& manifest) {
    const auto tells = [&](const char* key, const std::string& expected) {
        const std::string* value = stringMember(information, key);
        return value && *value == expected;
    };
    return !information.contains("CorvanePreview")
           && tells("CFBundleShortVersionString", manifest.version)
           && tells("CFBundleVersion", std::to_string(manifest.build))
           && tells("LSMinimumSystemVersion", manifest.minimumSystemVersion);
}

bool runsOnAll(const std::vector<std::string>& architectures, std::string_view header) {
    auto found = machOArchitectures(header);
    found.merge(elfArchitectures(header));
    return std::ranges::all_of(architectures,
                               [&](const std::string& name) { return found.contains(name); });
}

} // namespace

tl::expected<void, UpdateFailure> verifyArchive(const UpdateManifest& manifest,
                                                const fs::path& archive) {
    Sha256 digest;
    std::int64_t size = 0;
    const auto outcome = readInPieces(archive, readPiece, [&](std::string_view piece) {
        size += static_cast<std::int64_t>(piece.size());
        digest.add(piece);
        return size <= manifest.bytes;
    });
    if (outcome == PiecewiseReading::brokenOff)
        return Failure(UpdateFailure::disk);
    if (outcome != PiecewiseReading::whole || size != manifest.bytes
        || digest.hexDigest() != manifest.sha256)
        return Failure(UpdateFailure::corrupt);
    return {};
}

tl::expected<void, UpdateFailure> validateApp(const UpdateManifest& manifest,
                                              const fs::path& application,
                                              const CodeSignature& signature) {
    if (!AppInstallation::isVerifiedBundle(application, signature))
        return Failure(UpdateFailure::invalidBundle);
    const auto information = informationDictionary(application);
    if (!information || !namesTheRelease(*information, manifest))
        return Failure(UpdateFailure::invalidBundle);
    const auto header = readFileStart(application / Product::executablePath, headerSize);
    if (!header)
        return Failure(UpdateFailure::disk);
    if (!runsOnAll(manifest.architectures, *header))
        return Failure(UpdateFailure::invalidBundle);
    return {};
}

std::string quarantineMark(Timestamp now, std::string_view identifier) {
    constexpr int hexadecimal = 16;
    char seconds[hexadecimal]{};
    const auto written = std::to_chars(std::begin(seconds), std::end(seconds),
                                       static_cast<std::int64_t>(now), hexadecimal);
    return std::string("0081;")
        .append(seconds, written.ptr)
        .append(";")
        .append(Product::name)
        .append(";")
        .append(identifier);
}

tl::expected<void, UpdateFailure> markQuarantined(const fs::path& path, Timestamp now) {
    const std::string identifier =
        QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper().toStdString();
    if (markAsDownloaded(path, quarantineMark(now, identifier)) != WriteResult::written)
        return Failure(UpdateFailure::disk);
    return {};
}

} // namespace tallywick::ReleaseChecks

namespace tallywick::UpdatePreparation {

namespace fs = std::filesystem;

namespace {

using Outcome = tl::expected<void, UpdateFailure>;
using Failure = tl::unexpected<UpdateFailure>;

/// The steps after the download, in their order.
class Steps {
  public:
    Steps(const UpdateManifest& wanted, const Means& given, const CancellationFlag& cancellation)
        : manifest(wanted), means(given),
          flag(cancellation), archive{given.cache.archive(), wanted.sha256, {}} {}

    Outcome run() {
        using Step = Outcome (Steps::*)();
        for (const Step step : {&Steps::takeOver, &Steps::verify, &Steps::checkLayout,
                                &Steps::unpack, &Steps::validate, &Steps::mark}) {
            if (flag.isCancelled())
                return Failure(UpdateFailure::cancelled);
            if (const Outcome outcome = (this->*step)(); !outcome)
                return outcome;
        }
        return {};
    }

  private:
    Outcome takeOver() {
        if (moveWithoutReplacing(means.cache.partialArchive(), archive.file)
            != WriteResult::written)
            return Failure(UpdateFailure::disk);
        return {};
    }

    Outcome verify() { return ReleaseChecks::verifyArchive(manifest, archive.file); }

    Outcome checkLayout() {
        const auto bytes = readRegularFile(
            archive.file, static_cast<std::size_t>(UpdateFeed::maximumArchiveBytes));
        if (!bytes)
            return Failure(UpdateFailure::disk);
        auto entries = SafeUpdateArchive::validate(*bytes);
        if (!entries)
            return Failure(entries.error());
        archive.entries = std::move(*entries);
        return {};
    }

    Outcome unpack() {
        std::error_code error;
        const fs::path folder = means.cache.unpackFolder();
        if (!fs::create_directory(folder, error) || error) // false when it is there already
            return Failure(UpdateFailure::disk);
        fs::permissions(folder, fs::perms::owner_all, error);
        if (error)
            return Failure(UpdateFailure::disk);
        return unpackRelease(means.tool, archive, folder, flag);
    }

    Outcome validate() {
        return ReleaseChecks::validateApp(manifest, means.cache.preparedApp(), means.signature);
    }

    Outcome mark() {
        return ReleaseChecks::markQuarantined(archive.file, means.now()).and_then([&] {
            return ReleaseChecks::markQuarantined(means.cache.preparedApp(), means.now());
        });
    }

    const UpdateManifest& manifest;
    const Means& means;
    const CancellationFlag& flag;
    CheckedArchive archive;
};

} // namespace

tl::expected<Prepared, UpdateFailure> prepare(const BoundedDownload::Result& download,
                                              const UpdateManifest& manifest, const Means& means,
                                              const CancellationFlag& flag) {
    if (!download)
        return Failure(download.error());
    if (const Outcome outcome = Steps(manifest, means, flag).run(); !outcome)
        return Failure(outcome.error());
    return Prepared{means.cache.archive(), means.cache.preparedApp()};
}

tl::expected<void, UpdateFailure> recheck(const Prepared& prepared, const UpdateManifest& manifest,
                                          const CodeSignature& signature,
                                          const CancellationFlag& flag) {
    if (flag.isCancelled())
        return Failure(UpdateFailure::cancelled);
    const Outcome outcome = ReleaseChecks::verifyArchive(manifest, prepared.archive).and_then([&] {
        return ReleaseChecks::validateApp(manifest, prepared.application, signature);
    });
    if (outcome && flag.isCancelled())
        return Failure(UpdateFailure::cancelled);
    return outcome;
}

} // namespace tallywick::UpdatePreparation
