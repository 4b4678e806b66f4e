#include "views/PathLine.h"
#include "views/SheetsFixture.h"
#include "views/StatusNotice.h"

#include <gmock/gmock.h>

#include <QAccessible>
#include <QAccessibleInterface>
#include <QScreen>
#include <QScrollArea>
#include <QTest>

#include <map>
#include <string>

namespace tallywick {
namespace {

using testing::accessibleName;
using ::testing::ElementsAre;
using testing::PaintRecorder;
using testing::SheetsFixture;
using testing::Strings;

using SheetsTest = SheetsFixture;

TEST_F(SheetsTest, settingsOfferWhatTheStateAllows) {
    const struct {
        const char* name;
        void (*change)(UtilityFields& fields);
        const char* mark; ///< of the buttons for the account
        bool offersCancel;
    } cases[] = {
        {"a refresh", [](UtilityFields& changed) { changed.accountBusy = true; }, "-", false},
        {"a helper's check", [](UtilityFields& changed) { changed.validatingHelper = true; }, "-",
         false},
        {"a pending sign-in", [](UtilityFields& changed) { changed.loginPending = true; }, "-",
         true},
        {"maintenance", [](UtilityFields& changed) { changed.maintenance = true; }, "-", false},
        {"an idle account", [](UtilityFields&) {}, "", false},
    };
    openSettings();
    const UtilityFields idle = fields;
    for (const auto& row : cases) {
        fields = idle;
        row.change(fields);
        present();
        const std::string mark = row.mark;
        Strings expected{mark + "Retry Connection", mark + "Choose Codex…", mark + "Use Automatic",
                         mark + "Sign In in Browser…", mark + "Copy Connection Details"};
        if (row.offersCancel)
            expected.emplace_back("Cancel Sign-In");
        expected.insert(expected.end(), {"Get Setup", "Done"});
        EXPECT_EQ(buttonsOf(settings()), expected) << row.name;
    }
}

TEST_F(SheetsTest, returnOnAButtonCallsItsAction) {
    const std::map<std::string, std::string> actions{
        {"Retry Connection", "retryConnection"},
        {"Choose Codex…", "chooseHelper"},
        {"Use Automatic", "useAutomaticDiscovery"},
        {"Sign In in Browser…", "startSignIn"},
        {"Copy Connection Details", "copyConnectionDetails"},
        {"Cancel Sign-In", "cancelSignIn"},
        {"Get Setup", "openProductPage"},
        {"Done", "closeSettings"},
        {"Try Without Installing", "tryWithoutInstalling"},
    };
    openSettings();
    openInstaller();
    std::size_t tried = 0;
    for (auto* sheet : std::initializer_list<QWidget*>{settings(), installer()}) {
        for (auto* pressed : sheet->findChildren<UtilityButton*>()) {
            calls.clear();
            QTest::keyClick(pressed, Qt::Key_Return);
            EXPECT_THAT(calls, ElementsAre(actions.at(pressed->text().toStdString())));
            ++tried;
        }
    }
    EXPECT_EQ(tried, actions.size());
}

TEST_F(SheetsTest, theKeyboardStaysWithTheButtonThatHasToWait) {
    openSettings();
    const auto focused = [this] { return settings()->focusWidget(); };
    UtilityButton* const signIn = button(settings(), "Sign In in Browser…");
    signIn->setFocus(Qt::TabFocusReason);

    fields.accountBusy = true;
    present();
    EXPECT_EQ(focused(), settings()); // where Return does nothing
    QTest::keyClick(settings(), Qt::Key_Return);
    EXPECT_TRUE(calls.empty());
    fields.accountBusy = false;
    present();
    EXPECT_EQ(focused(), signIn);

    fields.loginPending = true;
    present();
    EXPECT_EQ(focused(), button(settings(), "Cancel Sign-In"));
    fields.loginPending = false;
    fields.accountBusy = true;
    present();
    fields.accountBusy = false;
    present();
    EXPECT_EQ(focused(), signIn);
}

Strings visibleTexts(const QWidget* sheet) {
    Strings found;
    for (const auto* text : sheet->findChildren<SheetText*>())
        if (text->isVisible())
            found.push_back(text->text().toStdString());
    return found;
}

TEST_F(SheetsTest, settingsShowWhatTheyAreGiven) {
    fields.history.resize(12);
    openSettings();
    EXPECT_THAT(visibleTexts(settings()),
                ElementsAre("UTILITY SETTINGS", "Mac v0.6.0", "Installed in Applications",
                            "Codex connection",
                            "Uses your existing Codex sign-in. One limited managed-session "
                            "recovery is allowed; browser sign-in starts only when you choose it. "
                            "No chats, passwords, cookies, or authentication files are read by "
                            "this utility.",
                            "Local data",
                            "Up to 14 days or 4,096 quota samples are stored locally. Account "
                            "identity is SHA-256 hashed before storage. No usage history is "
                            "uploaded by this utility.",
                            "Current account history: 12 samples"));
    const auto* path = settings()->findChild<PathLine*>();
    EXPECT_EQ(path->accessibleValue(), u"/opt/codex/codex"_qs);

    fields.settingsStatus = SettingsText::helperSelected;
    fields.displayedHelperPath = "/usr/lib/<b>\ncodex";
    texts.installationLabel = u"Checking installed bundle…"_qs;
    present();
    EXPECT_THAT(visibleTexts(settings()), ::testing::Contains("Checking installed bundle…"));
    EXPECT_THAT(visibleTexts(settings()), ::testing::Contains("Validated Codex helper selected."));
    EXPECT_EQ(path->accessibleValue(), u"/usr/lib/<b> codex"_qs);
    EXPECT_TRUE(path->toolTip().contains(u"&lt;b&gt;"_qs));
}

TEST_F(SheetsTest, theInstallerShowsTheResultOfAnActionToo) {
    openInstaller();
    EXPECT_EQ(installer()->windowTitle(), u"Welcome to Tallywick"_qs);
    EXPECT_THAT(buttonsOf(installer()), ElementsAre("Try Without Installing"));
    EXPECT_THAT(visibleTexts(installer()),
                ElementsAre("Welcome to Tallywick",
                            "Install the app in Applications so it is always easy to find. It "
                            "will automatically connect to Codex if you are already signed in on "
                            "this Mac.",
                            "You can uninstall at any time from Settings."));
    fields.settingsStatus = SettingsText::detailsCopied;
    present();
    EXPECT_EQ(visibleTexts(installer()).back(), SettingsText::detailsCopied);
}

/// Every visible part lies whole inside the sheet's scrolled page or its row of buttons, with all
/// its text.
void expectNothingClipped(const QWidget* sheet) {
    for (const auto* part : sheet->findChildren<QWidget*>()) {
        const auto* text = qobject_cast<const SheetText*>(part);
        const bool isControl =
            qobject_cast<const UtilityButton*>(part) || qobject_cast<const PathLine*>(part);
        if (!part->isVisible() || !(text || isControl))
            continue;
        const std::string name =
            (text ? text->text() : part->accessibleName() + part->objectName()).toStdString();
        EXPECT_TRUE(part->parentWidget()->rect().contains(part->geometry())) << name;
        EXPECT_GE(part->width(), part->minimumSizeHint().width()) << name;
        EXPECT_GE(part->height(),
                  text ? text->heightForWidth(text->width()) : part->minimumSizeHint().height())
            << name;
        const QRect onSheet(part->mapTo(sheet, QPoint(0, 0)), part->size());
        EXPECT_GE(onSheet.left(), 16) << name;
        EXPECT_LE(onSheet.right(), sheet->width() - 16) << name;
    }
    const auto* scroller = sheet->findChild<QScrollArea*>();
    EXPECT_LE(scroller->widget()->width(), scroller->viewport()->width());
}

TEST_F(SheetsTest, nothingIsClippedWithTheLongestTexts) {
    openSettings();
    openInstaller();
    expectNothingClipped(settings());
    expectNothingClipped(installer());
    const QSize usual = settings()->size();

    fields.loginPending = true;
    fields.settingsStatus =
        std::string(SettingsText::detailsCopied) + " " + std::string(SettingsText::helperRefused);
    fields.displayedHelperPath = std::string(10000, '/') + "codex";
    fields.history.resize(4096);
    texts = {u"1234567890.1234567890.1234567890"_qs,
             u"PREVIEW — awaiting your approval · Installer / portable copy — install before "
             u"creating an alias"_qs};
    present();
    expectNothingClipped(settings());
    expectNothingClipped(installer());
    EXPECT_EQ(settings()->width(), usual.width());
    EXPECT_GT(settings()->height(), usual.height());
    EXPECT_LE(settings()->height(), settings()->screen()->availableGeometry().height());

    fields.loginPending = false;
    fields.settingsStatus.clear();
    texts = {u"0.6.0"_qs, u"Installed in Applications"_qs};
    present();
    EXPECT_EQ(settings()->size(), usual);
}

TEST_F(SheetsTest, theTabKeyFollowsTheReadingOrder) {
    openSettings();
    Strings order;
    QWidget* const first = button(settings(), "Retry Connection");
    QWidget* widget = first;
    do {
        if (widget->isVisible() && widget->focusPolicy() & Qt::TabFocus)
            order.push_back(accessibleName(widget));
        widget = widget->nextInFocusChain();
    } while (widget != first);
    EXPECT_EQ(order, buttonsOf(settings()));
    EXPECT_EQ(accessibleName(settings()), "Utility Settings");
}

TEST_F(SheetsTest, theResultOfAnActionIsANotificationToAScreenReader) {
    openSettings();
    auto* notice = settings()->findChild<StatusNotice*>();
    EXPECT_FALSE(notice->isVisible());
    QAccessibleInterface* heard = QAccessible::queryAccessibleInterface(notice);
    EXPECT_EQ(heard->role(), QAccessible::Notification);
    for (const auto status : {SettingsText::checkingHelper, SettingsText::helperRefused}) {
        fields.settingsStatus = status;
        present();
        EXPECT_TRUE(notice->isVisible());
        EXPECT_EQ(heard->text(QAccessible::Name).toStdString(), status);
    }
    fields.settingsStatus.clear();
    present();
    EXPECT_FALSE(notice->isVisible());
}

TEST_F(SheetsTest, nothingIsDrawnAnewWhenNothingHasChanged) {
    fields.settingsStatus = SettingsText::helperSelected;
    openSettings();
    const PaintRecorder paints;
    fields.now += 5;
    fields.cpuPercent = 42;
    present();
    EXPECT_THAT(paints.painted, ::testing::IsEmpty());
    theme = makeTheme(true, {});
    present();
    EXPECT_THAT(paints.painted, ::testing::Not(::testing::IsEmpty()));
}

TEST_F(SheetsTest, sheetsFollowTheTheme) {
    openSettings();
    const auto bottomColor = [&] {
        const QImage image = settings()->grab().toImage();
        return image.pixelColor(4, image.height() - 1);
    };
    EXPECT_EQ(bottomColor(), theme.backdropBottom);
    theme = makeTheme(true, {});
    present();
    EXPECT_EQ(bottomColor(), theme.backdropBottom);
    for (const auto* text : settings()->findChildren<SheetText*>())
        EXPECT_GE(contrastRatio(text->palette().color(QPalette::WindowText), theme.backdropBottom),
                  4.5)
            << text->text().toStdString();
}

} // namespace
} // namespace tallywick
