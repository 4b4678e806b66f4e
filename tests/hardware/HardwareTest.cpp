#include "hardware/HardwareFigures.h"
#include "hardware/HardwareService.h"
#include "platform/files/FileAccess.h"
#include "platform/machine/linux/HostStatistics.h"
#include "platform/machine/linux/MountRules.h"

#include <QLocale>

#include <gtest/gtest.h>

#include <future>

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
        const auto memory = parseMeminfo(read("meminfo"));
        EXPECT_EQ(cpuPercent(parseProcStat(read("stat")).value(),
                             parseProcStat(read("stat.later")).value()),
                  row.cpu);
        EXPECT_EQ(memory ? memoryPercent(*memory) : std::nullopt, row.memory);

        std::vector<MountedVolume> mounted;
        for (const auto& [mount, isLocal] : selectVolumes(
                 parseMountInfo(read("mountinfo")), hiddenInFstab(read("fstab")), linuxMountRules))
            mounted.push_back({mount.mountPoint, {}, 1000, {}, {}, isLocal, {}});
        std::string shown;
        for (const VolumeInfo& volume : shownVolumes(mounted, "File System", QLocale::c()))
            shown += volume.name + " at " + volume.url.native() + ", ";
        EXPECT_EQ(shown, row.volumes);
    }
}

TEST(HardwareFigures, StayWithinTheirBoundsAndCountNoDamagedFigure) {
    EXPECT_EQ(parseProcStat("intr 5\ncpu  1 2 3 4 5 6 7 8 900 900\n"), (CpuTicks{1, 24, 9, 2}))
        << "guests are not counted twice";
    for (const char* damaged : {"", "cpu0 1 2 3 4\nintr 1\n", "cpu 1 2 3\ncpu0 1 2 3 4\n",
                                "cpu 1 2 3 4.5\n", "cpu 18446744073709551616 2 3 4\n"})
        EXPECT_FALSE(parseProcStat(damaged)) << damaged;
    EXPECT_EQ(parseMeminfo("MemAvailable:\t30\nMemTotal: 100"), (MemoryPages{70, 1024, 102'400}));
    for (const char* damaged : {"MemAvailable: 30 kB\n", "MemTotal: 100 kB\nMemAvailable: 101 kB\n",
                                "MemTotal: 18446744073709551615 kB\nMemAvailable: 1 kB\n"})
        EXPECT_FALSE(parseMeminfo(damaged)) << damaged;

    EXPECT_EQ(cpuPercent({1, 2, 3, 4}, {1, 2, 3, 4}), std::nullopt);
    EXPECT_EQ(cpuPercent({100, 0, 0, 0}, {40, 25, 75, 0}), 25) << "backwards";
    EXPECT_EQ(memoryPercent({5, 4096, 16'384}), 100) << "more than there is";
    EXPECT_EQ(memoryPercent({1ULL << 52, 4096, 16'384}), 100) << "more than 64 bits count";
    EXPECT_EQ(memoryPercent({1, 4096, 0}), std::nullopt);
}

TEST(ShownVolumes, AreLocalBrowsableAndNotEmptyWithANameOnOneLine) {
    const std::optional<bool> unknown;
    const std::pair<MountedVolume, std::string> rows[] = {
        // place, name, total, important, available, local, browsable
        {{"/mnt/x", {}, 1, {}, {}, true, unknown}, "x, 0 of 1"},
        {{"/mnt/x", {}, 1, {}, {}, true, false}, ""},
        {{"/mnt/x", {}, 1, {}, {}, false, true}, ""},
        {{"/mnt/x", {}, 0, {}, {}, true, true}, ""},
        // The free capacity is that for important usage, where it is known.
        {{"/mnt/x", {}, 10, 0, 5, true, true}, "x, 5 of 10"},
        {{"/mnt/x", {}, 10, 1, 5, true, true}, "x, 1 of 10"},
        {{"/mnt/x", {}, 10, 11, 1, true, true}, "x, 10 of 10"},
        {{"/", " ", 9, 4, 4, true, true}, "Macintosh HD, 4 of 9"},
        {{"/Volumes/Backup/", {}, 9, 4, 4, true, true}, "Backup, 4 of 9"},
        {{"/mnt/x", "two\nlines", 9, 4, 4, true, true}, "two\uFFFDlines, 4 of 9"},
        {{"/mnt/x", "Gr\xFCn", 9, 4, 4, true, true}, "Gr\uFFFDn, 4 of 9"},
    };
    for (const auto& [mounted, expected] : rows) {
        std::string shown;
        for (const VolumeInfo& volume : shownVolumes({mounted}, "Macintosh HD", QLocale::c()))
            shown += volume.name + ", " + std::to_string(volume.free) + " of "
                     + std::to_string(volume.total);
        EXPECT_EQ(shown, expected);
    }
}

TEST(ShownVolumes, AreSortedAsAFileBrowserSortsThem) {
    std::vector<MountedVolume> mounted;
    for (const char* name : {"zoo", "Disk 10", "disk 9", "Öl 2", "DISK 9", "Öl 010", "Alpha"})
        mounted.push_back({"/" + std::string(name), name, 9, 4, 4, true, true});
    mounted.push_back({"/", "the root", 9, 4, 4, true, true});
    const auto order = [&](const QLocale& locale) {
        std::string names;
        for (const VolumeInfo& volume : shownVolumes(mounted, "Root", locale))
            names += volume.name + ", ";
        return names;
    };
    // A letter with an umlaut stands with its base letter in English, at the end in Swedish.
    EXPECT_EQ(order(QLocale::c()), "the root, Alpha, disk 9, DISK 9, Disk 10, Öl 2, Öl 010, zoo, ");
    EXPECT_EQ(order(QLocale::Swedish),
              "the root, Alpha, disk 9, DISK 9, Disk 10, zoo, Öl 2, Öl 010, ");
}

/// A machine of which the second look at the processors and the third at the memory fail.
struct FakeStatistics : HostStatistics {
    std::optional<CpuTicks> cpuTicks() override {
        static constexpr std::optional<CpuTicks> ticks[] = {
            {{10, 0, 0, 0}}, {}, {{20, 0, 30, 0}}, {{40, 0, 30, 0}}};
        return ticks[looks];
    }
    std::optional<MemoryPages> memoryPages() override {
        static constexpr std::optional<MemoryPages> pages[] = {
            {{1, 1, 2}}, {{1, 1, 4}}, {}, {{1, 1, 1}}};
        return pages[looks++];
    }
    std::size_t looks = 0;
};

struct FakeVolumes : MountedVolumes {
    std::vector<MountedVolume> list() override {
        return {{"/", std::nullopt, 10, 4, 4, true, true}};
    }
    std::string unnamedRootName() const override { return "Root"; }
};

TEST(HardwareService, AnswersInTurnUntilAnAnswerDestroysIt) {
    auto service = std::make_unique<HardwareService>(std::make_unique<FakeStatistics>(),
                                                     std::make_unique<FakeVolumes>());
    std::vector<HardwareSnapshot> samples;
    for (int i = 0; i < 4; ++i)
        service->sample([&](HardwareSnapshot sample) { samples.push_back(sample); });
    const auto end = std::make_shared<std::promise<std::vector<VolumeInfo>>>();
    service->volumes([&service, end](const auto& volumes) {
        auto owned = std::make_shared<int>();
        const std::weak_ptr<int> waiting = owned;
        service->sample([owned](HardwareSnapshot) { ADD_FAILURE() << "not dropped"; });
        owned.reset();
        EXPECT_FALSE(waiting.expired());
        service.reset();
        EXPECT_TRUE(waiting.expired());
        end->set_value(volumes);
    });
    EXPECT_EQ(end->get_future().get(), (std::vector<VolumeInfo>{{"/", "Root", 4, 10}}));
    // Since the last sample that could be read.
    EXPECT_EQ(samples, (std::vector<HardwareSnapshot>{{{}, 50}, {{}, 25}, {25, {}}, {100, 100}}));
}

} // namespace
} // namespace tallywick
