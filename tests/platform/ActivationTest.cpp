#include "platform/linux/SessionActivation.h"
#include "support/PrivateBus.h"

#include <QDBusMessage>

#include <future>

namespace tallywick {
namespace {

using testing::eventually;
using testing::PrivateBus;
using testing::runAndExit;

/// An application that never answers.
class Deaf : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

  public Q_SLOTS:
    void Activate(const QVariantMap&, const QDBusMessage& message) {
        message.setDelayedReply(true);
        ++calls;
    }

  public:
    int calls = 0;
};

/// The answer to a request that is made while the event loop runs.
bool activates(const QDBusConnection& bus, qint64 process,
               std::chrono::milliseconds limit = std::chrono::seconds(30)) {
    auto answer = std::async(std::launch::async, [&] {
        return activateApplication(bus, static_cast<int>(process), limit);
    });
    EXPECT_TRUE(eventually([&] {
        QTimer::singleShot(1, [] {}); // looks again soon
        return answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    }));
    return answer.get();
}

QDBusMessage request(const char* method) {
    return QDBusMessage::createMethodCall(
        QStringLiteral("com.corvane.tallywick.process%1").arg(QCoreApplication::applicationPid()),
        QStringLiteral("/com/corvane/tallywick"), QStringLiteral("org.freedesktop.Application"),
        QString::fromLatin1(method));
}

void comesForwardWhateverItIsAskedFor() {
    const PrivateBus bus;
    const QDBusConnection there = bus.connection("there");
    const qint64 process = QCoreApplication::applicationPid();
    int calls = 0;
    EXPECT_FALSE(activates(there, process)) << "nobody listens yet";
    {
        const SessionActivation listener(bus.connection("here"), [&] { ++calls; });
        EXPECT_TRUE(activates(there, process));
        EXPECT_EQ(calls, 1);
        EXPECT_FALSE(activates(there, process + 1)) << "another process";

        there.send(request("Open") << QStringList{QStringLiteral("file:///")} << QVariantMap());
        EXPECT_TRUE(eventually([&] { return calls == 2; }));
        there.send(request("ActivateAction")
                   << QStringLiteral("quit") << QVariantList{1} << QVariantMap());
        EXPECT_TRUE(eventually([&] { return calls == 3; }));
        there.send(request("Activate") << QStringLiteral("no map"));
        EXPECT_TRUE(activates(there, process)) << "after a request that makes no sense";
        EXPECT_EQ(calls, 4);
    }
    EXPECT_FALSE(activates(there, process)) << "nobody listens any more";
}

void waitsOnlySoLong() {
    const PrivateBus bus;
    QDBusConnection here = bus.connection("here");
    Deaf deaf;
    ASSERT_TRUE(here.registerObject(QStringLiteral("/com/corvane/tallywick"), &deaf,
                                    QDBusConnection::ExportAllSlots));
    ASSERT_TRUE(here.registerService(QStringLiteral("com.corvane.tallywick.process7")));
    EXPECT_FALSE(activates(bus.connection("there"), 7, std::chrono::milliseconds(200)));
    EXPECT_TRUE(eventually([&] { return deaf.calls == 1; }));
}

void isQuietWithoutABus() {
    const QDBusConnection none(QStringLiteral("none"));
    const SessionActivation listener(none, [] { ADD_FAILURE(); });
    EXPECT_FALSE(activateApplication(none, 1, std::chrono::seconds(30)));
}

TEST(Activation, ComesForwardWhateverItIsAskedFor) {
    EXPECT_EXIT(runAndExit(comesForwardWhateverItIsAskedFor),
                ::testing::ExitedWithCode(EXIT_SUCCESS), "");
}

TEST(Activation, WaitsOnlySoLongForAnAnswer) {
    EXPECT_EXIT(runAndExit(waitsOnlySoLong), ::testing::ExitedWithCode(EXIT_SUCCESS), "");
}

TEST(Activation, IsQuietWithoutABus) {
    EXPECT_EXIT(runAndExit(isQuietWithoutABus), ::testing::ExitedWithCode(EXIT_SUCCESS), "");
}

} // namespace
} // namespace tallywick

#include "ActivationTest.moc"
