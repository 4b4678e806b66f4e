#include "views/ViewHarness.h"

#include "views/parts/Figures.h"

#include <gtest/gtest.h>

#include <QAccessible>
#include <QMimeDatabase>
#include <QTemporaryDir>

#include <limits>
#include <memory>
#include <optional>

namespace tallywick::testing {

namespace {

constexpr Timestamp now = 1'795'340'000;
constexpr std::int64_t gibibyte = std::int64_t{1} << 30;

/// The application object that widgets need, without a display, a desktop or files of the user's.
///
/// It lives between the moments at which the suite counts descriptors: the toolkit keeps threads
/// for large fills, with descriptors of their own, as long as there is an application. What it
/// opens once and keeps until the process ends is opened before.
class ViewsEnvironment : public ::testing::EmptyTestEventListener {
  public:
    void OnEnvironmentsSetUpStart(const ::testing::UnitTest& /*suite*/) override {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        qputenv("TZ", "UTC");
        qputenv("LC_ALL", "C.UTF-8");
        for (const char* inherited : {"QT_SCALE_FACTOR", "QT_SCREEN_SCALE_FACTORS",
                                      "QT_QPA_PLATFORMTHEME", "QT_STYLE_OVERRIDE"})
            qunsetenv(inherited);
        qputenv("XDG_CONFIG_HOME", settings.emplace().path().toLocal8Bit());
        const QApplication first(argumentCount, arguments);
        QMimeDatabase().mimeTypeForName(QStringLiteral("text/plain"));
    }
    void OnEnvironmentsSetUpEnd(const ::testing::UnitTest& /*suite*/) override {
        application = std::make_unique<QApplication>(argumentCount, arguments);
        Figure::installAccessibility();
    }
    void OnEnvironmentsTearDownStart(const ::testing::UnitTest& /*suite*/) override {
        application.reset();
        settings.reset();
    }

  private:
    int argumentCount = 1;
    char name[12] = "views_tests";
    char* arguments[2] = {name, nullptr};
    std::optional<QTemporaryDir> settings;
    std::unique_ptr<QApplication> application;
};

[[maybe_unused]] const bool isInstalled = [] {
    ::testing::UnitTest::GetInstance()->listeners().Append(new ViewsEnvironment);
    return true;
}();

} // namespace

void settle() {
    for (int pass = 0; pass < 4; ++pass) {
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QApplication::processEvents();
    }
}

UtilityFields sampleFields() {
    UtilityFields fields;
    fields.now = now;
    fields.quota = Quota{42, now + 2 * 86'400 + 5 * 3'600 + 13 * 60 + 30};
    fields.tokens = {123'456'789, "2026-11-21", 1'400'000};
    fields.tokenStatus = TokenStatusText::reported;
    fields.status = Status::live(now);
    fields.cpuPercent = 17;
    fields.memoryPercent = 63;
    fields.volumes = manyVolumes(3);
    return fields;
}

UtilityFields widestFields() {
    UtilityFields fields = sampleFields();
    fields.quota = Quota{100, now + 7 * 86'400 - 1};
    fields.tokens.lifetime = std::numeric_limits<std::int64_t>::max();
    fields.tokens.latestTokens = fields.tokens.lifetime;
    fields.status = Status::stale(now, ConnectionIssue::externalSession);
    fields.cpuPercent = 100;
    fields.memoryPercent = 100;
    fields.volumes[0] = {"/", std::string(10'000, 'W'), 999'999 * gibibyte, 999'999 * gibibyte};
    fields.volumes[1].name = "<b>bold</b> & more\n\u202e\u05e9\u05dc\u05d5\u05dd\x1b[31m";
    return fields;
}

std::vector<VolumeInfo> manyVolumes(std::size_t count) {
    std::vector<VolumeInfo> volumes;
    for (std::size_t index = 0; index < count; ++index) {
        const std::string name = "Volume " + std::to_string(index);
        volumes.push_back({index == 0 ? "/" : "/media/" + name, name, gibibyte, 4 * gibibyte});
    }
    return volumes;
}

ShownView::ShownView(const UtilityFields& fields, QSize size) {
    view.resize(size);
    view.present(fields, roomyScreen);
    view.show();
    QApplication::processEvents();
}

QWidget* ShownView::part(const std::string& name) const {
    for (QWidget* candidate : view.findChildren<QWidget*>())
        if (candidate->isVisible() && accessibleName(candidate) == name)
            return candidate;
    qFatal("no part is called %s", name.c_str());
}

std::vector<QWidget*> ShownView::leaves() const {
    std::vector<QWidget*> parts;
    for (QWidget* part : view.findChildren<QWidget*>())
        if (part->isVisible() && part->findChildren<QWidget*>().isEmpty())
            parts.push_back(part);
    return parts;
}

Strings ShownView::repaintedBy(const UtilityFields& fields) {
    QApplication::processEvents();
    const PaintRecorder recorder;
    view.present(fields, roomyScreen);
    QApplication::processEvents();
    return {recorder.painted.begin(), recorder.painted.end()};
}

std::string called(UtilityCommand command) {
    return "command " + std::to_string(static_cast<int>(command));
}

UtilityActions recordingActions(Strings& calls) {
    UtilityActions actions;
    actions.perform = [&calls](UtilityCommand command) { calls.push_back(called(command)); };
    actions.setPinned = [&calls](bool pinned) { calls.push_back(pinned ? "pin" : "unpin"); };
    actions.openVolume = [&calls](const VolumeInfo& volume) {
        calls.push_back("open " + volume.url.string());
    };
    return actions;
}

Strings tabOrder(QWidget* first) {
    Strings names;
    for (QWidget* part = first; names.empty() || part != first; part = part->nextInFocusChain())
        if (part->isVisible() && part->isEnabled() && part->focusPolicy() & Qt::TabFocus)
            names.push_back(accessibleName(part));
    return names;
}

std::string accessibleName(QWidget* part) {
    return QAccessible::queryAccessibleInterface(part)->text(QAccessible::Name).toStdString();
}

} // namespace tallywick::testing
