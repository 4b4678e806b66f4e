#include "base/Mutex.h"
#include "platform/MountedVolumes.h"
#include "platform/linux/CapacityProbe.h"
#include "platform/linux/MountRules.h"
#include "platform/linux/VolumeLabels.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <sys/statvfs.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <thread>

namespace tallywick {
namespace {

namespace fs = std::filesystem;

TEST(MountTable, ReadsWhatHasItsForm) {
    struct Case {
        const char* name;
        std::string line;
        std::vector<Mount> mounts;
    };
    const Mount plain{36, "98:0", "/", "/mnt/x", "ext4", "/dev/sda1"};
    const Case cases[] = {
        {"no optional field", "36 35 98:0 / /mnt/x rw - ext4 /dev/sda1 rw", {plain}},
        {"several", "36 35 98:0 / /mnt/x rw shared:1 master:2 - ext4 /dev/sda1 rw", {plain}},
        {"nothing after the source", "36 35 98:0 / /mnt/x rw - ext4 /dev/sda1", {plain}},
        {"no source",
         "36 35 98:0 / /mnt/x rw - ext4",
         {Mount{36, "98:0", "/", "/mnt/x", "ext4", ""}}},
        {"escaped blanks, line ends and backslashes",
         R"(36 35 98:0 /a\040b /mnt/\011\012\134040\043 rw - ext4 /dev/x\040y rw)",
         {Mount{36, "98:0", "/a b", "/mnt/\t\n\\040#", "ext4", "/dev/x y"}}},
        {"bytes that are not UTF-8, escaped or not",
         "36 35 98:0 / /mnt/\xFC\\374 rw - ext4 /dev/sda1 rw",
         {Mount{36, "98:0", "/", "/mnt/\xFC\xFC", "ext4", "/dev/sda1"}}},
        {"what is no escape",
         R"(36 35 98:0 / /mnt/\09\400\000\8\04 rw - ext4 \ rw)",
         {Mount{36, "98:0", "/", R"(/mnt/\09\400\000\8\04)", "ext4", "\\"}}},
        {"an empty line", "", {}},
        {"no separator", "36 35 98:0 / /mnt/x rw shared:1 ext4 /dev/sda1 rw", {}},
        {"no type", "36 35 98:0 / /mnt/x rw -", {}},
        {"a relative mount point", "36 35 98:0 / mnt rw - ext4 /dev/sda1 rw", {}},
        {"a number past 64 bits", "18446744073709551616 35 98:0 / /x rw - ext4 /dev/a rw", {}},
    };
    const std::string other = "1 2 3:4 / /other rw - xfs /dev/other rw";
    for (const auto& row : cases) {
        std::vector<Mount> expected = row.mounts;
        expected.push_back({1, "3:4", "/", "/other", "xfs", "/dev/other"});
        EXPECT_EQ(parseMountInfo(row.line + "\n" + other), expected) << row.name;
    }
}

TEST(MountRules, ChooseOneMountForEachVolume) {
    const struct {
        const char* name;
        const char* table; ///< device, root, mount point, type and source of each mount
        const char* volumes;
    } cases[] = {
        {"the whole is preferred to a part mounted before",
         "8:1 /part /a ext4 /dev/sda1|8:1 / /b ext4 /dev/sda1", "/b"},
        {"the root volume is preferred to the whole",
         "8:1 / /sysroot ext4 /dev/sda1|8:1 /deploy / ext4 /dev/sda1", "/"},
        {"the first of equals", "8:1 / /a ext4 /dev/sda1|8:1 / /b ext4 /dev/sda1", "/a"},
        {"a mount that fstab hides does not stand for its file system",
         "8:1 / /hidden ext4 /dev/sda1|8:1 /part /a ext4 /dev/sda1", "/a"},
        {"the last mount at a place covers the others",
         "8:1 / /a ext4 /dev/sda1|0:9 / /a nfs server:/x", "/a on the network"},
        {"a covered mount does not stand for its file system",
         "8:1 / /a ext4 /dev/sda1|8:2 / /a ext4 /dev/sdb1|8:1 /part /b ext4 /dev/sda1", "/a /b"},
        {"places that only begin like hidden ones",
         "8:1 / /bootstrap ext4 /dev/sda1|8:2 / /run/mediaold ext4 /dev/sdb1", "/bootstrap"},
        {"names that begin with a dot", "8:1 / /home/u/.vault ext4 /dev/sda1", ""},
        {"a program's file system that claims a device", "0:9 / /a fuse.any /dev/sda1", ""},
        {"a program's file system without a name", "0:9 / /a fuse /dev/fuse", ""},
        {"a root on a file server", "0:9 / / nfs server:/x", "/ on the network"},
        {"a root that is an image", "7:0 / / squashfs /dev/loop0", "/"},
        {"a root in memory", "0:9 / / tmpfs tmpfs", "/"},
        {"memory elsewhere", "0:9 / /tmp tmpfs tmpfs", ""},
    };
    for (const auto& row : cases) {
        std::string text;
        std::string_view rest = row.table;
        while (!rest.empty()) {
            std::istringstream fields(std::string(rest.substr(0, rest.find('|'))));
            rest.remove_prefix(std::min(rest.size(), rest.substr(0, rest.find('|')).size() + 1));
            std::string device, root, mountPoint, type, source;
            fields >> device >> root >> mountPoint >> type >> source;
            text += "1 1 " + device + " " + root + " " + mountPoint + " rw - " + type + " " + source
                    + " rw\n";
        }
        std::string volumes;
        for (const auto& [mount, isLocal] :
             selectVolumes(parseMountInfo(text), {"/hidden"}, linuxMountRules))
            volumes += (volumes.empty() ? "" : " ") + mount.mountPoint.native()
                       + (isLocal ? "" : " on the network");
        EXPECT_EQ(volumes, row.volumes) << row.name;
    }
}

TEST(VolumeLabels, BelongToTheDeviceThatTheirLinkLeadsTo) {
    const testing::TemporaryFolder folder;
    fs::create_directory(folder / "by-label");
    for (const char* device : {"sda1", "dm-0", "sdb1"})
        std::ofstream(folder / device);
    fs::create_symlink("dm-0", folder / "vg-root");
    fs::create_symlink("../sda1", folder / R"(by-label/My\x20Disk\x2f\xc3\xbc)");
    fs::create_symlink("../dm-0", folder / R"(by-label/odd\x4\xzz\x)");
    fs::create_symlink("../gone", folder / "by-label/dangling");

    const VolumeLabels labels(folder / "by-label");
    EXPECT_EQ(labels.labelOf((folder / "sda1").native()), "My Disk/ü");
    EXPECT_EQ(labels.labelOf((folder / "vg-root").native()), R"(odd\x4\xzz\x)");
    EXPECT_EQ(labels.labelOf((folder / "sdb1").native()), std::nullopt);
    EXPECT_EQ(labels.labelOf((folder / "gone").native()), std::nullopt);
    EXPECT_EQ(labels.labelOf("sda1"), std::nullopt);
    EXPECT_EQ(VolumeLabels(folder / "none").labelOf((folder / "sda1").native()), std::nullopt);
}

/// Answers for every mount but those that hang, until they are released.
class HangingSystem {
  public:
    std::optional<Capacity> ask(const Mount& mount) {
        MutexLock lock(mutex);
        while (hanging.contains(mount.mountPoint))
            changed.wait(mutex);
        return capacity;
    }
    void hang(const fs::path& mountPoint) {
        MutexLock lock(mutex);
        hanging.insert(mountPoint);
    }
    void release() {
        MutexLock lock(mutex);
        hanging.clear();
        changed.notifyAll();
    }
    void answer(std::optional<Capacity> newCapacity) {
        MutexLock lock(mutex);
        capacity = newCapacity;
    }

  private:
    Mutex mutex;
    Condition changed;
    std::set<fs::path> hanging GUARDED_BY(mutex);
    std::optional<Capacity> capacity GUARDED_BY(mutex);
};

class CapacityProbeTest : public ::testing::Test {
  protected:
    static constexpr std::chrono::milliseconds noTime{0};
    static constexpr std::chrono::hours everyTime{1};

    static Mount mountAt(const std::string& place) {
        return {1, "8:1", "/", place, "ext4", "/dev/sda1"};
    }

    void TearDown() override {
        probe.reset();
        system->release();
        while (system.use_count() > 1) // until every thread has let go
            std::this_thread::yield();
    }

    const std::shared_ptr<HangingSystem> system = std::make_shared<HangingSystem>();
    std::optional<CapacityProbe> probe{
        [asked = system](const Mount& mount) { return asked->ask(mount); }};
    const Mount good = mountAt("/good");
    const Mount bad = mountAt("/bad");
    const Capacity before{100, 50};
    const Capacity after{100, 49};
};

TEST_F(CapacityProbeTest, GivesTheLastAnswerWhileANewOneIsOwed) {
    system->answer(before);
    EXPECT_EQ(probe->capacity(bad, everyTime), before);
    system->hang("/bad");
    system->answer(after);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(probe->capacity(bad, noTime), before);
    // A second question would hang here.
    EXPECT_EQ(probe->capacity(bad, everyTime), before);
    EXPECT_EQ(probe->capacity(good, everyTime), after);

    system->release();
    while (probe->capacity(bad, everyTime) != after) // its thread has to come to its end
        std::this_thread::yield();
    system->answer(std::nullopt);
    EXPECT_EQ(probe->capacity(bad, everyTime), std::nullopt) << "an old answer to a new question";
}

TEST_F(CapacityProbeTest, LeavesOnlySoManyQuestionsBehind) {
    system->answer(before);
    EXPECT_EQ(probe->capacity(good, everyTime), before);
    for (std::size_t i = 0; i < CapacityProbe::maximumUnanswered; ++i) {
        system->hang("/bad" + std::to_string(i));
        EXPECT_EQ(probe->capacity(mountAt("/bad" + std::to_string(i)), noTime), std::nullopt);
    }
    system->answer(after);
    EXPECT_EQ(probe->capacity(mountAt("/new"), everyTime), std::nullopt);
    EXPECT_EQ(probe->capacity(good, everyTime), before);
    probe->keepOnly({});
    EXPECT_EQ(probe->capacity(good, everyTime), std::nullopt);

    system->release();
    while (probe->capacity(good, everyTime) != after)
        std::this_thread::yield();
}

TEST_F(CapacityProbeTest, IsDestroyedWithoutWaitingForAnAnswer) {
    system->hang("/bad");
    EXPECT_EQ(probe->capacity(bad, noTime), std::nullopt);
    probe.reset();
}

/// The last mount at the place, in this system's own table.
std::optional<Mount> mountedAt(const fs::path& place) {
    std::ifstream table("/proc/self/mountinfo");
    std::optional<Mount> found;
    for (const Mount& mount :
         parseMountInfo(std::string(std::istreambuf_iterator<char>(table), {}))) {
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
    other = *proc;
    other.mountPoint = "/proc/version";
    EXPECT_EQ(askCapacity(other), std::nullopt) << "no folder";
    other.mountPoint = "/proc/none";
    EXPECT_EQ(askCapacity(other), std::nullopt) << "nothing there";
}

TEST(SystemMountedVolumes, AgreeWithTheSystemsOwnFigures) {
    const auto volumes = systemMountedVolumes()->list();
    bool foundRoot = false;
    for (const MountedVolume& volume : volumes) {
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
