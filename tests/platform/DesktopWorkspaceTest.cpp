#include "platform/desktop/Workspace.h"

#include "base/Product.h"
#include "support/PrivateBus.h"

#include <QClipboard>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QUrl>

#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

namespace tallywick {
namespace {

/// Stands for the browser, the mail program and the file browser.
class AddressReceiver : public QObject {
    Q_OBJECT

  public:
    AddressReceiver() {
        for (const char* scheme : {"https", "mailto", "file"})
            QDesktopServices::setUrlHandler(QString::fromLatin1(scheme), this, "open");
    }
    std::string opened;

  public Q_SLOTS:
    void open(const QUrl& url) { opened = url.toString(QUrl::FullyEncoded).toStdString(); }
};

TEST(DesktopWorkspace, OpensAddressesAndCopiesTexts) {
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    ::setenv("QT_NO_GLIB", "1", 1); // its event loop keeps a descriptor to the end of the process
    const auto workspace = desktopWorkspace();
    EXPECT_FALSE(workspace->openAddress("https://example.com/")) << "no desktop yet";
    EXPECT_FALSE(workspace->openFolder("/"));
    workspace->copyText("lost");

    int count = 0;
    const QGuiApplication application(count, nullptr);
    const AddressReceiver receiver;
    for (const char* address : {"https://auth.openai.com/authorize?callback=http%3A%2F%2Flocalhost",
                                "mailto:?subject=A&body=https%3A%2F%2Fcorvane.example%2F"}) {
        EXPECT_TRUE(workspace->openAddress(address));
        EXPECT_EQ(receiver.opened, address);
    }
    EXPECT_FALSE(workspace->openAddress("https://exa mple.com/"));
    EXPECT_TRUE(workspace->openFolder("/media/50% #1?"));
    EXPECT_EQ(receiver.opened, "file:///media/50%25%20%231%3F");
    workspace->copyText("Codex: é");
    EXPECT_EQ(QGuiApplication::clipboard()->text().toStdString(), "Codex: é");
}

/// A file browser.
class FileBrowser : public QDBusVirtualObject {
  public:
    QStringList shown;

    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override {
        shown = message.arguments().value(0).toStringList();
        return bus.send(message.createReply());
    }
};

TEST(DesktopWorkspace, AsksTheFileBrowserToSelectAnItem) {
    testing::runApart([] {
        const testing::PrivateBus bus;
        ::setenv("DBUS_SESSION_BUS_ADDRESS", bus.address().c_str(), 1);
        FileBrowser browser;
        QDBusConnection connection = bus.connection("browser");
        const QString path = QStringLiteral("/org/freedesktop/FileManager1");
        EXPECT_TRUE(connection.registerVirtualObject(path, &browser));
        EXPECT_TRUE(connection.registerService(QStringLiteral("org.freedesktop.FileManager1")));
        desktopWorkspace()->revealItem("/not/awaited");
        const auto workspace = desktopWorkspace();
        workspace->revealItem("/a b/c#d");
        const QStringList item{QStringLiteral("file:///a%20b/c%23d")};
        EXPECT_TRUE(testing::eventually([&] { return browser.shown == item; }));
        connection.unregisterObject(path);
    });
}

TEST(DesktopWorkspace, StartsAnApplicationThatStaysByItself) {
    const testing::TemporaryFolder folder;
    const auto program = folder / Product::executablePath;
    const auto workspace = desktopWorkspace();
    EXPECT_FALSE(workspace->openApplication(folder.path())) << "none is there";
    std::filesystem::create_directories(program.parent_path());
    testing::writeAll(program,
                      "#!/bin/sh\npwd >\"${0%/*}/made\"; mv \"${0%/*}/made\" \"${0%/*}/place\"\n");
    std::filesystem::permissions(program, std::filesystem::perms{0755});
    EXPECT_TRUE(workspace->openApplication(folder.path()));
    while (!std::filesystem::exists(program.parent_path() / "place"))
        std::this_thread::yield();
    EXPECT_EQ(testing::readAll(program.parent_path() / "place"), "/\n");
}

} // namespace
} // namespace tallywick

#include "DesktopWorkspaceTest.moc"
