#include "update/UpdateFeed.h"

#include <QSysInfo>
#include <QVersionNumber>

namespace tallywick {

std::string kernelVersion(std::string_view release) {
    const auto numbers =
        QVersionNumber::fromString(QLatin1String(release.data(), qsizetype(release.size())));
    return std::to_string(numbers.majorVersion()) + '.' + std::to_string(numbers.minorVersion())
           + '.' + std::to_string(numbers.microVersion());
}

RunningSystem runningSystem() {
    // Qt's names of the two processors are those of a feed too.
    return {kernelVersion(QSysInfo::kernelVersion().toStdString()),
            QSysInfo::buildCpuArchitecture().toStdString()};
}

} // namespace tallywick
