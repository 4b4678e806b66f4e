#include "platform/NetworkPath.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <net/if.h>
#include <net/route.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <vector>

namespace tallywick {
namespace {

using ::testing::ElementsAre;
using Status = NetworkPathStatus;

/// Moves this process to a network of its own, which has a loopback interface and no route.
bool enterEmptyNetwork() {
    return ::unshare(CLONE_NEWNET) == 0 || ::unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0;
}

/// A socket to ask the kernel's network through.
class Routes {
  public:
    Routes() : descriptor(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {}
    ~Routes() { ::close(descriptor); }
    Routes(const Routes&) = delete;
    Routes& operator=(const Routes&) = delete;

    void bringUpLoopback() const {
        ifreq request{};
        std::strncpy(request.ifr_name, "lo", IFNAMSIZ - 1);
        request.ifr_flags = IFF_UP | IFF_RUNNING;
        ASSERT_EQ(::ioctl(descriptor, SIOCSIFFLAGS, &request), 0) << std::strerror(errno);
    }

    /// The default route; where it leads does not matter.
    void change(unsigned long command) const {
        char device[] = "lo";
        rtentry route{};
        route.rt_dst.sa_family = AF_INET;
        route.rt_genmask.sa_family = AF_INET;
        route.rt_gateway.sa_family = AF_INET;
        route.rt_flags = RTF_UP;
        route.rt_dev = device;
        ASSERT_EQ(::ioctl(descriptor, command, &route), 0) << std::strerror(errno);
    }

  private:
    int descriptor;
};

/// Whether this system lets us, tried in a process of its own.
bool mayEnterEmptyNetwork() {
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(enterEmptyNetwork() ? EXIT_SUCCESS : EXIT_FAILURE);
    int status = 0;
    return ::waitpid(child, &status, 0) == child && status == EXIT_SUCCESS;
}

TEST(NetworkPathTest, ReportsThePresentStatusAndEveryChangeUntilStopped) {
    if (!mayEnterEmptyNetwork())
        GTEST_SKIP() << "this system lets nobody have a network of their own";
    ASSERT_TRUE(enterEmptyNetwork());
    ::setenv("QT_NO_GLIB", "1", 1); // its event loop keeps a descriptor to the end of the process
    int argc = 0;
    QCoreApplication application(argc, nullptr);
    const Routes routes;
    routes.bringUpLoopback();

    std::vector<Status> reported;
    const auto waitFor = [&](std::size_t count) {
        QElapsedTimer waited;
        waited.start();
        while (reported.size() < count && waited.elapsed() < 20'000)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 100);
    };
    const auto path = systemNetworkPath();
    path->start([&](Status status) { reported.push_back(status); });
    waitFor(1);
    ASSERT_THAT(reported, ElementsAre(Status::unsatisfied));

    routes.change(SIOCADDRT);
    waitFor(2);
    routes.change(SIOCDELRT);
    waitFor(3);
    EXPECT_THAT(reported, ElementsAre(Status::unsatisfied, Status::satisfied, Status::unsatisfied));

    path->stop();
    routes.change(SIOCADDRT);
    QCoreApplication::processEvents();
    EXPECT_EQ(reported.size(), 3U);
}

} // namespace
} // namespace tallywick
