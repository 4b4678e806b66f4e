#include "base/Json.h"
#include "history/HistoryFile.h"
#include "history/HistoryStore.h"
#include "history/UsageHistory.h"
#include "platform/files/FileAccess.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

namespace tallywick {
namespace {

namespace fs = std::filesystem;

constexpr Timestamp now = 1'800'000'000;

/// Samples of one account, evenly over fourteen days; usage rises from 0 to 100 again and again.
std::vector<UsageSample> samplesOver14Days(std::size_t count) {
    std::vector<UsageSample> samples(count);
    for (std::size_t i = 0; i < count; ++i) {
        const double share = static_cast<double>(i) / static_cast<double>(count);
        samples[i] = {now - historyRetention * (1 - share),
                      std::floor(std::fmod(share * 2000, 100)), now + 86'400, std::string(64, 'a'),
                      std::nullopt};
    }
    return samples;
}

/// The same in an order that is as far from sorted as it gets.
std::vector<UsageSample> shuffled(const std::vector<UsageSample>& samples) {
    constexpr std::size_t stride = 1'000'003; // a prime, so that every sample is met once
    std::vector<UsageSample> result;
    for (std::size_t i = 0; i < samples.size(); ++i)
        result.push_back(samples[i * stride % samples.size()]);
    return result;
}

/// Every sample is a segment of its own.
std::vector<UsageSample> singles(std::vector<UsageSample> samples) {
    for (UsageSample& sample : samples)
        sample.startsSegment = true;
    return samples;
}

void measureNormalise(benchmark::State& state, const std::vector<UsageSample>& samples) {
    for (auto _ : state)
        benchmark::DoNotOptimize(normalise(samples, now));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void normaliseSorted(benchmark::State& state) {
    measureNormalise(state, samplesOver14Days(static_cast<std::size_t>(state.range(0))));
}

void normaliseShuffled(benchmark::State& state) {
    measureNormalise(state, shuffled(samplesOver14Days(static_cast<std::size_t>(state.range(0)))));
}

void normaliseSingles(benchmark::State& state) {
    measureNormalise(state, singles(samplesOver14Days(static_cast<std::size_t>(state.range(0)))));
}

/// A full history, which is the longest that is ever stored.
std::vector<UsageSample> fullHistory() {
    return normalise(singles(samplesOver14Days(maximumSamples)), now);
}

/// A file in a folder of its own, removed at the end.
class BenchmarkFile {
  public:
    BenchmarkFile() {
        std::string name = (fs::canonical(fs::temp_directory_path()) / "tallywick-XXXXXX").string();
        if (!::mkdtemp(name.data()))
            throw std::system_error(errno, std::generic_category(), "mkdtemp");
        folder = name;
    }
    ~BenchmarkFile() {
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }
    BenchmarkFile(const BenchmarkFile&) = delete;
    BenchmarkFile& operator=(const BenchmarkFile&) = delete;

    fs::path path() const { return folder / "usage-history.json"; }

  private:
    fs::path folder;
};

void loadFullFile(benchmark::State& state) {
    const BenchmarkFile file;
    if (writeFileAtomically(file.path(), encodeHistory(fullHistory())) != WriteResult::written)
        state.SkipWithError("the file cannot be written");
    for (auto _ : state) {
        const HistoryStore store(file.path(), now);
        if (store.samples().size() != maximumSamples)
            state.SkipWithError("the file was not loaded");
    }
}

void parseSameBytes(benchmark::State& state) {
    const std::string bytes = encodeHistory(fullHistory());
    for (auto _ : state)
        benchmark::DoNotOptimize(parseJson(bytes));
    state.counters["bytes"] = static_cast<double>(bytes.size());
}

void persistFullFile(benchmark::State& state) {
    const BenchmarkFile file;
    if (writeFileAtomically(file.path(), encodeHistory(fullHistory())) != WriteResult::written)
        state.SkipWithError("the file cannot be written");
    HistoryStore store(file.path(), now);
    store.record({40, now + 86'400}, std::string(64, 'b'),
                 now); // it writes for a clock that is right
    for (auto _ : state)
        store.persist();
}

void encodeFullHistory(benchmark::State& state) {
    const std::vector<UsageSample> samples = fullHistory();
    for (auto _ : state)
        benchmark::DoNotOptimize(encodeHistory(samples));
}

/// From values that exist already: what writing the text alone costs.
void writeSameBytes(benchmark::State& state) {
    const auto value = parseJson(encodeHistory(fullHistory()));
    for (auto _ : state)
        benchmark::DoNotOptimize(writeJson(*value));
}

void writeSameBytesToDisk(benchmark::State& state) {
    const BenchmarkFile file;
    const std::string bytes = encodeHistory(fullHistory());
    for (auto _ : state) {
        if (writeFileAtomically(file.path(), bytes) != WriteResult::written)
            state.SkipWithError("the file cannot be written");
    }
}

BENCHMARK(normaliseSorted)->Arg(4'096)->Arg(40'960)->Arg(409'600)->Unit(benchmark::kMillisecond);
BENCHMARK(normaliseShuffled)->Arg(4'096)->Arg(40'960)->Arg(409'600)->Unit(benchmark::kMillisecond);
BENCHMARK(normaliseSingles)->Arg(4'096)->Arg(40'960)->Arg(409'600)->Unit(benchmark::kMillisecond);
BENCHMARK(loadFullFile)->Unit(benchmark::kMillisecond);
BENCHMARK(parseSameBytes)->Unit(benchmark::kMillisecond);
BENCHMARK(persistFullFile)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(encodeFullHistory)->Unit(benchmark::kMillisecond);
BENCHMARK(writeSameBytes)->Unit(benchmark::kMillisecond);
BENCHMARK(writeSameBytesToDisk)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace
} // namespace tallywick
