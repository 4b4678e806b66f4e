#include "platform/machine/MountedVolumes.h"
#include "platform/machine/NetworkPath.h"
#include "platform/machine/linux/CapacityProbe.h"
#include "platform/machine/linux/MountRules.h"
#include "support/PrivateBus.h"

#include <gmock/gmock.h>

#include <net/if.h>
#include <net/route.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/statvfs.h>

#include <atomic>
#include <sstream>
#include <thread>

namespace tallywick {
namespace {

using ::testing::ElementsAre;
using testing::eventually;

/// Asks the kernel's network for something.
void ask(unsigned long command, void* request) {
    const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(::ioctl(socket, command, request), 0) << std::strerror(errno);
    ::close(socket);
}

TEST(NetworkPathTest, ReportsThePresentStatusAndEveryChangeUntilStopped) {
    // A network of this process's own has a loopback interface and no route.
    if (::unshare(CLONE_NEWNET) != 0 && ::unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0)
        GTEST_SKIP() << "this system lets nobody have a network of their own";
    ::setenv("QT_NO_GLIB", "1", 1); // its event loop keeps a descriptor to the end of the process
    int argc = 0;
    const QCoreApplication application(argc, nullptr);
    char loopback[] = "lo";
    ifreq interface {
        .ifr_ifrn = {.ifrn_name = "lo"}, .ifr_ifru = {.ifru_flags = IFF_UP }
    };
    ask(SIOCSIFFLAGS, &interface);
    rtentry route{}; // the default one; where it leads does not matter
    route.rt_dst.sa_family = route.rt_genmask.sa_family = route.rt_gateway.sa_family = AF_INET;
    route.rt_flags = RTF_UP;
    route.rt_dev = loopback;
    rtentry unreachable = route; // one that leads nowhere and must not count
    unreachable.rt_flags |= RTF_REJECT;
    unreachable.rt_dev = nullptr;
    unreachable.rt_metric = 2;
    ask(SIOCADDRT, &unreachable);

    std::string reported;
    const auto path = systemNetworkPath();
    path->start([&](NetworkPathStatus status) {
        reported += status == NetworkPathStatus::satisfied ? "yes " : "no ";
    });
    EXPECT_TRUE(eventually([&] { return reported == "no "; }));
    ask(SIOCADDRT, &route);
    EXPECT_TRUE(eventually([&] { return reported == "no yes "; }));
    ask(SIOCDELRT, &route);
    EXPECT_TRUE(eventually([&] { return reported == "no yes no "; }));
    path->stop();
    ask(SIOCADDRT, &route);
    QCoreApplication::processEvents();
    EXPECT_EQ(reported, "no yes no ");
}

TEST(MountTable, ReadsWhatHasItsForm) {
    EXPECT_THAT(parseMountInfo("36 35 98:0 /part /x rw shared:1 master:2 - ext4 /dev/sda1 rw\n"
                               "\n"
                               "1 2 8:0 / /no-separator rw shared:1 ext4 /dev/sda1 rw\n"
                               "2 2 8:0 / /no-type rw -\n"
                               "3 2 8:0 / relative rw - ext4 /dev/sda1 rw\n"
                               "18446744073709551616 2 8:0 / /too-large rw - ext4 /dev/sda1 rw\n"
                               "37 35 98:1 /a\\040b /\\011\\134040\\374\xFC rw - ext4 \\040\n"
                               R"(38 35 98:2 / /\09\400\000\8\04 rw - ext4)"),
                ElementsAre(Mount{36, "98:0", "/part", "/x", "ext4", "/dev/sda1"},
                            Mount{37, "98:1", "/a b", "/\t\\040\xFC\xFC", "ext4", " "},
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
        {"neither a hidden nor a covered mount stands for its file system",
         "8:1 / /hidden ext4 /dev/sda1  8:1 / /a ext4 /dev/sda1  0:9 / /a nfs server:/x  "
         "8:1 /part /b ext4 /dev/sda1",
         " /a(network) /b"},
        {"places that only begin like those of the system",
         "8:2 / /bootstrap ext4 /dev/sda2  8:4 / /run/mediaold ext4 /dev/sda4", " /bootstrap"},
        {"a program's file systems, whatever they claim",
         "0:9 / /a fuse.any /dev/sda1  0:10 / /b fuse /dev/fuse", ""},
        {"a root on a file server", "0:9 / / nfs server:/x", " /(network)"},
        {"a root that is an image", "7:0 / / squashfs /dev/loop0", " /"},
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

TEST(CapacityProbe, IsHeldUpByNoFileSystem) {
    // While nothing is free, those at "/bad…" do not answer.
    const auto free = std::make_shared<std::atomic<std::int64_t>>(50);
    const auto mountAt = [](const std::string& place) {
        return Mount{1, "8:1", "/", place, "ext4", "/dev/sda1"};
    };
    const Mount good = mountAt("/good"), bad = mountAt("/bad");
    constexpr std::chrono::milliseconds noTime{0};
    constexpr std::chrono::hours everyTime{1};
    {
        CapacityProbe probe([free](const Mount& mount) {
            if (mount.mountPoint.native().starts_with("/bad"))
                free->wait(0);
            return Capacity{100, *free};
        });
        EXPECT_EQ(probe.capacity(bad, everyTime), (Capacity{100, 50}));
        *free = 0;
        EXPECT_EQ(probe.capacity(bad, noTime), (Capacity{100, 50}));
        EXPECT_EQ(probe.capacity(bad, everyTime), (Capacity{100, 50})) << "asked again, it hangs";
        EXPECT_EQ(probe.capacity(good, everyTime), (Capacity{100, 0}));
        for (std::size_t i = 1; i < CapacityProbe::maximumUnanswered; ++i)
            EXPECT_EQ(probe.capacity(mountAt("/bad" + std::to_string(i)), noTime), std::nullopt);
        EXPECT_EQ(probe.capacity(good, everyTime), (Capacity{100, 0})) << "the last one known";
        probe.keepOnly({});
        EXPECT_EQ(probe.capacity(good, everyTime), std::nullopt) << "too many hang";
    } // destroyed without waiting for an answer
    *free = 1;
    free->notify_all();
    while (free.use_count() > 1) // until every thread has let go
        std::this_thread::yield();
}

TEST(MountedVolumes, AgreeWithTheSystemsOwnFiguresOfThatVeryMount) {
    std::map<std::filesystem::path, Mount> mounted; // the last one at each place
    for (const Mount& mount : parseMountInfo(testing::readAll("/proc/self/mountinfo")))
        mounted[mount.mountPoint] = mount;
    bool foundRoot = false;
    for (const MountedVolume& volume : systemMountedVolumes()->list()) {
        foundRoot |= volume.mountPoint == "/";
        struct statvfs status {};
        if (!volume.totalCapacity || ::statvfs(volume.mountPoint.c_str(), &status) != 0)
            continue;
        EXPECT_EQ(static_cast<std::uint64_t>(*volume.totalCapacity),
                  status.f_blocks * status.f_frsize);
    }
    EXPECT_EQ(foundRoot, mounted.contains("/")) << "a changed root is no mount of its own";
}

} // namespace
} // namespace tallywick
