#include "views/ViewHarness.h"
#include "views/parts/Figures.h"
#include "views/sheets/InstallationView.h"
#include "views/sheets/SettingsView.h"
#include "views/sheets/SheetHost.h"
#include "views/sheets/SheetParts.h"

#include <gmock/gmock.h>

#include <QAccessible>
#include <QScreen>
#include <QTest>

#include <algorithm>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

namespace tallywick::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

/// A window with its sheets, and the names of the actions that were called.
class Sheets : public ::testing::Test {
  protected:
    void SetUp() override { window.show(); }
    void TearDown() override {
        host.endAll();
        settle();
    }

    void present() {
        host.present(fields, theme, texts);
        settle();
    }
    void open() {
        fields.showingSettings = true;
        fields.showingInstaller = true;
        present();
    }

    SettingsView* settings() { return window.findChild<SettingsView*>(); }
    InstallationView* installer() { return window.findChild<InstallationView*>(); }
    UtilityButton* button(const std::string& text) {
        for (auto* candidate : window.findChildren<UtilityButton*>())
            if (candidate->text().toStdString() == text)
                return candidate;
        return nullptr;
    }

    Strings calls;
    QWidget window;
    UtilityFields fields;
    Theme theme = makeTheme(false, {});
    ApplicationTexts texts{u"0.6.0"_qs, u"Installed in Applications"_qs};
    const UtilityActions actions = recordingActions(calls);
    SheetHost host{&window, actions};
};

TEST_F(Sheets, AreClosedByTheStateWhenTheUserWishes) {
    open();
    EXPECT_EQ(settings()->windowModality(), Qt::WindowModal);
    EXPECT_TRUE(settings()->windowFlags() & Qt::FramelessWindowHint) << "with a title of its own";
    for (const Qt::Key key : {Qt::Key_Escape, Qt::Key_Return}) {
        calls.clear();
        QTest::keyClick(settings(), key);
        QTest::keyClick(installer(), key);
        settle();
        EXPECT_THAT(calls, ElementsAre(called(UtilityCommand::closeSettings),
                                       called(UtilityCommand::tryWithoutInstalling)));
        ASSERT_TRUE(settings() && settings()->isVisible());
        ASSERT_TRUE(installer() && installer()->isVisible());
    }
    fields.showingSettings = false;
    present();
    EXPECT_TRUE(!settings() && installer());
}

TEST_F(Sheets, StandBeforeTheirDimmedWindowAndAlwaysOnTheScreen) {
    const auto brightness = [this] { return window.grab().toImage().pixelColor(1, 1).lightness(); };
    const int before = brightness();
    open();
    EXPECT_LT(brightness(), before);
    const QRect screen = settings()->screen()->availableGeometry();
    for (const QPoint place : {screen.topLeft(), screen.center(), screen.bottomRight()}) {
        window.setGeometry(QRect(place, QSize(300, 100)));
        settle();
        for (const QWidget* sheet : std::initializer_list<QWidget*>{settings(), installer()})
            EXPECT_TRUE(screen.contains(sheet->frameGeometry())) << place.x();
    }
    window.move(screen.center() - QPoint(150, 50));
    settle();
    EXPECT_LE((installer()->geometry().center() - screen.center()).manhattanLength(), 3);
    fields.showingSettings = fields.showingInstaller = false;
    present();
    EXPECT_EQ(brightness(), before);
}

TEST_F(Sheets, OpenWithTheirWindowAndOnceEndedOnlyWhenAskedForAnew) {
    window.hide();
    open();
    EXPECT_FALSE(settings() || installer());
    window.show();
    present();
    EXPECT_TRUE(settings() && installer());
    host.endAll();
    present();
    EXPECT_FALSE(settings() || installer());
    EXPECT_THAT(calls, IsEmpty());
    fields.showingSettings = false;
    present();
    open();
    EXPECT_TRUE(settings() && !installer());
}

TEST_F(Sheets, OfferWhatTheStateAllowsAndCallIt) {
    using Offers = std::vector<std::pair<std::string, UtilityCommand>>;
    const Offers account{{"Retry Connection", UtilityCommand::retryConnection},
                         {"Choose Codex…", UtilityCommand::chooseHelper},
                         {"Use Automatic", UtilityCommand::useAutomaticDiscovery},
                         {"Sign In in Browser…", UtilityCommand::startSignIn},
                         {"Copy Connection Details", UtilityCommand::copyConnectionDetails}};
    const Offers cancel{{"Cancel Sign-In", UtilityCommand::cancelSignIn}};
    const Offers footer{{"Check for Updates", UtilityCommand::checkForUpdates},
                        {"Get Setup", UtilityCommand::openProductPage},
                        {"Done", UtilityCommand::closeSettings}};
    bool UtilityFields::*const idle = nullptr;
    const std::tuple<bool UtilityFields::*, Offers> cases[] = {
        {idle, account},
        {&UtilityFields::accountBusy, {}},
        {&UtilityFields::validatingHelper, {}},
        {&UtilityFields::maintenance, {}},
        {&UtilityFields::loginPending, cancel},
        {idle, account}};
    open();
    for (auto [field, offered] : cases) {
        if (field)
            fields.*field = true;
        present();
        offered.insert(offered.end(), footer.begin(), footer.end());
        Strings names;
        for (const auto& [text, command] : offered) {
            names.push_back(text);
            calls.clear();
            QTest::keyClick(button(text), Qt::Key_Return);
            EXPECT_THAT(calls, ElementsAre(called(command))) << text;
        }
        EXPECT_EQ(tabOrder(button(names.front())), names);
        if (field)
            fields.*field = false;
    }
    std::set<std::pair<int, int>> columns; // left edge and width
    for (const auto& [text, command] : account)
        columns.emplace(button(text)->x(), button(text)->width());
    EXPECT_EQ(columns.size(), 2U);
    EXPECT_NEAR(columns.begin()->second, columns.rbegin()->second, 1);
}

TEST_F(Sheets, OfferWhatCanBeDoneWithAnUpdateAndTellHowFarItIs) {
    const std::pair<std::string, UtilityCommand> check{"Check for Updates",
                                                       UtilityCommand::checkForUpdates},
        download{"Download Update", UtilityCommand::downloadUpdate},
        cancel{"Cancel", UtilityCommand::cancelUpdate},
        show{"Show Download", UtilityCommand::showUpdate},
        openIt{"Open Update", UtilityCommand::openUpdate};
    const std::pair<UpdateFields, std::vector<std::pair<std::string, UtilityCommand>>> cases[] = {
        {{}, {check}},
        {{.busy = true}, {cancel}},
        {{.offersDownload = true}, {check, download}},
        {{.busy = true, .offersDownload = true}, {cancel}},
        {{.offersShow = true}, {check, show}},
        {{.offersShow = true, .offersOpen = true}, {check, show, openIt}},
        {{.busy = true, .offersShow = true, .offersOpen = true}, {cancel}}};
    open();
    for (const auto& [updates, offered] : cases) {
        fields.updates = updates;
        present();
        Strings names;
        for (const auto& [text, command] : offered) {
            names.push_back(text);
            calls.clear();
            QTest::keyClick(button(text), Qt::Key_Return);
            EXPECT_THAT(calls, ElementsAre(called(command))) << text;
        }
        const Strings reached = tabOrder(button("Copy Connection Details"));
        EXPECT_EQ(Strings(reached.begin() + 1, reached.begin() + 1 + std::ssize(names)), names);
        EXPECT_EQ(reached.at(names.size() + 1), "Get Setup");
    }

    auto* const bar = settings()->findChild<SheetProgress*>();
    EXPECT_FALSE(bar->isVisible());
    fields.updates = {.status = "Downloading…\u202840%", .progress = {{400, 1000}}};
    present();
    EXPECT_TRUE(bar->isVisible());
    auto* const heard = QAccessible::queryAccessibleInterface(bar);
    EXPECT_EQ(heard->role(), QAccessible::ProgressBar);
    EXPECT_EQ(heard->text(QAccessible::Name), u"Download"_qs);
    EXPECT_EQ(heard->valueInterface()->currentValue(), 400);
    EXPECT_EQ(heard->valueInterface()->maximumValue(), 1000);
    const QImage image = bar->grab().toImage();
    const int middle = image.height() / 2;
    EXPECT_EQ(image.pixelColor(image.width() * 39 / 100, middle), theme.accentText);
    EXPECT_NE(image.pixelColor(image.width() * 41 / 100, middle), theme.accentText);
    EXPECT_EQ(settings()->findChildren<StatusNotice*>().back()->text(), u"Downloading… 40%"_qs);
}

TEST_F(Sheets, CarryTheKeyboardAlongAnUpdate) {
    open();
    const auto keyboardAfter = [this](const UpdateFields& updates) {
        fields.updates = updates;
        present();
        return settings()->focusWidget();
    };
    button("Check for Updates")->setFocus(Qt::TabFocusReason);
    EXPECT_EQ(keyboardAfter({.busy = true}), settings());
    EXPECT_EQ(keyboardAfter({.offersDownload = true}), button("Check for Updates"));
    button("Download Update")->setFocus(Qt::TabFocusReason);
    EXPECT_EQ(keyboardAfter({.busy = true, .offersDownload = true}), settings());
    EXPECT_EQ(keyboardAfter({.offersShow = true}), button("Show Download"));
    EXPECT_EQ(keyboardAfter({.busy = true, .offersShow = true}), settings());
    button("Cancel")->setFocus(Qt::TabFocusReason);
    EXPECT_EQ(keyboardAfter({.offersDownload = true}), button("Download Update"));
}

TEST_F(Sheets, KeepTheKeyboardForTheButtonThatHasToWait) {
    open();
    const auto focused = [this] { return settings()->focusWidget(); };
    UtilityButton* const signIn = button("Sign In in Browser…");
    signIn->setFocus(Qt::TabFocusReason);

    fields.accountBusy = true;
    present();
    EXPECT_EQ(focused(), settings());
    QTest::keyClick(settings(), Qt::Key_Return);
    EXPECT_THAT(calls, IsEmpty()) << "Return does nothing there";
    fields.accountBusy = false;
    present();
    EXPECT_EQ(focused(), signIn);

    fields.loginPending = true;
    present();
    EXPECT_EQ(focused(), button("Cancel Sign-In"));
    fields.loginPending = false;
    fields.accountBusy = true;
    present();
    fields.accountBusy = false;
    present();
    EXPECT_EQ(focused(), signIn);
}

TEST_F(Sheets, ShowWhatTheyAreGivenAndTellAScreenReaderTheResultOfAnAction) {
    open();
    fields.displayedHelperPath = "/usr/lib/<b>\ncodex";
    present();
    const auto* const path = settings()->findChild<PathLine*>();
    EXPECT_EQ(path->accessibleValue(), u"/usr/lib/<b> codex"_qs);
    EXPECT_TRUE(path->toolTip().contains(u"&lt;b&gt;"_qs));
    for (QWidget* sheet : std::initializer_list<QWidget*>{settings(), installer()}) {
        auto* const notice = sheet->findChild<StatusNotice*>();
        auto* const heard = QAccessible::queryAccessibleInterface(notice);
        EXPECT_EQ(heard->role(), QAccessible::Notification);
        for (const auto status : {std::string_view(), SettingsText::helperSelected,
                                  SettingsText::helperRefused, std::string_view()}) {
            fields.settingsStatus = status;
            present();
            EXPECT_EQ(notice->isVisible(), !status.empty());
            EXPECT_EQ(heard->text(QAccessible::Name).toStdString(), status);
        }
    }
}

TEST_F(Sheets, LeaveNoLastWordAlone) {
    open();
    const auto shown = installer()->findChildren<SheetText*>();
    EXPECT_TRUE(std::ranges::any_of(
        shown, [](const QLabel* text) { return text->text().endsWith(u" this\u00a0Mac."_qs); }));
}

/// Every text and every control lies inside the sheet, with all its text.
void expectNothingClipped(const QWidget* sheet) {
    for (const auto* part : sheet->findChildren<QWidget*>()) {
        const auto* text = qobject_cast<const SheetText*>(part);
        if (!part->isVisible() || !(text || qobject_cast<const UtilityButton*>(part)))
            continue;
        SCOPED_TRACE((text ? text->text() : part->accessibleName()).toStdString());
        const QSize least = part->minimumSizeHint();
        EXPECT_TRUE(part->parentWidget()->rect().contains(part->geometry()));
        EXPECT_GE(part->width(), least.width());
        EXPECT_GE(part->height(), text ? text->heightForWidth(text->width()) : least.height());
        const int left = part->mapTo(sheet, QPoint(0, 0)).x();
        EXPECT_TRUE(left >= 16 && left + part->width() <= sheet->width() - 16) << left;
    }
}

TEST_F(Sheets, ClipNothingOfTheLongestTexts) {
    open();
    const QSize usual = settings()->size();
    fields.loginPending = true;
    fields.settingsStatus =
        std::string(SettingsText::detailsCopied) + " " + std::string(SettingsText::helperRefused);
    fields.displayedHelperPath = std::string(10000, '/') + "codex";
    fields.historyCount = 4096;
    texts = {u"1234567890.1234567890.1234567890"_qs,
             u"PREVIEW — awaiting your approval · Installer / portable copy — install before "
             u"creating an alias"_qs};
    present();
    expectNothingClipped(settings());
    expectNothingClipped(installer());
    EXPECT_EQ(settings()->width(), usual.width());
    EXPECT_GT(settings()->height(), usual.height());
    EXPECT_LE(settings()->height(), settings()->screen()->availableGeometry().height());
}

TEST_F(Sheets, FollowTheThemeAndAreDrawnOnlyWhenSomethingHasChanged) {
    open();
    const PaintRecorder paints;
    fields.cpuPercent = 42;
    present();
    EXPECT_THAT(paints.painted, IsEmpty());
    theme = makeTheme(true, {});
    present();
    EXPECT_THAT(paints.painted, Not(IsEmpty()));
    const QImage image = settings()->grab().toImage();
    EXPECT_EQ(image.pixelColor(image.width() / 2, image.height() - 1), theme.buttonOutline);
    const auto* const text = settings()->findChild<SheetText*>();
    EXPECT_EQ(text->palette().color(QPalette::WindowText), theme.text);
}

} // namespace
} // namespace tallywick::testing
