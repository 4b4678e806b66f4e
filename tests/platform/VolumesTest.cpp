#include "platform/machine/MountedVolumes.h"
#include "platform/machine/linux/CapacityProbe.h"
#include "platform/machine/linux/MountRules.h"
#include "platform/machine/linux/MountTable.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <sys/statvfs.h>

#include <atomic>
#include <sstream>
#include <thread>

namespace tallywick {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using testing::readAll;

TEST(MountTable, ReadsWhatHasItsForm) {
    EXPECT_THAT(parseMountInfo("36 35 98:0 /part /x rw shared:1 master:2 - ext4 /dev/sda1 rw\n"
                               "\n"
                               "1 2 8:0 / /no-separator rw shared:1 ext4 /dev/sda1 rw\n"
                               "2 2 8:0 / /no-type rw -\n"
                               "3 2 8:0 / relative rw - ext4 /dev/sda1 rw\n"
                               "18446744073709551616 2 8:0 / /too-large rw - ext4 /dev/sda1 rw\n"
                               "37 35 98:1 /a\\040b /\\011\\012\\134040\\374\xFC rw - ext4 \\040\n"
                               R"(38 35 98:2 / /\09\400\000\8\04 rw - ext4)"),
                ElementsAre(Mount{36, "98:0", "/part", "/x", "ext4", "/dev/sda1"},
                            Mount{37, "98:1", "/a b", "/\t\n\\040\xFC\xFC", "ext4", " "},
                            Mount{38, "98:2", "/", R"(/\09\400\000\8\04)", "ext4", ""}));
}

TEST(MountRules, ChooseOneMountForEachVolume) {
    const struct {
        const char* name;
        const char* table; ///< device, root, mount point, type and source of each mount
        const char* volumes;
    } cases[] = {
        {"the whole is preferred to a part mounted before",
         "8:1 /part /a ext4 /dev/sda1  8:1 / /b ext4 /dev/sda1  8:1 / /c ext4 /dev/sda1", " /b"},
        {"the root volume is preferred to the whole",
         "8:1 / /sysroot ext4 /dev/sda1  8:1 /deploy / ext4 /dev/sda1", " /"},
        {"a mount that fstab hides does not stand for its file system",
         "8:1 / /hidden ext4 /dev/sda1  8:1 /part /a ext4 /dev/sda1", " /a"},
        {"nor does one that another one at its place covers",
         "8:1 / /a ext4 /dev/sda1  0:9 / /a nfs server:/x  8:1 /part /b ext4 /dev/sda1",
         " /a(network) /b"},
        {"places of the system, places that only begin like them, and names with a dot",
         "8:1 / /boot ext4 /dev/sda1  8:2 / /bootstrap ext4 /dev/sda2  "
         "8:3 / /run/media/x ext4 /dev/sda3  8:4 / /run/mediaold ext4 /dev/sda4  "
         "8:5 / /home/u/.vault ext4 /dev/sda5",
         " /bootstrap /run/media/x"},
        {"a program's file systems, whatever they claim",
         "0:9 / /a fuse.any /dev/sda1  0:10 / /b fuse /dev/fuse", ""},
        {"a root on a file server", "0:9 / / nfs server:/x", " /(network)"},
        {"a root that is an image", "7:0 / / squashfs /dev/loop0", " /"},
        {"memory", "0:9 / / tmpfs tmpfs  0:10 / /tmp tmpfs tmpfs", " /"},
    };
    for (const auto& row : cases) {
        std::vector<Mount> mounts;
        std::istringstream table(row.table);
        for (Mount mount;
             table >> mount.device >> mount.root >> mount.mountPoint >> mount.type >> mount.source;)
            mounts.push_back(mount);
        std::string volumes;
        for (const auto& [mount, isLocal] : selectVolumes(mounts, {"/hidden"}, linuxMountRules))
            volumes += " " + mount.mountPoint.native() + (isLocal ? "" : "(network)");
        EXPECT_EQ(volumes, row.volumes) << row.name;
    }
}

TEST(VolumeLabels, BelongToTheDeviceThatTheirLinkLeadsTo) {
    const testing::TemporaryFolder folder;
    testing::runIn(folder.path(), "mkdir labels; touch sda1 dm-0 sdb1; ln -s dm-0 vg-root;"
                                  R"(ln -s ../sda1 'labels/My\x20Disk\x2f\xc3\xbc';)"
                                  R"(ln -s ../dm-0 'labels/odd\x4\xzz\x'; ln -s gone labels/gone)");
    const VolumeLabels labels(folder / "labels");
    EXPECT_EQ(labels.labelOf((folder / "sda1").native()), "My Disk/ü");
    EXPECT_EQ(labels.labelOf((folder / "vg-root").native()), R"(odd\x4\xzz\x)");
    EXPECT_EQ(labels.labelOf((folder / "sdb1").native()), std::nullopt);
    EXPECT_EQ(labels.labelOf("sda1"), std::nullopt) << "a source that is no path";
}

/// A system that does not answer for the mounts at "/bad…" while they hang.
struct HangingSystem {
    std::atomic<bool> hangs = false;
    std::atomic<std::int64_t> available = 50;

    Capacity capacityOf(const Mount& mount) const {
        if (mount.mountPoint.native().starts_with("/bad"))
            hangs.wait(true);
        return {100, available};
    }
    void release() {
        hangs = false;
        hangs.notify_all();
    }
};

TEST(CapacityProbe, IsHeldUpByNoFileSystem) {
    constexpr std::chrono::milliseconds noTime{0};
    constexpr std::chrono::hours everyTime{1};
    const auto mountAt = [](const std::string& place) {
        return Mount{1, "8:1", "/", place, "ext4", "/dev/sda1"};
    };
    const Mount good = mountAt("/good");
    const Mount bad = mountAt("/bad");
    const auto system = std::make_shared<HangingSystem>();
    {
        CapacityProbe probe([system](const Mount& mount) { return system->capacityOf(mount); });
        EXPECT_EQ(probe.capacity(bad, everyTime), (Capacity{100, 50}));
        system->hangs = true;
        system->available = 49;
        EXPECT_EQ(probe.capacity(bad, noTime), (Capacity{100, 50}));
        EXPECT_EQ(probe.capacity(bad, everyTime), (Capacity{100, 50})) << "asked again, it hangs";
        EXPECT_EQ(probe.capacity(good, everyTime), (Capacity{100, 49}));

        for (std::size_t i = 1; i < CapacityProbe::maximumUnanswered; ++i)
            EXPECT_EQ(probe.capacity(mountAt("/bad" + std::to_string(i)), noTime), std::nullopt);
        system->available = 48;
        EXPECT_EQ(probe.capacity(mountAt("/new"), everyTime), std::nullopt) << "too many hang";
        EXPECT_EQ(probe.capacity(good, everyTime), (Capacity{100, 49}));
        probe.keepOnly({});
        EXPECT_EQ(probe.capacity(good, everyTime), std::nullopt);

        system->release();
        while (probe.capacity(bad, everyTime) != Capacity{100, 48}) // its thread has to get there
            std::this_thread::yield();
        system->hangs = true;
        EXPECT_EQ(probe.capacity(bad, noTime), (Capacity{100, 48}));
    } // destroyed without waiting for an answer
    system->release();
    while (system.use_count() > 1) // until every thread has let go
        std::this_thread::yield();
}

/// The last mount at the place, in this system's own table.
std::optional<Mount> mountedAt(const fs::path& place) {
    std::optional<Mount> found;
    for (const Mount& mount : parseMountInfo(readAll("/proc/self/mountinfo"))) {
        if (mount.mountPoint == place)
            found = mount;
    }
    return found;
}

TEST(AskCapacity, AsksThatVeryMountOnly) {
    const auto proc = mountedAt("/proc"); // elsewhere the suite may have no mount for certain
    ASSERT_TRUE(proc);
    EXPECT_EQ(askCapacity(*proc), (Capacity{0, 0}));

    Mount other = *proc;
    other.id += 1'000'000;
    EXPECT_EQ(askCapacity(other), std::nullopt) << "covered by another mount";
    for (const char* place : {"/proc/version", "/proc/none"}) {
        other = *proc;
        other.mountPoint = place;
        EXPECT_EQ(askCapacity(other), std::nullopt) << place;
    }
}

TEST(SystemMountedVolumes, AgreeWithTheSystemsOwnFigures) {
    bool foundRoot = false;
    for (const MountedVolume& volume : systemMountedVolumes()->list()) {
        foundRoot = foundRoot || volume.mountPoint == "/";
        if (!volume.isLocal.value() || !volume.totalCapacity)
            continue;
        struct statvfs status {};
        ASSERT_EQ(::statvfs(volume.mountPoint.c_str(), &status), 0) << volume.mountPoint;
        EXPECT_EQ(static_cast<std::uint64_t>(*volume.totalCapacity),
                  status.f_blocks * status.f_frsize);
    }
    EXPECT_EQ(foundRoot, mountedAt("/").has_value())
        << "a changed root, as of chroot, is no mount of its own";
}

} // namespace
} // namespace tallywick
