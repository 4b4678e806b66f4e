#include "platform/desktop/linux/Activation.h"
#include "platform/desktop/linux/Appearance.h"
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

} // namespace
} // namespace tallywick
