#pragma once

#include "views/layouts/UtilityView.h"
#include "views/parts/Figures.h"

#include <gtest/gtest.h>

#include <QAccessible>
#include <QApplication>
#include <QMimeDatabase>
#include <QTemporaryDir>

#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tallywick::testing {

using Strings = std::vector<std::string>;

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

[[maybe_unused]] inline const bool isInstalled = [] {
    ::testing::UnitTest::GetInstance()->listeners().Append(new ViewsEnvironment);
    return true;
}();

/// So many volumes.
inline std::vector<VolumeInfo> manyVolumes(int count) {
    constexpr std::int64_t gibibyte = std::int64_t{1} << 30;
    std::vector<VolumeInfo> volumes;
    for (int index = 0; index < count; ++index) {
        const std::string name = "Volume " + std::to_string(index);
        volumes.push_back({index == 0 ? "/" : "/media/" + name, name, gibibyte, 4 * gibibyte});
    }
    return volumes;
}

/// A live reading, a week's history and three volumes.
inline UtilityFields sampleFields() {
    constexpr Timestamp now = 1'795'340'000;
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

/// The longest texts that the fields can hold.
inline UtilityFields widestFields() {
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    UtilityFields fields = sampleFields();
    fields.quota = Quota{100, fields.now + 7 * 86'400 - 1};
    fields.tokens = {most, "2026-11-21", most};
    fields.status = Status::stale(fields.now, ConnectionIssue::externalSession);
    fields.cpuPercent = 100;
    fields.memoryPercent = 100;
    fields.volumes[0] = {"/", std::string(10'000, 'W'), most, most};
    fields.volumes[1].name = "<b>bold</b> & more\n\u202e\u05e9\u05dc\u05d5\u05dd\x1b[31m";
    return fields;
}

/// The available height in which the fields are shown: enough for seven volumes.
inline constexpr double roomyScreen = 900;

/// What a command adds to the calls.
inline std::string called(UtilityCommand command) {
    return "command " + std::to_string(static_cast<int>(command));
}

/// All actions, each of which adds to the calls what was asked for.
inline UtilityActions recordingActions(Strings& calls) {
    const auto record = [&calls](const std::string& call) { calls.push_back(call); };
    return {.perform = [record](UtilityCommand command) { record(called(command)); },
            .setPinned = [record](bool pinned) { record(pinned ? "pin" : "unpin"); },
            .setCreateShortcut =
                [record](bool creates) { record(creates ? "shortcut" : "no shortcut"); },
            .setStartsWithSession =
                [record](bool starts) { record(starts ? "session" : "no session"); },
            .setTellsOfUsage = [record](bool tells) { record(tells ? "tell" : "do not tell"); },
            .openVolume = [record](const VolumeInfo& volume) { record("open " + volume.name); },
            .resizeBy =
                [record](double dx, double dy) {
                    record(QStringLiteral("resize by %1, %2").arg(dx).arg(dy).toStdString());
                }};
}

/// Lets everything happen that has been posted: layouts, deletions, paint events.
inline void settle() {
    for (int pass = 0; pass < 4; ++pass) {
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QApplication::processEvents();
    }
}

/// The classes of the widgets that are painted anew after a change, each once.
inline Strings repaintedBy(const std::function<void()>& change) {
    struct Recorder : QObject {
        bool eventFilter(QObject* watched, QEvent* event) override {
            const std::string_view name = watched->metaObject()->className();
            if (event->type() == QEvent::Paint && watched->isWidgetType())
                painted.emplace(name.substr(name.rfind(':') + 1));
            return false;
        }
        std::set<std::string> painted;
    } recorder;
    settle();
    qApp->installEventFilter(&recorder);
    change();
    settle();
    return {recorder.painted.begin(), recorder.painted.end()};
}

/// How a screen reader calls a part.
inline std::string accessibleName(QWidget* part) {
    return QAccessible::queryAccessibleInterface(part)->text(QAccessible::Name).toStdString();
}

/// What the Tab key reaches in a window, from this part on, by its accessible names.
inline Strings tabOrder(QWidget* first) {
    Strings names;
    for (QWidget* part = first; names.empty() || part != first; part = part->nextInFocusChain())
        if (part->isVisible() && part->isEnabled() && part->focusPolicy() & Qt::TabFocus)
            names.push_back(accessibleName(part));
    return names;
}

/// The content of the window on the offscreen display, with a record of the actions that it called.
class ShownView {
  public:
    ShownView(const UtilityFields& fields, QSize size) {
        view.resize(size);
        view.present(fields, roomyScreen);
        view.show();
        settle();
    }

    UtilityView* operator->() { return &view; }

    /// The visible part of this accessible name, which must exist.
    QWidget* part(const std::string& name) const {
        for (QWidget* candidate : view.findChildren<QWidget*>())
            if (candidate->isVisible() && accessibleName(candidate) == name)
                return candidate;
        qFatal("no part is called %s", name.c_str());
    }

    Strings calls; ///< of actions, in their order

  private:
    const UtilityActions actions = recordingActions(calls);
    UtilityView view{actions};
};

} // namespace tallywick::testing
