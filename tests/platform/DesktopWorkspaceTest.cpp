#include "platform/desktop/Workspace.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QUrl>

#include <gtest/gtest.h>

#include <cstdlib>

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

} // namespace
} // namespace tallywick

#include "DesktopWorkspaceTest.moc"
