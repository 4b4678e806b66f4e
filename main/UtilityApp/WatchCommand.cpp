#include "UtilityApp/WatchCommand.h"

#include "UtilityApp/HelperSearch.h"
#include "codex/CodexBridge.h"
#include "install/AppInstallation.h"
#include "platform/ApplicationBundle.h"
#include "platform/ChildProcess.h"
#include "platform/CodeSignature.h"
#include "platform/FilePreferences.h"
#include "platform/StandardFolders.h"
#include "platform/TerminationSignals.h"
#include "state/UtilityState.h"

#include <QCoreApplication>

#include <cstdio>

namespace tallywick {

namespace {

/// A helper is killed two seconds after it was asked to end.
constexpr std::chrono::seconds helperEnd{3};

/// Writes a line when it differs from the one before.
class LinePrinter {
  public:
    /// False when nobody reads any more.
    bool print(const std::string& line) {
        if (line == lastLine)
            return true;
        lastLine = line;
        return std::printf("%s\n", line.c_str()) >= 0 && std::fflush(stdout) == 0;
    }

  private:
    std::string lastLine;
};

} // namespace

int runWatch(const CommandLine& commandLine, int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    const TerminationSignals signalWatch(&QCoreApplication::quit); // before any thread is started

    const HelperSearch search(commandLine.helper);
    const std::filesystem::path home = homeFolder();
    const auto power = systemPowerEvents();
    const auto network = systemNetworkPath();
    const auto workspace = desktopWorkspace();
    FilePreferences preferences;
    {
        UtilityState state(UtilityState::Services{
            .clock = systemNow,
            .homeFolder = home,
            .transportFactory = codexBridgeFactory(TALLYWICK_VERSION),
            .findHelpers = [&](const auto& preferred) { return search.candidates(preferred); },
            .resolveHelper = [&](const auto& chosen) { return search.resolve(chosen); },
            .historyStore = HistoryStore(),
            .hardwareService =
                std::make_unique<HardwareService>(systemHostStatistics(), systemMountedVolumes()),
            .bundle = inspectBundle(runningBundle(), AppInstallation::applicationsFolders(home),
                                    systemCodeSignature()),
            .showsInstaller = false,
            .preferences = preferences,
            .workspace = *workspace,
            .powerEvents = *power,
            .networkPath = *network,
        });
        LinePrinter printer;
        const auto print = [&] {
            if (!printer.print(watchLine(state.fields())))
                QCoreApplication::quit();
        };
        QObject::connect(&state, &UtilityState::changed, &state, print);
        print();
        QCoreApplication::exec();
    }
    waitForChildProcesses(helperEnd);
    return EXIT_SUCCESS;
}

} // namespace tallywick
