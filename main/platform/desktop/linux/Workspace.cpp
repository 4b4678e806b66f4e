#include "platform/desktop/Workspace.h"

#include "base/Product.h"

#include <QClipboard>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QFile>
#include <QGuiApplication>
#include <QProcess>
#include <QUrl>

namespace tallywick {

namespace {

class DesktopWorkspace final : public Workspace {
  public:
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

    bool openApplication(const std::filesystem::path& bundle) override {
        QProcess application;
        application.setProgram(QFile::decodeName((bundle / Product::executablePath).c_str()));
        application.setWorkingDirectory(QStringLiteral("/"));
        application.setStandardInputFile(QProcess::nullDevice());
        application.setStandardOutputFile(QProcess::nullDevice());
        application.setStandardErrorFile(QProcess::nullDevice());
        return application.startDetached();
    }

    void copyText(const std::string& text) override {
        if (qGuiApp)
            QGuiApplication::clipboard()->setText(QString::fromStdString(text));
    }

  private:
    QObject answers; ///< of the file browser, awaited
};

} // namespace

std::unique_ptr<Workspace> desktopWorkspace() { return std::make_unique<DesktopWorkspace>(); }

bool desktopShowsMenus() {
    const QDBusConnection bus = QDBusConnection::sessionBus();
    return bus.isConnected()
           && bus.interface()
                  ->isServiceRegistered(QStringLiteral("com.canonical.AppMenu.Registrar"))
                  .value();
}

} // namespace tallywick
