#include "UtilityApp/WindowCommand.h"

#include "UtilityApp/SystemServices.h"
#include "base/Product.h"
#include "install/AppInstallation.h"
#include "platform/bundle/ApplicationBundle.h"
#include "platform/desktop/Activation.h"
#include "platform/desktop/Appearance.h"
#include "platform/desktop/Notices.h"
#include "platform/desktop/WindowActivation.h"
#include "platform/desktop/WindowSystem.h"
#include "platform/desktop/Workspace.h"
#include "platform/files/StandardFolders.h"
#include "platform/process/TerminationSignals.h"
#include "views/parts/Figures.h"
#include "views/parts/UtilityStyle.h"
#include "views/window/AlertPanel.h"
#include "views/window/FileOpenPanel.h"
#include "views/window/MainWindow.h"

#include <QApplication>
#include <QEvent>
#include <QWindow>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tallywick {

namespace {

constexpr const char* missingDisplay =
    "Tallywick found no display to show its window on.\n"
    "Without one, --render FILE draws the window into a picture, and --report prints a report.";

bool wasStartedForWindow(const RunningApplication& copy) {
    std::vector<const char*> arguments;
    for (const std::string& argument : copy.arguments)
        arguments.push_back(argument.c_str());
    const auto commandLine = parseCommandLine(arguments);
    return commandLine && commandLine->task == CommandLine::Task::window;
}

/// The copies that have a window or are about to: the others cannot be brought forward.
std::vector<RunningApplication> copiesWithWindow() {
    auto copies = runningApplications({Product::bundleIdentifier});
    std::erase_if(copies, std::not_fn(wasStartedForWindow));
    return copies;
}

/// Whether another copy runs in this one's place and has been asked for what this one was. Of two
/// copies that start in the same moment, neither of which can be brought forward yet, the first one
/// goes on.
bool hasHandedOver(const CommandLine& commandLine, int argc, char** argv) {
    const std::vector<std::string> arguments(argv, argv + argc);
    const std::filesystem::path bundle = runningBundle();
    const LaunchRule::ThisCopy thisCopy{
        .processId = ::getpid(),
        .bundle = bundle,
        .isInstalled = isManagedBundle(bundle)
                       || AppInstallation::isInstalledLocation(
                           bundle, AppInstallation::applicationsFolders(homeFolder())),
        .installedBy = LaunchRule::finishInstallProcess(arguments)};
    const auto other = LaunchRule::copyToActivate(copiesWithWindow(), thisCopy);
    if (!other)
        return false;
    const Wish wish = commandLine.unfocused ? Wish::nothing : commandLine.wish;
    if (activateApplication(other->processId, {wish, launchToken()}))
        return true;
    if (other->processId > thisCopy.processId)
        return false;
    static_cast<void>(std::fprintf(
        stderr, "Tallywick runs already, as process %d, but did not answer.\n", other->processId));
    return true;
}

/// What the toolkit says while it looks for a display is of no use to who has none.
void explainMissingDisplay(QtMsgType type, const QMessageLogContext&, const QString&) {
    if (type != QtFatalMsg)
        return;
    static_cast<void>(std::fprintf(stderr, "%s\n", missingDisplay));
    std::_Exit(usageExitStatus);
}

/// Ends the program where there is no display, which the toolkit does in its own, ruder way.
std::unique_ptr<QApplication> applicationOnDisplay(int& count, char** arguments) {
    const QtMessageHandler usual = qInstallMessageHandler(explainMissingDisplay);
    std::unique_ptr<QApplication> application;
    startWithoutGraphicsDriver(
        [&] { application = std::make_unique<QApplication>(count, arguments); });
    qInstallMessageHandler(usual);
    return application;
}

ColorPreferences colorsOf(const Appearance& appearance) {
    ColorPreferences colors;
    if (const auto accent = appearance.accentColor())
        colors.accent = QColor(accent->red, accent->green, accent->blue);
    colors.highContrast = appearance.prefersHighContrast();
    return colors;
}

/// Tells whoever has started this program when the window is on the screen, with its content.
class FirstShow final : public QObject {
  public:
    explicit FirstShow(QWindow* shown) : window(shown) { window->installEventFilter(this); }

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Expose && window->isExposed()) {
            window->removeEventFilter(this);
            QMetaObject::invokeMethod(this, &tellThatWindowIsShown, Qt::QueuedConnection);
        }
        return QObject::eventFilter(watched, event);
    }

  private:
    QWindow* const window;
};

/// What another copy, which was started for it, asks of this one.
void perform(UtilityState& state, const ActivationRequest& request) {
    switch (request.wish) {
    case Wish::comeForward:
        return state.showUtility(request.launchToken);
    case Wish::refresh:
        return state.refreshNow();
    case Wish::mini:
        return state.toggleLayout();
    case Wish::nothing:
        return;
    }
}

int showWindow(const CommandLine& commandLine) {
    SystemServices services(commandLine.helper);
    FileOpenPanel openPanel;
    AlertPanel alerts;
    const auto appearance = desktopAppearance();
    const bool showsInstaller = !commandLine.portable && !commandLine.unfocused;
    const auto notices = desktopNotices();
    auto withWindow = services.forState(showsInstaller, &openPanel, &alerts);
    withWindow.notices.desktop = notices.get();
    UtilityState state(std::move(withWindow));
    MainWindow window(state);
    openPanel.setParent(&window);
    alerts.setWindow(&window, [&window] { return window.theme(); });
    appearance->start([&] { window.setColors(colorsOf(*appearance)); });
    const auto listener =
        listenForActivation([&](const ActivationRequest& request) { perform(state, request); });
    window.setAttribute(Qt::WA_ShowWithoutActivating, commandLine.unfocused);
    if (commandLine.wish == Wish::mini && !state.fields().mini)
        state.toggleLayout(); // to read everything anew is what a start does anyway
    window.show();
    const FirstShow firstShow(window.windowHandle());
    // The desktop knows its windows by the identifier now; to a screen reader this is the name.
    QCoreApplication::setApplicationName(QLatin1String(Product::name));
    const int status = QApplication::exec();
    state.stop();
    return status;
}

} // namespace

int runWindow(const CommandLine& commandLine, int argc, char** argv) {
    rememberLauncher();
    if (hasHandedOver(commandLine, argc, argv))
        return EXIT_SUCCESS;
    TerminationSignals requests;
    // The desktop finds the windows' entry among the applications by this name.
    std::vector<std::string> words = windowSystemArguments();
    words.insert(words.begin(), {Product::executableName, "-name", Product::bundleIdentifier});
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words)
        arguments.push_back(word.data());
    int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    QGuiApplication::setDesktopFileName(QLatin1String(Product::bundleIdentifier));
    QCoreApplication::setApplicationName(QLatin1String(Product::bundleIdentifier));
    const auto application = applicationOnDisplay(count, arguments.data());
    requests.listen(&QCoreApplication::quit);
    Figure::installAccessibility();
    UtilityStyle::install();
    const int status = showWindow(commandLine);
    if (!waitForWorkToEnd())
        std::_Exit(status);
    return status;
}

} // namespace tallywick
