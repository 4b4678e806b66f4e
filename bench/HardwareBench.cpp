#include "hardware/HardwareService.h"
#include "platform/machine/linux/MountRules.h"

#include <benchmark/benchmark.h>

#include <string>

namespace tallywick {
namespace {

HardwareMonitor systemMonitor() { return {systemHostStatistics(), systemMountedVolumes()}; }

/// One reading of CPU and memory on this machine: what every five seconds costs.
void hardwareSample(benchmark::State& state) {
    HardwareMonitor monitor = systemMonitor();
    for (auto step : state)
        benchmark::DoNotOptimize(monitor.sample());
}
BENCHMARK(hardwareSample)->Unit(benchmark::kMicrosecond);

/// One listing of the volumes of this machine: what every thirty seconds costs.
void volumeListing(benchmark::State& state) {
    HardwareMonitor monitor = systemMonitor();
    for (auto step : state)
        benchmark::DoNotOptimize(monitor.volumes());
}
BENCHMARK(volumeListing)->Unit(benchmark::kMicrosecond);

/// Reading and choosing among the mounts of a busy container host.
void manyMounts(benchmark::State& state) {
    std::string table = "1 0 8:1 / / rw - ext4 /dev/sda1 rw\n";
    for (int i = 2; i < state.range(0); ++i) {
        const std::string id = std::to_string(i);
        const std::string layer = "/var/lib/docker/overlay2/" + id;
        table += id + " 1 0:" + id + " / " + layer + "/merged rw,relatime shared:" + id
                 + " - overlay overlay rw,lowerdir=" + layer + "/l/A:" + layer
                 + "/l/B,upperdir=" + layer + "/diff,workdir=" + layer + "/work\n";
    }
    for (auto step : state)
        benchmark::DoNotOptimize(selectVolumes(parseMountInfo(table), {}, linuxMountRules));
}
BENCHMARK(manyMounts)->Arg(100)->Arg(10'000)->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace tallywick
