#include "codex/HelperPlaces.h"
#include "platform/bundle/ApplicationBundle.h"
#include "platform/files/StandardFolders.h"

#include <QByteArray>
#include <QString>
#include <QSysInfo>
#include <QtGlobal>

namespace tallywick {

namespace fs = std::filesystem;

HelperPlaces systemHelperPlaces() {
    HelperSurroundings surroundings;
    surroundings.home = homeFolder();
    surroundings.searchPath = qgetenv("PATH").toStdString();
    surroundings.runningBundles = [](const std::vector<std::string>& identifiers) {
        std::vector<fs::path> bundles;
        for (const RunningApplication& application : runningApplications(identifiers))
            bundles.push_back(application.bundle);
        return bundles;
    };
    surroundings.environment = [](const char* name) { return qgetenv(name).toStdString(); };
    // Qt's names of the two processors are the readers' names too.
    return linuxHelperPlaces(surroundings, QSysInfo::buildCpuArchitecture().toStdString());
}

} // namespace tallywick
