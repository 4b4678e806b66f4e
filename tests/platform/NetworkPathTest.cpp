#include "platform/machine/NetworkPath.h"
#include "support/PrivateBus.h"

#include <gmock/gmock.h>

#include <net/if.h>
#include <net/route.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <vector>

namespace tallywick {
namespace {

using ::testing::ElementsAre;
using testing::eventually;
using Status = NetworkPathStatus;

char loopback[] = "lo";

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
    ifreq interface {};
    std::strncpy(interface.ifr_name, loopback, IFNAMSIZ - 1);
    interface.ifr_flags = IFF_UP | IFF_RUNNING;
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

    std::vector<Status> reported;
    const auto path = systemNetworkPath();
    path->start([&](Status status) { reported.push_back(status); });
    EXPECT_TRUE(eventually([&] { return reported.size() == 1; }));
    ask(SIOCADDRT, &route);
    EXPECT_TRUE(eventually([&] { return reported.size() == 2; }));
    ask(SIOCDELRT, &route);
    EXPECT_TRUE(eventually([&] { return reported.size() == 3; }));
    path->stop();
    ask(SIOCADDRT, &route);
    QCoreApplication::processEvents();
    EXPECT_THAT(reported, ElementsAre(Status::unsatisfied, Status::satisfied, Status::unsatisfied));
}

} // namespace
} // namespace tallywick
