#include "platform/linux/PortalAppearance.h"
#include "support/PrivateBus.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QPointF>

#include <limits>
#include <utility>

namespace tallywick {
namespace {

using testing::eventually;
using testing::PrivateBus;
using testing::runAndExit;

const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
const QString path = QStringLiteral("/org/freedesktop/portal/desktop");
const QString appearance = QStringLiteral("org.freedesktop.appearance");
const QString accentKey = QStringLiteral("accent-color");
const QString contrastKey = QStringLiteral("contrast");

constexpr double none = std::numeric_limits<double>::quiet_NaN();

struct Color {
    double red = 0;
    double green = 0;
    double blue = 0;
};

QDBusArgument& operator<<(QDBusArgument& argument, const Color& color) {
    argument.beginStructure();
    argument << color.red << color.green << color.blue;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, Color& color) {
    argument.beginStructure();
    argument >> color.red >> color.green >> color.blue;
    argument.endStructure();
    return argument;
}

using Settings = QMap<QString, QVariantMap>;

QVariant color(double red, double green, double blue) {
    return QVariant::fromValue(Color{red, green, blue});
}

/// The desktop's settings portal, which answers whatever it is told.
class FakePortal : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")

  public:
    explicit FakePortal(QDBusConnection sessionBus) : bus(std::move(sessionBus)) {}
    ~FakePortal() override {
        bus.unregisterService(service);
        bus.unregisterObject(path);
    }

    void begin() {
        ASSERT_TRUE(bus.registerObject(path, this, QDBusConnection::ExportAllSlots));
        ASSERT_TRUE(bus.registerService(service));
    }

    void send(const QVariantList& arguments) {
        QDBusMessage signal =
            QDBusMessage::createSignal(path, QStringLiteral("org.freedesktop.portal.Settings"),
                                       QStringLiteral("SettingChanged"));
        signal.setArguments(arguments);
        ASSERT_TRUE(bus.send(signal));
    }

    void tell(const QString& settings, const QString& key, const QVariant& value) {
        send({settings, key, QVariant::fromValue(QDBusVariant(value))});
    }

    QVariant answer; ///< an error when it is none
    QList<QStringList> asked;

  public Q_SLOTS:
    void ReadAll(const QStringList& namespaces, const QDBusMessage& message) {
        asked.append(namespaces);
        message.setDelayedReply(true);
        bus.send(answer.isValid() ? message.createReply(answer)
                                  : message.createErrorReply(QDBusError::Failed, {}));
    }

  private:
    QDBusConnection bus;
};

void registerTypes() {
    qDBusRegisterMetaType<Color>();
    qDBusRegisterMetaType<Settings>();
}

QVariant settings(const QVariantMap& values) {
    return QVariant::fromValue(Settings{{appearance, values}});
}

void believesOnlyWhatMakesSense() {
    registerTypes();
    const PrivateBus bus;
    const std::optional<RgbColor> orange = RgbColor{255, 128, 0};
    const struct {
        const char* description;
        QVariant answer;
        std::optional<RgbColor> accent;
        bool highContrast;
    } cases[] = {
        {"both", settings({{accentKey, color(1, 0.5, 0)}, {contrastKey, 1U}}), orange, true},
        {"an accent", settings({{accentKey, color(1, 0.5, 0)}}), orange, false},
        {"contrast of another type", settings({{contrastKey, 1}}), {}, false},
        {"no accent chosen", settings({{accentKey, color(-1, -1, -1)}}), {}, false},
        {"accent too large", settings({{accentKey, color(1, 1.001, 0)}}), {}, false},
        {"accent no number", settings({{accentKey, color(none, 0, 0)}}), {}, false},
        {"accent too short", settings({{accentKey, QPointF(1, 1)}}), {}, false},
        {"accent as text", settings({{accentKey, QStringLiteral("orange")}}), {}, false},
        {"nothing", settings({}), {}, false},
        {"another namespace",
         QVariant::fromValue(Settings{{QStringLiteral("org.example"), {{contrastKey, 1U}}}}),
         {},
         false},
        {"another shape", QVariantMap{{contrastKey, 1U}}, {}, false},
        {"an error", {}, {}, false},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.description);
        FakePortal portal(bus.connection(std::string("portal for ") + row.description));
        portal.answer = row.answer;
        portal.begin();
        PortalAppearance watched(bus.connection(row.description));
        int changes = 0;
        watched.start([&] { ++changes; });
        // What the portal tells next comes after its answer.
        ASSERT_TRUE(eventually([&] { return portal.asked.size() == 1; }));
        EXPECT_EQ(portal.asked.constFirst(), QStringList{appearance});
        const int expected = row.accent || row.highContrast ? 1 : 0;
        EXPECT_TRUE(eventually([&] { return changes == expected; }));
        EXPECT_EQ(watched.accentColor(), row.accent);
        EXPECT_EQ(watched.prefersHighContrast(), row.highContrast);
        portal.tell(appearance, accentKey, color(0, 0, 1));
        EXPECT_TRUE(eventually([&] { return watched.accentColor() == RgbColor{0, 0, 255}; }));
        EXPECT_EQ(watched.prefersHighContrast(), row.highContrast);
        EXPECT_EQ(changes, expected + 1);
    }
}

void followsThePortal() {
    registerTypes();
    const PrivateBus bus;
    PortalAppearance watched(bus.connection("watcher"));
    int changes = 0;
    watched.start([&] { ++changes; });

    FakePortal portal(bus.connection("portal"));
    portal.answer = settings({{contrastKey, 1U}});
    portal.begin(); // later than the program
    ASSERT_TRUE(eventually([&] { return watched.prefersHighContrast(); }));
    EXPECT_EQ(changes, 1);

    FakePortal stranger(bus.connection("stranger"));
    stranger.tell(appearance, contrastKey, 0U);
    portal.tell(QStringLiteral("org.example"), contrastKey, 0U);
    portal.tell(appearance, QStringLiteral("color-scheme"), 1U);
    portal.tell(appearance, contrastKey, 1U);   // as before
    portal.send({appearance, contrastKey, 0U}); // and what no portal sends
    portal.send({});
    portal.tell(appearance, accentKey, color(1, 1, 1));
    ASSERT_TRUE(eventually([&] { return watched.accentColor().has_value(); }));
    EXPECT_EQ(changes, 2);
    EXPECT_TRUE(watched.prefersHighContrast());

    portal.tell(appearance, accentKey, color(2, 2, 2));
    portal.tell(appearance, contrastKey, 0U);
    ASSERT_TRUE(eventually([&] { return !watched.prefersHighContrast(); }));
    EXPECT_FALSE(watched.accentColor());
    EXPECT_EQ(changes, 4);
}

void isQuietWithoutABus() {
    PortalAppearance watched(QDBusConnection(QStringLiteral("none")));
    watched.start([] { ADD_FAILURE(); });
    QCoreApplication::processEvents();
    EXPECT_FALSE(watched.accentColor());
}

TEST(Appearance, BelievesOnlyWhatMakesSense) {
    EXPECT_EXIT(runAndExit(believesOnlyWhatMakesSense), ::testing::ExitedWithCode(EXIT_SUCCESS),
                "");
}

TEST(Appearance, FollowsThePortal) {
    EXPECT_EXIT(runAndExit(followsThePortal), ::testing::ExitedWithCode(EXIT_SUCCESS), "");
}

TEST(Appearance, IsQuietWithoutABus) {
    EXPECT_EXIT(runAndExit(isQuietWithoutABus), ::testing::ExitedWithCode(EXIT_SUCCESS), "");
}

} // namespace
} // namespace tallywick

#include "AppearanceTest.moc"
