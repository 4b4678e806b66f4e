#include "platform/desktop/linux/LaunchWord.h"

#include "base/WholeNumber.h"
#include "platform/desktop/Workspace.h"
#include "platform/process/linux/ChildLaunch.h"

#include <QByteArray>
#include <QtGlobal>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <system_error>
#include <utility>

namespace tallywick {

namespace {

/// Where the launcher of this program listens, as long as it has not been told.
UniqueFd& launcher() {
    static UniqueFd descriptor;
    return descriptor;
}

std::string nameOf(const UniqueFd& pipe) {
    struct stat status {};
    if (::fstat(pipe.get(), &status) != 0)
        throw std::system_error(errno, std::generic_category(), "fstat");
    return std::to_string(pipe.get()) + ":" + std::to_string(status.st_ino);
}

/// The descriptor that is named, if it is the writing end of that very pipe.
UniqueFd pipeNamed(std::string_view name) {
    const std::size_t colon = name.find(':');
    if (colon == std::string_view::npos)
        return {};
    const int descriptor = wholeNumber<int>(name.substr(0, colon)).value_or(-1);
    const auto inode = wholeNumber<ino_t>(name.substr(colon + 1));
    struct stat status {};
    const bool isIt = descriptor > STDERR_FILENO && ::fstat(descriptor, &status) == 0
                      && S_ISFIFO(status.st_mode) && status.st_ino == inode
                      && (::fcntl(descriptor, F_GETFL) & O_ACCMODE) == O_WRONLY;
    return isIt ? UniqueFd(descriptor) : UniqueFd();
}

} // namespace

UniqueFd launchForWord(const std::filesystem::path& executable,
                       const std::vector<std::string>& arguments) {
    Pipe pipe = makePipe();
    makeNonBlocking(pipe.readEnd);
    launchDetached({executable, arguments, "/"}, pipe.writeEnd,
                   std::string(launchWordVariable) + "=" + nameOf(pipe.writeEnd));
    return std::move(pipe.readEnd);
}

void rememberLauncher() {
    launcher() = pipeNamed(qgetenv(launchWordVariable).toStdString());
    if (launcher())
        ::fcntl(launcher().get(), F_SETFD, FD_CLOEXEC);
    qunsetenv(launchWordVariable);
}

void tellThatWindowIsShown() {
    if (!launcher())
        return;
    ignoreBrokenPipes(); // it may have ended meanwhile
    makeNonBlocking(launcher());
    static_cast<void>(writeWhole(launcher(), "!"));
    launcher().reset();
}

} // namespace tallywick
