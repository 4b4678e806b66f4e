#include "hardware/HardwareFigures.h"
#include "hardware/VolumeList.h"
#include "platform/FileAccess.h"
#include "platform/linux/MountRules.h"
#include "platform/linux/ProcStatistics.h"

#include <QLocale>

#include <gmock/gmock.h>

namespace tallywick {
namespace {

constexpr std::int64_t total = 1000;

/// What the system tells about the mounts, with a capacity for each local one.
std::vector<MountedVolume> mountedVolumes(const std::string& mountTable, const std::string& fstab) {
    std::vector<MountedVolume> volumes;
    for (const VolumeMount& volume :
         selectVolumes(parseMountInfo(mountTable), hiddenInFstab(fstab), linuxMountRules)) {
        MountedVolume mounted;
        mounted.mountPoint = volume.mount.mountPoint;
        mounted.isLocal = volume.isLocal;
        mounted.totalCapacity = total;
        volumes.push_back(mounted);
    }
    return volumes;
}

TEST(CapturedMachines, AreMeasuredAsTheirToolsMeasureThem) {
    const struct {
        const char* folder;
        std::optional<double> cpu;
        std::optional<double> memory;
        std::vector<std::string> network;
        std::vector<std::string> shown;
    } cases[] = {
        {"laptop-btrfs",
         23,
         37.5,
         {},
         {"File System at /", "Disk 9 at /run/media/anna/Disk 9",
          "Disk 10 at /run/media/anna/Disk 10"}},
        {"server-lvm-nfs",
         25,
         75,
         {"/mnt/archive", "/mnt/scans"},
         {"File System at /", "backup at /tank/backup", "srv at /srv", "tank at /tank",
          "var at /var"}},
        {"container-overlay", std::nullopt, 0, {}, {"File System at /", "data at /data"}},
        {"desktop-snaps",
         50,
         std::nullopt,
         {},
         {"File System at /", "Grün at /media/sam/Grün", "INSTALL at /media/sam/INSTALL",
          "windows at /mnt/windows"}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.folder);
        const auto read = [&](const char* name) {
            const auto text = readRegularFile(
                std::filesystem::path(TALLYWICK_CAPTURED_MACHINES) / row.folder / name, 1'000'000);
            EXPECT_TRUE(text && !text->empty()) << name;
            return text.value_or("");
        };
        const auto before = parseProcStat(read("stat"));
        const auto after = parseProcStat(read("stat.later"));
        const auto memory = parseMeminfo(read("meminfo"));
        ASSERT_TRUE(before && after);
        EXPECT_EQ(cpuPercent(*before, *after), row.cpu);
        EXPECT_EQ(memory ? memoryPercent(*memory) : std::nullopt, row.memory);

        const auto mounted = mountedVolumes(read("mountinfo"), read("fstab"));
        std::vector<std::string> network;
        for (const MountedVolume& volume : mounted) {
            if (!volume.isLocal.value())
                network.push_back(volume.mountPoint);
        }
        EXPECT_EQ(network, row.network);

        std::vector<std::string> shown;
        for (const VolumeInfo& volume : shownVolumes(mounted, "File System", QLocale::c()))
            shown.push_back(volume.name + " at " + volume.id().native());
        EXPECT_EQ(shown, row.shown);
    }
}

TEST(ProcStatistics, TakesNoDamagedFigureForAReading) {
    const struct {
        const char* name;
        const char* text;
        std::optional<CpuTicks> ticks;
    } cases[] = {
        {"nothing", "", {}},
        {"no line of all processors", "cpu0 1 2 3 4\nintr 1\n", {}},
        {"no idle time", "cpu 1 2 3\ncpu0 1 2 3 4\n", {}},
        {"the oldest form", "cpu 1 2 3 4", CpuTicks{1, 3, 4, 2}},
        {"every counter, guests not counted twice", "intr 5\ncpu  1 2 3 4 5 6 7 8 900 900\n",
         CpuTicks{1, 24, 9, 2}},
        {"a fraction", "cpu 1 2 3 4.5\n", {}},
        {"the largest counters",
         "cpu 18446744073709551615 18446744073709551615 18446744073709551615 18446744073709551615",
         CpuTicks{~0ULL, ~0ULL, ~0ULL, ~0ULL}},
        {"a counter past the largest", "cpu 18446744073709551616 2 3 4\n", {}},
        {"a sum past the largest", "cpu 1 2 18446744073709551615 4 5 6\n", {}},
    };
    for (const auto& row : cases)
        EXPECT_EQ(parseProcStat(row.text), row.ticks) << row.name;
}

TEST(ProcStatistics, TakesNoDamagedMemoryFigureForAReading) {
    const struct {
        const char* name;
        const char* text;
        std::optional<MemoryPages> pages;
    } cases[] = {
        {"any order, tabs, and no unit", "MemAvailable:\t30\nMemTotal: 100", {{70, 1024, 102'400}}},
        {"nothing", "", {}},
        {"no total", "MemAvailable: 30 kB\n", {}},
        {"more available than there is", "MemTotal: 100 kB\nMemAvailable: 101 kB\n", {}},
        {"more bytes than 64 bits count",
         "MemTotal: 18446744073709551615 kB\nMemAvailable: 1 kB\n",
         {}},
    };
    for (const auto& row : cases)
        EXPECT_EQ(parseMeminfo(row.text), row.pages) << row.name;
}

} // namespace
} // namespace tallywick
