#include "platform/desktop/linux/Appearance.h"
#include "support/PrivateBus.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVirtualObject>
#include <QPointF>

#include <limits>
#include <utility>

namespace tallywick {
namespace {

using testing::eventually;
using testing::PrivateBus;
using Settings = QMap<QString, QVariantMap>;

const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
const QString path = QStringLiteral("/org/freedesktop/portal/desktop");
const QString interface = QStringLiteral("org.freedesktop.portal.Settings");
const QString appearance = QStringLiteral("org.freedesktop.appearance");
const QString otherSettings = QStringLiteral("org.example");
const QString accentKey = QStringLiteral("accent-color");
const QString contrastKey = QStringLiteral("contrast");

QVariant all(const Settings& settings) { return QVariant::fromValue(settings); }

QVariant color(double red, double green, double blue) {
    QDBusArgument argument;
    argument.beginStructure();
    argument << red << green << blue;
    argument.endStructure();
    return QVariant::fromValue(argument);
}

/// The desktop's settings portal, which answers whatever it is told.
class FakePortal final : public QDBusVirtualObject {
  public:
    explicit FakePortal(QDBusConnection sessionBus, QVariant settings = {})
        : bus(std::move(sessionBus)), answer(std::move(settings)) {
        qDBusRegisterMetaType<Settings>();
    }
    ~FakePortal() override {
        bus.unregisterService(service);
        bus.unregisterObject(path);
    }

    void begin() {
        EXPECT_TRUE(bus.registerVirtualObject(path, this));
        EXPECT_TRUE(bus.registerService(service));
        EXPECT_TRUE(eventually([&] { return asked == QVariantList{QStringList{appearance}}; }));
    }
    void send(const QVariantList& arguments) {
        QDBusMessage signal =
            QDBusMessage::createSignal(path, interface, QStringLiteral("SettingChanged"));
        signal.setArguments(arguments);
        EXPECT_TRUE(bus.send(signal));
    }
    void tell(const QString& settings, const QString& key, const QVariant& value) {
        send({settings, key, QVariant::fromValue(QDBusVariant(value))});
    }

    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection&) override {
        asked = message.arguments();
        return bus.send(answer.isValid() ? message.createReply(answer)
                                         : message.createErrorReply(QDBusError::Failed, {}));
    }

  private:
    QDBusConnection bus;
    QVariant answer; ///< an error when it is none
    QVariantList asked;
};

/// Each of these values, told after one that makes sense, counts as none.
void passesOverWhatMakesNoSense(const PrivateBus& bus, const PortalAppearance& watched) {
    FakePortal portal(bus.connection("portal"));
    portal.begin();
    constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
    const std::pair<QString, QVariant> values[] = {{accentKey, color(-1, -1, -1)},
                                                   {accentKey, color(1, 1.001, 0)},
                                                   {accentKey, color(notANumber, 0, 0)},
                                                   {accentKey, QPointF(1, 1)},
                                                   {accentKey, QStringLiteral("orange")},
                                                   {contrastKey, 0U},
                                                   {contrastKey, 2U},
                                                   {contrastKey, 1}};
    for (const auto& [key, value] : values) {
        const bool isAccent = key == accentKey;
        portal.tell(appearance, key, isAccent ? color(1, 0.5, 0) : 1U);
        EXPECT_TRUE(eventually([&] {
            return isAccent ? watched.accentColor() == RgbColor{255, 128, 0}
                            : watched.prefersHighContrast();
        }));
        portal.tell(appearance, key, value);
        EXPECT_TRUE(eventually(
            [&] { return isAccent ? !watched.accentColor() : !watched.prefersHighContrast(); }));
    }
}

TEST(Appearance, FollowsThePortalInWhatMakesSense) {
    testing::runApart([] {
        PortalAppearance(QDBusConnection(QStringLiteral("none"))).start([] { ADD_FAILURE(); });
        const PrivateBus bus;
        PortalAppearance watched(bus.connection("watcher"));
        int changes = 0;
        watched.start([&] { ++changes; });
        const struct {
            const char* name;
            QVariant answer;
            bool highContrast; ///< after this one and those above
            int changes;
        } portals[] = {
            {"later than the program", all({{appearance, {{contrastKey, 1U}}}}), true, 1},
            {"failing", {}, true, 0},
            {"answering in another shape", QVariantMap{{contrastKey, 0U}}, true, 0},
            {"without our settings", all({{otherSettings, {{contrastKey, 1U}}}}), false, 1},
        };
        std::uint8_t red = 0;
        for (const auto& row : portals) {
            SCOPED_TRACE(row.name);
            FakePortal portal(bus.connection(row.name), row.answer);
            changes = 0;
            portal.begin();
            // What comes after its answer: first what is to be passed over.
            FakePortal(bus.connection("stranger"))
                .tell(appearance, contrastKey, row.highContrast ? 0U : 1U);
            portal.tell(otherSettings, contrastKey, row.highContrast ? 0U : 1U);
            portal.tell(appearance, QStringLiteral("color-scheme"), 1U);
            portal.tell(appearance, contrastKey, row.highContrast ? 1U : 0U); // as before
            portal.send({appearance, contrastKey, 1U});                       // no variant
            portal.send({});
            portal.tell(appearance, accentKey, color(++red / 255.0, 0, 0));
            EXPECT_TRUE(eventually([&] { return watched.accentColor() == RgbColor{red, 0, 0}; }));
            EXPECT_EQ(watched.prefersHighContrast(), row.highContrast);
            EXPECT_EQ(changes, row.changes + 1);
        }
        passesOverWhatMakesNoSense(bus, watched);
    });
}

} // namespace
} // namespace tallywick
