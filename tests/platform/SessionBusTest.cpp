#include "platform/desktop/linux/Activation.h"
#include "platform/desktop/linux/Appearance.h"
#include "platform/desktop/linux/Notices.h"
#include "support/PrivateBus.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVirtualObject>
#include <QPointF>

#include <future>
#include <limits>
#include <utility>

namespace tallywick {
namespace {

using namespace std::chrono_literals;
using testing::eventually;
using testing::PrivateBus;

// Activation

/// The answer to a request that is made while the event loop runs.
bool activates(const QDBusConnection& bus, int process, Wish wish = Wish::comeForward) {
    auto answer = std::async([&] {
        return activateApplication(bus, process, {wish, "token"}, 30s);
    });
    while (answer.wait_for(0s) != std::future_status::ready)
        QCoreApplication::processEvents();
    return answer.get();
}

TEST(Activation, DoesWhatTheLauncherOffersAndOtherwiseComesForward) {
    testing::runApart([] {
        const PrivateBus bus;
        const QDBusConnection there = bus.connection("there");
        const auto process = static_cast<int>(QCoreApplication::applicationPid());
        const auto call = [&](const QString& method) {
            return QDBusMessage::createMethodCall(activationService(process),
                                                  u"/com/corvane/tallywick"_qs,
                                                  u"org.freedesktop.Application"_qs, method);
        };
        std::string tokens;
        const auto note = [&](const ActivationRequest& request) {
            tokens += std::to_string(static_cast<int>(request.wish)) + request.launchToken + " ";
        };
        const SessionActivation withoutABus(QDBusConnection(u"none"_qs), note);
        EXPECT_FALSE(activates(there, process)) << "nobody listens yet";
        {
            const SessionActivation listener(bus.connection("here"), note);
            EXPECT_TRUE(activates(there, process));
            EXPECT_FALSE(activates(there, process + 1)) << "another process";
            EXPECT_FALSE(activateApplication(there, process, {}, 200ms)) << "too busy to answer";
            there.send(call(u"Open"_qs) << QStringList{u"file:///"_qs} << QVariantMap());
            there.send(call(u"ActivateAction"_qs)
                       << u"quit"_qs << QVariantList{1}
                       << QVariantMap{{u"desktop-startup-id"_qs, u"older"_qs}});
            there.send(call(u"Activate"_qs) << u"no map"_qs);
            EXPECT_TRUE(activates(there, process)) << "after a request that makes no sense";
            for (const Wish wish : {Wish::refresh, Wish::mini, Wish::nothing})
                EXPECT_TRUE(activates(there, process, wish));
            EXPECT_EQ(tokens, "0token 0 0 0older 0token 1token 2token 3token ");
        }
        EXPECT_FALSE(activates(there, process)) << "nobody listens any more";
    });
}

// Appearance

const QString portalService = u"org.freedesktop.portal.Desktop"_qs;
const QString portalPath = u"/org/freedesktop/portal/desktop"_qs;
const QString ours = u"org.freedesktop.appearance"_qs;
const QString others = u"org.example"_qs;
const QString accentKey = u"accent-color"_qs;
const QString contrastKey = u"contrast"_qs;

/// The desktop's settings, which are answered in whatever shape they are given.
struct FakePortal final : QDBusVirtualObject {
    FakePortal(const QDBusConnection& sessionBus, const QVariant& settings)
        : bus(sessionBus), answer(settings) {
        EXPECT_TRUE(bus.registerVirtualObject(portalPath, this));
        EXPECT_TRUE(bus.registerService(portalService));
    }
    ~FakePortal() override {
        bus.unregisterService(portalService);
        bus.unregisterObject(portalPath);
    }
    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection&) override {
        asked = message.arguments();
        return bus.send(message.createReply(answer));
    }

    QDBusConnection bus;
    const QVariant answer;
    QVariantList asked;
};

QVariant moreContrastIn(const QString& settings) {
    using Settings = QMap<QString, QVariantMap>;
    qDBusRegisterMetaType<Settings>();
    return QVariant::fromValue(Settings{{settings, {{contrastKey, 1U}}}});
}

QVariantList change(const QString& settings, const QString& key, const QVariant& value) {
    return {settings, key, QVariant::fromValue(QDBusVariant(value))};
}

QVariantList accent(double red, double green, double blue) {
    QDBusArgument argument;
    argument.beginStructure();
    argument << red << green << blue;
    argument.endStructure();
    return change(ours, accentKey, QVariant::fromValue(argument));
}

void send(const QDBusConnection& portal, const QVariantList& arguments) {
    auto signal = QDBusMessage::createSignal(portalPath, u"org.freedesktop.portal.Settings"_qs,
                                             u"SettingChanged"_qs);
    signal.setArguments(arguments);
    EXPECT_TRUE(portal.send(signal));
}

TEST(Appearance, FollowsThePortalInWhatMakesSense) {
    testing::runApart([] {
        PortalAppearance(QDBusConnection(u"none"_qs)).start([] { ADD_FAILURE(); });
        const PrivateBus bus;
        const QDBusConnection desktop = bus.connection("desktop");
        PortalAppearance watched(bus.connection("watcher"));
        std::string changes;
        watched.start([&] {
            changes += watched.prefersHighContrast() ? "high " : "low ";
            changes += watched.accentColor() ? "colour, " : "none, ";
        });
        std::uint8_t red = 0;
        const auto changesUntilAColour = [&] {
            send(desktop, accent(++red / 255.0, 0, 0));
            EXPECT_TRUE(eventually([&] { return watched.accentColor() == RgbColor{red, 0, 0}; }));
            return std::exchange(changes, {});
        };
        const std::pair<QVariant, std::string> portals[] = {
            {moreContrastIn(ours), "high none, high colour, "}, // later than the program
            {QVariantMap{{contrastKey, 0U}}, "high colour, "},  // another shape
            {moreContrastIn(others), "low none, low colour, "},
        };
        for (const auto& [answer, expected] : portals) {
            const FakePortal portal(desktop, answer);
            const QVariantList asked{QStringList{ours}};
            EXPECT_TRUE(eventually([&] { return portal.asked == asked; }));
            EXPECT_EQ(changesUntilAColour(), expected);
        }

        const FakePortal portal(desktop, true);
        constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
        const std::pair<QVariantList, std::string> rows[] = {
            {change(ours, contrastKey, 1U), "high colour, high colour, "},
            {change(ours, contrastKey, 1U), "high colour, "},
            {change(others, contrastKey, 0U), "high colour, "},
            {change(ours, u"color-scheme"_qs, 0U), "high colour, "},
            {{ours, contrastKey, 0U}, "high colour, "}, // no variant
            {accent(-1, -1, -1), "high none, high colour, "},
            {accent(notANumber, 0, 0), "high none, high colour, "},
            {change(ours, accentKey, QPointF(1, 1)), "high none, high colour, "},
            {change(ours, contrastKey, 2U), "low colour, low colour, "},
            {change(ours, contrastKey, 1), "low colour, "},
        };
        for (const auto& row : rows) {
            send(bus.connection("stranger"), accent(0, 0, 0));
            send(desktop, row.first);
            EXPECT_EQ(changesUntilAColour(), row.second) << &row - rows;
        }
    });
}

// Notices

/// What shows notices; it numbers them as it likes.
struct FakeNotifications final : QDBusVirtualObject {
    explicit FakeNotifications(const QDBusConnection& sessionBus) : bus(sessionBus) {
        EXPECT_TRUE(bus.registerVirtualObject(path, this));
        EXPECT_TRUE(bus.registerService(interface));
    }
    ~FakeNotifications() override {
        bus.unregisterService(interface);
        bus.unregisterObject(path);
    }
    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection&) override {
        EXPECT_EQ(message.signature(), u"susssasa{sv}i"_qs);
        const QVariantList given = message.arguments();
        const auto hints = qdbus_cast<QVariantMap>(given[6]);
        EXPECT_EQ(hints[u"desktop-entry"_qs], u"com.corvane.tallywick"_qs);
        EXPECT_EQ(hints[u"urgency"_qs], QVariant::fromValue(uchar{1}));
        shown = QStringList{given[0].toString(), given[1].toString(), given[3].toString(),
                            given[4].toString(), given[5].toStringList().first()}
                    .join(u' ');
        return bus.send(message.createReply(number));
    }
    void tell(const QDBusConnection& from, const QString& name, const QVariant& about,
              const QString& what) const {
        auto signal = QDBusMessage::createSignal(path, interface, name);
        signal.setArguments({about, what});
        EXPECT_TRUE(from.send(signal));
    }

    const QString interface = u"org.freedesktop.Notifications"_qs;
    const QString path = u"/org/freedesktop/Notifications"_qs;
    QDBusConnection bus;
    uint number = 7;
    QString shown;
};

TEST(Notices, ReplaceOneAnotherAndTellWhenTheyAreChosen) {
    testing::runApart([] {
        const PrivateBus bus;
        const QDBusConnection desktop = bus.connection("desktop");
        SessionNotices notices([&] { return bus.connection("program"); });
        std::string chosen;
        const auto show = [&](const std::string& body) {
            notices.show({"80%", body}, [&](const std::string& t) { chosen += "[" + t + "]"; });
        };
        SessionNotices([] { return QDBusConnection(u"none"_qs); }).show({}, {});
        show("nobody is there");
        for (int services = 0; services < 2; ++services) { // each numbers anew
            const FakeNotifications service(desktop);
            const auto shows = [&](const std::string& body, const QString& expected) {
                return eventually([&] {
                    show(body);
                    return service.shown == u"Corvane Tallywick "_qs + expected;
                });
            };
            EXPECT_TRUE(shows("1 < 2 & 3", u"0 80% 1 &lt; 2 &amp; 3 default"_qs));
            service.tell(desktop, u"ActivationToken"_qs, 7U, u"token"_qs);
            service.tell(bus.connection("stranger"), u"ActionInvoked"_qs, 7U, u"default"_qs);
            service.tell(desktop, u"ActionInvoked"_qs, 8U, u"default"_qs);
            service.tell(desktop, u"ActionInvoked"_qs, 7U, u"other"_qs);
            service.tell(desktop, u"ActionInvoked"_qs, u"7"_qs, u"default"_qs);
            service.tell(desktop, u"ActionInvoked"_qs, 7U, u"default"_qs);
            EXPECT_TRUE(eventually([&] { return !chosen.empty(); }));
            EXPECT_EQ(std::exchange(chosen, {}), "[token]");
            EXPECT_TRUE(shows("later", u"7 80% later default"_qs));
        }
    });
}

} // namespace
} // namespace tallywick
