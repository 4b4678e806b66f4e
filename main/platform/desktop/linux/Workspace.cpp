#include "platform/desktop/Workspace.h"

#include "base/Product.h"
#include "base/TaskRelay.h"
#include "platform/desktop/linux/LaunchWord.h"

#include <QClipboard>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QFile>
#include <QGuiApplication>
#include <QSocketNotifier>
#include <QTimer>
#include <QUrl>

#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <thread>
#include <utility>

namespace tallywick {

namespace {

constexpr const char* endedBefore = "It ended before it had shown its window.";
constexpr const char* silent = "It has not shown its window.";

std::string notStarted(const std::error_code& reason) {
    return "It could not be started: " + reason.message() + ".";
}

/// A program that was started, until its last outcome is told.
class Launch final : public QObject {
  public:
    using Opened = std::function<void(Workspace::OpenOutcome)>;

    Launch(QObject* parent, std::chrono::milliseconds limit, Opened callback)
        : QObject(parent), opened(std::move(callback)) {
        deadline.setSingleShot(true);
        connect(&deadline, &QTimer::timeout, this, [this] {
            wasSilent = true;
            tell(silent);
        });
        deadline.start(limit);
    }

    /// It runs, and tells there how it goes on.
    void listen(UniqueFd pipe) {
        word = std::move(pipe);
        notifier = std::make_unique<QSocketNotifier>(word.get(), QSocketNotifier::Read);
        connect(notifier.get(), &QSocketNotifier::activated, this, [this] {
            char byte = 0;
            const auto count = uninterrupted([&] { return ::read(word.get(), &byte, 1); });
            if (count > 0)
                finish(std::nullopt);
            else if (count == 0 || errno != EAGAIN)
                finish(endedBefore);
        });
    }

    /// Of a silent one, nobody wants to know that it has ended.
    void finish(const Workspace::OpenOutcome& outcome) {
        notifier.reset();
        deadline.stop();
        deleteLater();
        if (!wasSilent || !outcome)
            tell(outcome);
    }

  private:
    /// The last act of whoever calls it: the receiver may end all of this.
    void tell(const Workspace::OpenOutcome& outcome) const {
        const Opened receiver = opened;
        receiver(outcome);
    }

    const Opened opened;
    UniqueFd word;
    std::unique_ptr<QSocketNotifier> notifier;
    QTimer deadline;
    bool wasSilent = false;
};

class DesktopWorkspace final : public Workspace {
  public:
    explicit DesktopWorkspace(std::chrono::milliseconds limit) : launchLimit(limit) {}

    bool openAddress(const std::string& address) override {
        const QUrl url(QString::fromStdString(address), QUrl::StrictMode);
        return qGuiApp && url.isValid() && QDesktopServices::openUrl(url);
    }

    bool openFolder(const std::filesystem::path& folder) override {
        const QString path = QFile::decodeName(folder.c_str());
        return qGuiApp && QDesktopServices::openUrl(QUrl::fromLocalFile(path));
    }

    void revealItem(const std::filesystem::path& item) override {
        const auto openParent = [this, parent = item.parent_path()] {
            static_cast<void>(openFolder(parent));
        };
        const QDBusConnection bus = QDBusConnection::sessionBus();
        if (!bus.isConnected())
            return openParent();
        auto show = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.FileManager1"),
                                                   QStringLiteral("/org/freedesktop/FileManager1"),
                                                   QStringLiteral("org.freedesktop.FileManager1"),
                                                   QStringLiteral("ShowItems"));
        const QUrl url = QUrl::fromLocalFile(QFile::decodeName(item.c_str()));
        show << QStringList(url.toString(QUrl::FullyEncoded)) << QString();
        auto* answer = new QDBusPendingCallWatcher(bus.asyncCall(show), &answers);
        QObject::connect(answer, &QDBusPendingCallWatcher::finished, answer, [answer, openParent] {
            if (answer->isError())
                openParent();
            answer->deleteLater();
        });
    }

    /// The start waits for the disk that the bundle lies on, which may not answer: on a thread of
    /// its own.
    void openNewInstance(const std::filesystem::path& bundle,
                         const std::vector<std::string>& arguments,
                         std::function<void(OpenOutcome)> opened) override {
        // It lives for as long as the relay takes what the thread has to tell.
        auto* const launch = new Launch(&pending, launchLimit, std::move(opened));
        const auto tell = relay.entrance();
        const auto fail = [tell, launch](const std::system_error& error) {
            tell([launch, reason = error.code()] { launch->finish(notStarted(reason)); });
        };
        const auto start = [tell, launch, fail, arguments,
                            executable = bundle / Product::executablePath] {
            try {
                const auto word = std::make_shared<UniqueFd>(launchForWord(executable, arguments));
                tell([launch, word] { launch->listen(std::move(*word)); });
            } catch (const std::system_error& error) {
                fail(error);
            }
        };
        try {
            std::thread(start).detach();
        } catch (const std::system_error& error) {
            fail(error);
        }
    }

    void copyText(const std::string& text) override {
        if (qGuiApp)
            QGuiApplication::clipboard()->setText(QString::fromStdString(text));
    }

  private:
    const std::chrono::milliseconds launchLimit;
    QObject answers; ///< of the file browser, awaited
    QObject pending; ///< the parent of every `Launch`
    TaskRelay relay;
};

} // namespace

std::unique_ptr<Workspace> desktopWorkspace(std::chrono::milliseconds launchLimit) {
    return std::make_unique<DesktopWorkspace>(launchLimit);
}

bool desktopShowsMenus() {
    const QDBusConnection bus = QDBusConnection::sessionBus();
    return bus.isConnected()
           && bus.interface()
                  ->isServiceRegistered(QStringLiteral("com.canonical.AppMenu.Registrar"))
                  .value();
}

} // namespace tallywick
