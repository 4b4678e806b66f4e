#include "hardware/HardwareFigures.h"
#include "platform/files/FileAccess.h"
#include "platform/machine/linux/HostStatistics.h"
#include "platform/machine/linux/MountRules.h"

#include <QLocale>

#include <gtest/gtest.h>

namespace tallywick {
namespace {

TEST(CapturedMachines, AreMeasuredAsTheirToolsMeasureThem) {
    const struct {
        const char* folder;
        std::optional<double> cpu, memory;
        const char* volumes; // without those on the network
    } cases[] = {
        {"laptop-btrfs", 23, 37.5,
         "File System at /, Disk 9 at /run/media/anna/Disk 9, "
         "Disk 10 at /run/media/anna/Disk 10, "},
        {"server-lvm-nfs", 25, 75,
         "File System at /, backup at /tank/backup, srv at /srv, tank at /tank, var at /var, "},
        {"container-overlay", std::nullopt, 0, "File System at /, data at /data, "},
        {"desktop-snaps", 50, std::nullopt,
         "File System at /, Grün at /media/sam/Grün, INSTALL at /media/sam/INSTALL, "
         "windows at /mnt/windows, "},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.folder);
        const auto read = [&](const std::string& name) {
            const std::filesystem::path folder = TALLYWICK_CAPTURED_MACHINES;
            return readRegularFile(folder / row.folder / name, 1'000'000).value();
        };
        const auto before = parseProcStat(read("stat"));
        const auto after = parseProcStat(read("stat.later"));
        const auto memory = parseMeminfo(read("meminfo"));
        ASSERT_TRUE(before && after);
        EXPECT_EQ(cpuPercent(*before, *after), row.cpu);
        EXPECT_EQ(memory ? memoryPercent(*memory) : std::nullopt, row.memory);

        std::vector<MountedVolume> mounted;
        for (const auto& [mount, isLocal] : selectVolumes(
                 parseMountInfo(read("mountinfo")), hiddenInFstab(read("fstab")), linuxMountRules))
            mounted.push_back({mount.mountPoint, {}, 1000, {}, {}, isLocal, {}});
        std::string shown;
        for (const VolumeInfo& volume : shownVolumes(mounted, "File System", QLocale::c()))
            shown += volume.name + " at " + volume.id().native() + ", ";
        EXPECT_EQ(shown, row.volumes);
    }
}

TEST(ProcStatistics, TakesNoDamagedFigureForAReading) {
    EXPECT_EQ(parseProcStat("cpu 1 2 3 4"), (CpuTicks{1, 3, 4, 2}));
    EXPECT_EQ(parseProcStat("intr 5\ncpu  1 2 3 4 5 6 7 8 900 900\n"), (CpuTicks{1, 24, 9, 2}))
        << "guests are not counted twice";
    for (const char* damaged :
         {"", "cpu0 1 2 3 4\nintr 1\n", "cpu 1 2 3\ncpu0 1 2 3 4\n", "cpu 1 2 3 4.5\n",
          "cpu 18446744073709551616 2 3 4\n", "cpu 1 2 18446744073709551615 4 5 6\n"})
        EXPECT_FALSE(parseProcStat(damaged)) << damaged;

    EXPECT_EQ(parseMeminfo("MemAvailable:\t30\nMemTotal: 100"), (MemoryPages{70, 1024, 102'400}));
    for (const char* damaged : {"MemAvailable: 30 kB\n", "MemTotal: 100 kB\nMemAvailable: 101 kB\n",
                                "MemTotal: 18446744073709551615 kB\nMemAvailable: 1 kB\n"})
        EXPECT_FALSE(parseMeminfo(damaged)) << damaged;
}

} // namespace
} // namespace tallywick
