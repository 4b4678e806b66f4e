#include "UtilityApp/WindowCommand.h"

#include "UtilityApp/SystemServices.h"
#include "base/Product.h"
#include "install/AppInstallation.h"
#include "platform/Activation.h"
#include "platform/Appearance.h"
#include "platform/ApplicationBundle.h"
#include "platform/ChildProcess.h"
#include "platform/StandardFolders.h"
#include "platform/TerminationSignals.h"
#include "views/Figure.h"
#include "views/FileOpenPanel.h"
#include "views/MainWindow.h"
#include "views/UtilityStyle.h"

#include <QApplication>

#include <unistd.h>

namespace tallywick {

namespace {

/// Whether another copy runs in this one's place and has been brought forward. Of two copies that
/// start in the same moment, neither of which can be brought forward yet, the first one goes on.
bool hasHandedOver(int argc, char** argv) {
    const std::vector<std::string> arguments(argv, argv + argc);
    const std::filesystem::path bundle = runningBundle();
    const LaunchRule::ThisCopy thisCopy{
        .processId = ::getpid(),
        .bundle = bundle,
        .isInstalled = AppInstallation::isInstalledLocation(
            bundle, AppInstallation::applicationsFolders(homeFolder())),
        .installedBy = LaunchRule::finishInstallProcess(arguments)};
    const auto other =
        LaunchRule::copyToActivate(runningApplications({Product::bundleIdentifier}), thisCopy);
    return other
           && (activateApplication(other->processId) || other->processId < thisCopy.processId);
}

ColorPreferences colorsOf(const Appearance& appearance) {
    ColorPreferences colors;
    if (const auto accent = appearance.accentColor())
        colors.accent = QColor(accent->red, accent->green, accent->blue);
    colors.highContrast = appearance.prefersHighContrast();
    return colors;
}

int showWindow(const CommandLine& commandLine) {
    SystemServices services(commandLine.helper);
    FileOpenPanel openPanel;
    const auto appearance = desktopAppearance();
    const bool showsInstaller = !commandLine.portable;
    UtilityState state(services.forState(showsInstaller, &openPanel));
    MainWindow window(state);
    openPanel.setParent(&window);
    appearance->start([&] { window.setColors(colorsOf(*appearance)); });
    const auto listener = listenForActivation([&state] { state.showUtility(); });
    window.show();
    const int status = QApplication::exec();
    state.stop();
    return status;
}

} // namespace

int runWindow(const CommandLine& commandLine, int argc, char** argv) {
    if (hasHandedOver(argc, argv))
        return EXIT_SUCCESS;
    TerminationSignals requests;
    QGuiApplication::setDesktopFileName(QLatin1String(Product::bundleIdentifier));
    const QApplication application(argc, argv);
    requests.listen(&QCoreApplication::quit);
    Figure::installAccessibility();
    UtilityStyle::install();
    const int status = showWindow(commandLine);
    waitForChildProcesses(helperEnd);
    return status;
}

} // namespace tallywick
