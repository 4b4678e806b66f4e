#include "platform/desktop/linux/Activation.h"
#include "support/PrivateBus.h"

#include <QDBusMessage>

#include <future>

namespace tallywick {
namespace {

using namespace std::chrono_literals;
using testing::eventually;
using testing::PrivateBus;

/// The answer to a request that is made while the event loop runs.
bool activates(const QDBusConnection& bus, int process) {
    auto answer = std::async([&] { return activateApplication(bus, process, "token", 30s); });
    while (answer.wait_for(0s) != std::future_status::ready)
        QCoreApplication::processEvents();
    return answer.get();
}

TEST(Activation, ComesForwardWhateverItIsAskedFor) {
    testing::runApart([] {
        const PrivateBus bus;
        const QDBusConnection there = bus.connection("there");
        const auto process = static_cast<int>(QCoreApplication::applicationPid());
        const auto send = [&](const char* method, const QVariantList& arguments) {
            QDBusMessage message = QDBusMessage::createMethodCall(
                activationService(process), QStringLiteral("/com/corvane/tallywick"),
                QStringLiteral("org.freedesktop.Application"), QString::fromLatin1(method));
            message.setArguments(arguments);
            there.send(message);
        };
        int calls = 0;
        std::string lastToken;
        const QDBusConnection none(QStringLiteral("none"));
        const SessionActivation idle(none, [](const auto&) { ADD_FAILURE(); });
        EXPECT_FALSE(activates(none, process)) << "no bus";
        EXPECT_FALSE(activates(there, process)) << "nobody listens yet";
        {
            const SessionActivation listener(bus.connection("here"), [&](const auto& token) {
                ++calls;
                lastToken = token;
            });
            EXPECT_TRUE(activates(there, process));
            EXPECT_EQ(lastToken, "token");
            EXPECT_FALSE(activates(there, process + 1)) << "another process";
            EXPECT_EQ(calls, 1);

            send("Open", {QStringList{QStringLiteral("file:///")}, QVariantMap()});
            EXPECT_TRUE(eventually([&] { return calls == 2; }));
            EXPECT_EQ(lastToken, "");
            send("ActivateAction",
                 {QStringLiteral("quit"), QVariantList{1},
                  QVariantMap{{QStringLiteral("desktop-startup-id"), QStringLiteral("older")}}});
            EXPECT_TRUE(eventually([&] { return calls == 3; }));
            EXPECT_EQ(lastToken, "older");
            send("Activate", {QStringLiteral("no map")});
            EXPECT_TRUE(activates(there, process)) << "after a request that makes no sense";
            EXPECT_EQ(calls, 4);

            EXPECT_FALSE(activateApplication(there, process, {}, 200ms)) << "too busy to answer";
            EXPECT_TRUE(eventually([&] { return calls == 5; }));
        }
        EXPECT_FALSE(activates(there, process)) << "nobody listens any more";
    });
}

} // namespace
} // namespace tallywick
