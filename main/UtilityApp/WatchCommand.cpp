#include "UtilityApp/WatchCommand.h"

#include "UtilityApp/Report.h"
#include "UtilityApp/SystemServices.h"
#include "platform/process/TerminationSignals.h"

#include <QCoreApplication>

#include <cstdio>

namespace tallywick {

namespace {

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

void watch(const CommandLine& commandLine) {
    SystemServices services(commandLine.helper);
    constexpr bool showsInstaller = false;
    UtilityState state(services.forState(showsInstaller, nullptr));
    LinePrinter printer;
    const auto print = [&] {
        const UtilityFields& fields = state.fields();
        if (!printer.print(commandLine.json ? watchJson(fields) : watchLine(fields)))
            QCoreApplication::quit();
    };
    QObject::connect(&state, &UtilityState::changed, &state, print);
    print();
    QCoreApplication::exec();
}

} // namespace

int runWatch(const CommandLine& commandLine, int argc, char** argv) {
    TerminationSignals requests;
    const QCoreApplication application(argc, argv);
    requests.listen(&QCoreApplication::quit);
    watch(commandLine);
    waitForWorkToEnd();
    return EXIT_SUCCESS;
}

} // namespace tallywick
