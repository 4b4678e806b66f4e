#include "update/UpdateController.h"

#include "base/WorkThreads.h"
#include "update/UpdateFeed.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace tallywick {

namespace {

using namespace std::chrono_literals;
using Failure = tl::unexpected<UpdateFailure>;
using Services = UpdateController::Services;

constexpr auto feedLimit = 20s;
constexpr auto archiveLimit = 90s;

// What the user reads, beside the sentences of the failures.
constexpr const char* checking = "Checking the Mac update feed…";
constexpr const char* verified =
    "Download verified. Show it in Finder, open the app, then choose Install and Open. "
    "This release is not Apple-notarized.";
constexpr const char* rechecking = "Rechecking the saved update…";
constexpr const char* rechecked = "Open the selected app and choose Install and Open. "
                                  "macOS may ask you to approve this unnotarized release.";
constexpr const char* opened = "The update has been opened. Choose Install and Open in it.";
constexpr const char* notOpened =
    "The update could not be opened. Show the download and open it there.";
constexpr const char* cancelling = "Cancelling update…";

std::string sentence(UpdateFailure failure) { return std::string(message(failure)); }

std::string availableText(const UpdateManifest& manifest) {
    std::string notes = manifest.releaseNotes;
    std::ranges::replace(notes, '\n', ' ');
    return "Mac " + manifest.version + " is available. " + notes;
}

std::string upToDateText(const std::string& version) {
    return "You’re up to date — Mac " + version + ".";
}

std::string newerInstalledText(const std::string& version) {
    return "You have a newer Mac version (" + version + ") than the published release.";
}

std::string unpackerMissingText() {
    return std::string("Unpacking an update needs ")
        .append(ArchiveExtraction::missingLibrary)
        .append(". Install it and retry.");
}

/// A release in the cache, or the sentence on why there is none.
using Preparation = tl::expected<UpdatePreparation::Prepared, std::string>;
using Progress = std::function<void(std::int64_t)>;

tl::expected<UpdateCache, UpdateFailure> openCache(const Services& services) {
    if (!services.caches)
        return Failure(UpdateFailure::disk);
    return UpdateCache::open(*services.caches);
}

tl::expected<UpdatePreparation::Prepared, UpdateFailure>
fetchIntoCache(const Services& services, const UpdateManifest& manifest, const Progress& progress,
               CancellationFlag& operation) {
    const auto cache = openCache(services);
    if (!cache)
        return Failure(cache.error());
    const auto claim = cache->claim();
    if (!claim)
        return Failure(claim.error());
    if (const auto cleared = cache->clear(); !cleared)
        return Failure(cleared.error());
    const auto downloaded = services.steps.fetch({.url = manifest.url,
                                                  .maximum = manifest.bytes,
                                                  .wholeLimit = archiveLimit,
                                                  .destination = cache->partialArchive()},
                                                 progress, operation);
    auto prepared = services.steps.prepare(
        downloaded, manifest, {*cache, services.unpackTool, *services.signature, services.clock},
        operation);
    if (!prepared || operation.isCancelled())
        static_cast<void>(cache->clear());
    return prepared;
}

Preparation fetchAndPrepare(const Services& services, const UpdateManifest& manifest,
                            const Progress& progress, CancellationFlag& operation) {
    if (!services.steps.canUnpack())
        return tl::unexpected(unpackerMissingText());
    return fetchIntoCache(services, manifest, progress, operation).map_error(sentence);
}

/// What was prepared after all.
Preparation discard(const Services& services) {
    if (const auto cache = openCache(services); cache && cache->claim())
        static_cast<void>(cache->clear());
    return tl::unexpected(sentence(UpdateFailure::cancelled));
}

} // namespace

UpdateController::UpdateController(Services given, std::function<void()> onChange)
    : services(std::make_shared<const Services>(std::move(given))), changed(std::move(onChange)) {}

UpdateController::~UpdateController() { stop(); }

/// Wraps what is to be done on the main thread, for use on another, unless the operation that is
/// the current one now has been left behind by then.
template <typename Handler>
auto UpdateController::forCurrentOperation(Handler handler) {
    return [this, post = relay.entrance(), operation = flag, handler](const auto& result) {
        post([this, operation, handler, result] {
            if (!stopped && flag == operation)
                handler(result);
        });
    };
}

/// Has `work` done on a thread of its own, and `apply` called with its result.
template <typename Work, typename Apply>
void UpdateController::run(Work work, Apply apply) {
    const auto deliver = forCurrentOperation(std::move(apply));
    if (!startWorkThread("update", [deliver, operation = flag, work = std::move(work)] {
            deliver(work(*operation));
        }))
        // The system has no thread left.
        finish(sentence(flag->isCancelled() ? UpdateFailure::cancelled : UpdateFailure::offline));
}

std::function<void()> UpdateController::purge() const {
    return [services = services] {
        if (const auto cache = openCache(*services); cache && cache->claim())
            cache->purgeStaleItems(services->clock());
    };
}

void UpdateController::check() {
    if (!begin())
        return;
    manifest.reset();
    prepared.reset();
    publish(checking);
    run(
        [services = services](CancellationFlag& operation) {
            return services->steps.fetch({.url = UpdateFeed::feedURL(),
                                          .maximum = UpdateFeed::maximumFeedBytes,
                                          .wholeLimit = feedLimit},
                                         {}, operation);
        },
        [this](const BoundedDownload::Result& body) { finish(assessFeed(body)); });
}

/// The sentence on what the feed tells. A newer release is kept.
std::string UpdateController::assessFeed(const BoundedDownload::Result& body) {
    if (flag->isCancelled())
        return sentence(UpdateFailure::cancelled);
    if (!body)
        return sentence(body.error());
    auto release = UpdateManifest::parse(*body);
    if (!release)
        return sentence(release.error());
    const auto assessment = assess(*release, services->copy, runningSystem());
    if (!assessment)
        return sentence(assessment.error());
    const std::string running = services->copy.version.value_or("0.0.0");
    if (*assessment == UpdateAssessment::upToDate)
        return upToDateText(running);
    if (*assessment == UpdateAssessment::newerInstalled)
        return newerInstalledText(running);
    manifest = std::move(*release);
    return availableText(*manifest);
}

void UpdateController::download() {
    if (!manifest || !begin())
        return;
    prepared.reset();
    progress = {.received = 0, .expected = manifest->bytes};
    publish("Downloading Mac " + manifest->version + "…");
    run(
        [services = services, release = *manifest,
         report = progressReport()](CancellationFlag& operation) {
            return fetchAndPrepare(*services, release, report, operation);
        },
        [this](const auto& result) { applyDownload(result); });
}

/// Takes the bytes received so far, on the download's thread, and tells of every new percentage.
Progress UpdateController::progressReport() {
    const auto tell = forCurrentOperation([this](std::int64_t received) {
        if (flag->isCancelled())
            return;
        progress->received = received;
        publish("Downloading… " + std::to_string(progress->percentage()) + "%");
    });
    return
        [tell, expected = manifest->bytes, told = std::int64_t{-1}](std::int64_t received) mutable {
            const UpdateFields::Progress now{received, expected};
            if (std::exchange(told, now.percentage()) != now.percentage())
                tell(received);
        };
}

void UpdateController::applyDownload(const Preparation& result) {
    const bool isCancelled = flag->isCancelled();
    if (isCancelled && result) {
        run([services = services](CancellationFlag&) { return discard(*services); },
            [this](const auto& discarded) { applyDownload(discarded); });
        return;
    }
    passedRecheck = false;
    if (result)
        prepared = *result;
    finish(result ? verified : isCancelled ? sentence(UpdateFailure::cancelled) : result.error());
}

void UpdateController::showDownload() {
    recheck([this] {
        services->workspace.revealItem(prepared->application);
        finish(rechecked);
    });
}

void UpdateController::openUpdate() {
    if (!passedRecheck)
        return;
    recheck([this] {
        services->workspace.openNewInstance(
            prepared->application, {},
            forCurrentOperation([this](const Workspace::OpenOutcome& outcome) {
                finish(outcome ? notOpened : opened);
            }));
    });
}

/// Then does what ends with a sentence for the user, if all is well.
void UpdateController::recheck(std::function<void()> then) {
    if (!prepared || !begin())
        return;
    publish(rechecking);
    run(
        [services = services, release = *manifest,
         application = *prepared](CancellationFlag& operation) {
            return services->steps.recheck(application, release, *services->signature, operation);
        },
        [this, then = std::move(then)](const tl::expected<void, UpdateFailure>& outcome) {
            if (flag->isCancelled())
                return finish(sentence(UpdateFailure::cancelled));
            if (!outcome) {
                prepared.reset();
                return finish(sentence(UpdateFailure::corrupt));
            }
            passedRecheck = true;
            then();
        });
}

void UpdateController::cancel() {
    if (!busy || stopped)
        return;
    publish(cancelling);
    flag->cancel();
}

void UpdateController::stop() {
    cancel();
    stopped = true;
}

/// Whether a new operation begins now.
bool UpdateController::begin() {
    if (busy || stopped)
        return false;
    busy = true;
    flag = std::make_shared<CancellationFlag>();
    return true;
}

void UpdateController::finish(std::string status) {
    busy = false;
    progress.reset();
    publish(std::move(status));
}

void UpdateController::publish(std::string status) {
    published = {.status = std::move(status),
                 .busy = busy,
                 .progress = progress,
                 .offersDownload = manifest && !prepared,
                 .offersShow = prepared.has_value(),
                 .offersOpen = prepared && passedRecheck};
    changed();
}

} // namespace tallywick
