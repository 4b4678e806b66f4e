#include "update/UpdatePreparation.h"

#include "platform/files/FileAccess.h"
#include "update/ReleaseChecks.h"
#include "update/SafeUpdateArchive.h"
#include "update/UpdateFeed.h"

#include <system_error>
#include <utility>

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
