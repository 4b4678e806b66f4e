#include "platform/Workspace.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QUrl>

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>

namespace tallywick {
namespace {

/// Stands for the browser, the mail program and the file browser.
class AddressReceiver : public QObject {
    Q_OBJECT

  public:
    QString opened;

  public Q_SLOTS:
    void open(const QUrl& address) { opened = address.toString(QUrl::FullyEncoded); }
};

TEST(DesktopWorkspace, OpensAddressesAndCopiesTexts) {
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    ::setenv("QT_NO_GLIB", "1", 1); // its event loop keeps a descriptor to the end of the process
    const auto workspace = desktopWorkspace();
    EXPECT_FALSE(workspace->openAddress("https://example.com/")); // no desktop yet
    EXPECT_FALSE(workspace->openFolder("/"));
    workspace->copyText("lost");

    int count = 1;
    std::array<char, 8> name{"program"};
    std::array<char*, 2> arguments{name.data(), nullptr};
    const QGuiApplication application(count, arguments.data());
    AddressReceiver receiver;
    for (const char* scheme : {"https", "mailto", "file"})
        QDesktopServices::setUrlHandler(QString::fromLatin1(scheme), &receiver, "open");
    const std::string address = "https://auth.openai.com/authorize?callback=http%3A%2F%2Flocalhost";
    EXPECT_TRUE(workspace->openAddress(address));
    EXPECT_EQ(receiver.opened.toStdString(), address);
    EXPECT_FALSE(workspace->openAddress("https://exa mple.com/"));
    const std::string mail = "mailto:?subject=A&body=https%3A%2F%2Fcorvane.example%2F";
    EXPECT_TRUE(workspace->openAddress(mail));
    EXPECT_EQ(receiver.opened.toStdString(), mail);
    EXPECT_TRUE(workspace->openFolder("/media/50% #1?"));
    EXPECT_EQ(receiver.opened.toStdString(), "file:///media/50%25%20%231%3F");
    for (const char* scheme : {"https", "mailto", "file"})
        QDesktopServices::unsetUrlHandler(QString::fromLatin1(scheme));

    workspace->copyText("Corvane Mac 0.6.0\nCodex: é");
    EXPECT_EQ(QGuiApplication::clipboard()->text().toStdString(), "Corvane Mac 0.6.0\nCodex: é");
}

} // namespace
} // namespace tallywick

#include "DesktopWorkspaceTest.moc"
