#include "platform/machine/NetworkPath.h"

#include "platform/linux/Descriptors.h"

#include <QMetaObject>
#include <QSocketNotifier>

#include <linux/rtnetlink.h>
#include <net/route.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <fstream>
#include <limits>
#include <optional>
#include <string>
#include <utility>

namespace tallywick {

namespace {

bool leadsOut(unsigned long flags) { return (flags & RTF_UP) != 0 && (flags & RTF_REJECT) == 0; }

/// "Iface Destination Gateway Flags RefCnt Use Metric Mask …", numbers in hexadecimal digits, after
/// a line of headings.
bool hasDefaultRouteOfIpv4() {
    std::ifstream table("/proc/net/route");
    table.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    std::string interface, gateway, count, use, metric, rest;
    unsigned long destination = 0, flags = 0, mask = 0;
    while (table >> interface >> std::hex >> destination >> gateway >> flags >> count >> use
               >> metric >> mask
           && std::getline(table, rest))
        if (destination == 0 && mask == 0 && leadsOut(flags))
            return true;
    return false;
}

/// "destination prefix source prefix next-hop metric references use flags interface", in
/// hexadecimal digits.
bool hasDefaultRouteOfIpv6() {
    std::ifstream table("/proc/net/ipv6_route");
    std::string destination, source, sourcePrefix, nextHop, metric, references, use, rest;
    unsigned long prefix = 0, flags = 0;
    while (table >> std::hex >> destination >> prefix >> source >> sourcePrefix >> nextHop >> metric
               >> references >> use >> flags
           && std::getline(table, rest))
        if (prefix == 0 && leadsOut(flags))
            return true;
    return false;
}

/// Becomes readable when a route comes or goes.
UniqueFd routeMessages() {
    UniqueFd socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE));
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE;
    if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        socket.reset();
    return socket;
}

/// Reads all messages away; what they say stands in the tables too, whole ones and those that the
/// kernel had to drop.
void drain(int socket) {
    std::array<char, 4096> message{};
    while (::recv(socket, message.data(), message.size(), 0) >= 0 || errno == ENOBUFS
           || errno == EINTR) {
    }
}

class RouteNetworkPath final : public NetworkPath {
  public:
    void start(std::function<void(NetworkPathStatus)> onUpdate) override {
        messages = routeMessages();
        if (!messages)
            return;
        report = std::move(onUpdate);
        last.reset();
        notifier = std::make_unique<QSocketNotifier>(messages.get(), QSocketNotifier::Read);
        QObject::connect(notifier.get(), &QSocketNotifier::activated, notifier.get(), [this] {
            drain(messages.get());
            update();
        });
        QMetaObject::invokeMethod(
            notifier.get(), [this] { update(); }, Qt::QueuedConnection);
    }

    void stop() override {
        notifier.reset();
        messages.reset();
    }

  private:
    void update() {
        const auto status = hasDefaultRouteOfIpv4() || hasDefaultRouteOfIpv6()
                                ? NetworkPathStatus::satisfied
                                : NetworkPathStatus::unsatisfied;
        if (std::exchange(last, status) != status)
            report(status);
    }

    std::function<void(NetworkPathStatus)> report;
    std::optional<NetworkPathStatus> last;
    UniqueFd messages;
    std::unique_ptr<QSocketNotifier> notifier; ///< goes before what it watches
};

} // namespace

std::unique_ptr<NetworkPath> systemNetworkPath() { return std::make_unique<RouteNetworkPath>(); }

} // namespace tallywick
