// What it costs to check the largest archive that a release may have: its digest, beside the
// system's own program for that, and its layout.

#include "base/Sha256.h"
#include "support/TemporaryFolder.h"
#include "update/SafeUpdateArchive.h"
#include "update/SampleRelease.h"
#include "update/UpdatePreparation.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace tallywick {
namespace {

using testing::TemporaryFolder;

/// An archive of all entries and of the largest size, in a folder that is gone at the end.
class LargestArchive {
  public:
    LargestArchive() {
        auto entries = testing::releaseEntries();
        const std::size_t smallest = testing::buildZip(entries).bytes.size();
        entries[1].content += std::string(UpdateFeed::maximumArchiveBytes - smallest, 'x');
        bytes = testing::buildZip(entries).bytes;
        testing::writeAll(file, bytes);
    }

    TemporaryFolder folder;
    std::filesystem::path file = folder / "largest.zip";
    std::string bytes;
};

void countBytes(benchmark::State& state) {
    state.SetBytesProcessed(UpdateFeed::maximumArchiveBytes
                            * static_cast<std::int64_t>(state.iterations()));
}

void verification(benchmark::State& state) {
    const LargestArchive archive;
    UpdateManifest manifest;
    manifest.bytes = UpdateFeed::maximumArchiveBytes;
    manifest.sha256 = sha256Hex(archive.bytes);
    for (auto step : state)
        if (!ReleaseChecks::verifyArchive(manifest, archive.file))
            state.SkipWithError("not the archive that was expected");
    countBytes(state);
}

void sha256sum(benchmark::State& state) {
    const LargestArchive archive;
    const std::string command = "sha256sum " + archive.file.string() + " >/dev/null";
    for (auto step : state)
        if (std::system(command.c_str()) != 0) // NOLINT(cert-env33-c): the program to compare with
            state.SkipWithError("there is no sha256sum");
    countBytes(state);
}

void layout(benchmark::State& state) {
    const LargestArchive archive;
    for (auto step : state)
        if (!SafeUpdateArchive::validate(archive.bytes))
            state.SkipWithError("not the layout that was expected");
}

BENCHMARK(verification)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(sha256sum)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(layout)->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace tallywick
