#include "platform/desktop/Workspace.h"

#include <QClipboard>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDesktopServices>
#include <QFile>
#include <QGuiApplication>
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

    void copyText(const std::string& text) override {
        if (qGuiApp)
            QGuiApplication::clipboard()->setText(QString::fromStdString(text));
    }
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
