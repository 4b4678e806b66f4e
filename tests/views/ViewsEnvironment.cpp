#include "views/Figure.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QMimeDatabase>
#include <QTemporaryDir>

#include <memory>
#include <optional>

namespace {

/// The application object that widgets need, without a display, a desktop or files of the user's.
///
/// It lives between the moments at which the suite counts descriptors: the toolkit keeps threads
/// for large fills, with descriptors of their own, as long as there is an application. What it
/// opens once and keeps until the process ends is opened before.
class ViewsEnvironment : public ::testing::EmptyTestEventListener {
  public:
    void OnEnvironmentsSetUpStart(const ::testing::UnitTest& /*suite*/) override {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        for (const char* inherited : {"QT_SCALE_FACTOR", "QT_SCREEN_SCALE_FACTORS",
                                      "QT_QPA_PLATFORMTHEME", "QT_STYLE_OVERRIDE"})
            qunsetenv(inherited);
        qputenv("XDG_CONFIG_HOME", settings.emplace().path().toLocal8Bit());
        const QApplication first(argumentCount, arguments);
        QMimeDatabase().mimeTypeForName(QStringLiteral("text/plain"));
    }
    void OnEnvironmentsSetUpEnd(const ::testing::UnitTest& /*suite*/) override {
        application = std::make_unique<QApplication>(argumentCount, arguments);
        tallywick::Figure::installAccessibility();
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
