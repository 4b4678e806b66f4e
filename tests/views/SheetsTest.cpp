#include "support/TemporaryFolder.h"
#include "views/ViewHarness.h"
#include "views/sheets/InstallationView.h"
#include "views/sheets/SheetHost.h"
#include "views/window/AlertPanel.h"
#include "views/window/FileOpenPanel.h"

#include <gmock/gmock.h>

#include <QFileDialog>
#include <QLabel>
#include <QPointer>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QTest>
#include <QTimer>

namespace tallywick::testing {
namespace {

namespace fs = std::filesystem;

using ::testing::IsEmpty;
using ::testing::Not;
using enum UtilityCommand;

const std::string noticesBox = "Tell me at 80% and 95%, and when the week begins anew";

UtilityFields with(bool UtilityFields::*flag) {
    UtilityFields fields;
    fields.*flag = true;
    return fields;
}

UtilityFields with(const UpdateFields& updates) {
    UtilityFields fields;
    fields.updates = updates;
    return fields;
}

/// A window with its sheets, and the actions that were called.
class Sheets : public ::testing::Test {
  protected:
    void SetUp() override { window.show(); }
    void TearDown() override {
        host.endAll();
        settle();
    }

    /// Shows these fields, with the sheets that are wanted.
    void show(UtilityFields fields, bool wantsSettings = true, bool wantsInstaller = true) {
        fields.showingSettings = wantsSettings;
        fields.showingInstaller = wantsInstaller;
        host.present(fields, theme, texts);
        settle();
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
    Theme theme = makeTheme(false, {});
    ApplicationTexts texts{u"0.6.0"_qs, u"Installed in Applications"_qs};
    const UtilityActions actions = recordingActions(calls);
    SheetHost host{&window, actions};
};

TEST_F(Sheets, AreClosedByTheStateWhenTheUserWishes) {
    show({});
    EXPECT_EQ(settings()->windowModality(), Qt::WindowModal);
    EXPECT_TRUE(settings()->windowFlags() & Qt::FramelessWindowHint) << "with a title of its own";
    for (const auto& [key, command] :
         {std::pair(Qt::Key_Escape, tryWithoutInstalling), std::pair(Qt::Key_Return, install)}) {
        calls.clear();
        QTest::keyClick(settings(), key);
        QTest::keyClick(installer(), key);
        settle();
        EXPECT_EQ(calls, Strings({called(closeSettings), called(command)}));
        ASSERT_TRUE(settings() && settings()->isVisible());
        ASSERT_TRUE(installer() && installer()->isVisible());
    }
    show({}, false, true);
    EXPECT_TRUE(!settings() && installer());
}

TEST_F(Sheets, StandBeforeTheirDimmedWindowAndAlwaysOnTheScreen) {
    const auto brightness = [this] { return window.grab().toImage().pixelColor(1, 1).lightness(); };
    const int before = brightness();
    show({});
    EXPECT_LT(brightness(), before);
    const QRect screen = settings()->screen()->availableGeometry();
    for (const QPoint middle : {screen.topLeft(), screen.bottomRight(), screen.center()}) {
        window.setGeometry(QRect(middle - QPoint(150, 50), QSize(300, 100)));
        settle();
        EXPECT_TRUE(screen.contains(settings()->frameGeometry())) << middle.x();
        EXPECT_TRUE(screen.contains(installer()->frameGeometry())) << middle.x();
    }
    EXPECT_LE((installer()->geometry().center() - screen.center()).manhattanLength(), 3);
    show({}, false, false);
    EXPECT_EQ(brightness(), before);
}

TEST_F(Sheets, OpenWithTheirWindowAndOnceEndedOnlyWhenAskedForAnew) {
    window.hide();
    show({});
    EXPECT_FALSE(settings() || installer());
    window.show();
    show({});
    EXPECT_TRUE(settings() && installer());
    host.endAll();
    show({});
    EXPECT_FALSE(settings() || installer());
    show({}, false, true);
    show({});
    EXPECT_TRUE(settings() && !installer());
}

TEST_F(Sheets, OfferWhatTheStateAllowsAndCallIt) {
    using Commands = std::vector<UtilityCommand>;
    const Commands account{retryConnection, chooseHelper, useAutomaticDiscovery, startSignIn,
                           copyConnectionDetails};
    const struct {
        UtilityFields fields;
        Commands account, updates;
        Commands installation{createDesktopAlias, revealDesktopAlias, revealThisCopy,
                              openProductPage, uninstall};
    } cases[] = {
        {{}, account, {checkForUpdates}},
        {with(&UtilityFields::accountBusy), {}, {checkForUpdates}},
        {with(&UtilityFields::maintenance), {}, {checkForUpdates}},
        {with(&UtilityFields::loginPending), {cancelSignIn}, {checkForUpdates}},
        {with({.busy = true}), account, {cancelUpdate}},
        {with({.offersDownload = true}), account, {checkForUpdates, downloadUpdate}},
        {with({.busy = true, .offersDownload = true}), account, {cancelUpdate}},
        {with({.offersShow = true, .offersOpen = true}),
         account,
         {checkForUpdates, showUpdate, openUpdate}},
        {with({.busy = true, .offersShow = true, .offersOpen = true}), account, {cancelUpdate}},
        {with(&UtilityFields::installing), account, {checkForUpdates}, {}},
        {with(&UtilityFields::offersInstallation),
         account,
         {checkForUpdates},
         {install, createDesktopAlias, revealDesktopAlias, revealThisCopy, openProductPage,
          uninstall}},
        {with(&UtilityFields::isManaged),
         account,
         {},
         {createDesktopAlias, revealDesktopAlias, revealThisCopy, openProductPage}},
        {{}, account, {checkForUpdates}}};
    for (const auto& row : cases) {
        show(row.fields);
        Strings offered{called(closeSettings)};
        for (const Commands& commands : {row.account, row.updates, row.installation})
            std::ranges::transform(commands, std::back_inserter(offered), called);
        calls.clear();
        for (const std::string& name : tabOrder(button("Done")))
            if (name != noticesBox)
                QTest::keyClick(button(name), Qt::Key_Return);
        EXPECT_EQ(calls, offered);
    }
    for (const char* name : {"Choose Codex…", "Uninstall…"})
        EXPECT_NEAR(button("Retry Connection")->width(), button(name)->width(), 1) << name;
}

TEST_F(Sheets, OfferToInstallWithAnAlias) {
    for (const bool creates : {true, false}) {
        UtilityFields fields = with(&UtilityFields::installing);
        fields.createShortcutOnInstall = creates;
        show(fields);
        EXPECT_EQ(tabOrder(button("Installing…")),
                  Strings({"Installing…", "Create a Desktop shortcut", "Try Without Installing"}));
        auto* const box = installer()->findChild<QCheckBox*>();
        EXPECT_EQ(box->isChecked(), creates);
        EXPECT_THAT(calls, IsEmpty());
        QTest::keyClick(box, Qt::Key_Space);
        EXPECT_EQ(std::exchange(calls, {}), Strings({creates ? "no shortcut" : "shortcut"}));
    }
}

TEST_F(Sheets, OfferNotices) {
    for (const bool tells : {true, false}) {
        UtilityFields fields;
        fields.tellsOfUsage = tells;
        show(fields);
        auto* const box = settings()->findChildren<QCheckBox*>().back();
        EXPECT_EQ(box->text().toStdString(), noticesBox);
        EXPECT_EQ(box->isChecked(), tells);
        QTest::keyClick(box, Qt::Key_Space);
        EXPECT_EQ(std::exchange(calls, {}), Strings({tells ? "do not tell" : "tell"}));
    }
}

TEST_F(Sheets, OfferToStartWithTheSessionWhatIsInstalled) {
    UtilityFields fields;
    const auto box = [&] { return settings()->findChild<QCheckBox*>(); };
    show(fields);
    EXPECT_FALSE(box()->isVisible());
    fields.offersSessionStart = true;
    show(fields);
    EXPECT_TRUE(box()->isVisible() && !box()->isEnabled()) << "not read yet";
    for (const bool starts : {true, false}) {
        fields.startsWithSession = starts;
        show(fields);
        EXPECT_EQ(box()->isChecked(), starts);
        QTest::keyClick(box(), Qt::Key_Space);
        EXPECT_EQ(std::exchange(calls, {}), Strings({starts ? "no session" : "session"}));
    }
}

TEST_F(Sheets, TellHowFarADownloadIs) {
    show(with({.status = "Downloading…\u202840%", .progress = {{400, 1000}}}));
    EXPECT_EQ(settings()->findChildren<StatusNotice*>().back()->text(), u"Downloading… 40%"_qs);
    auto* const bar = settings()->findChild<SheetProgress*>();
    EXPECT_TRUE(bar->isVisible());
    EXPECT_EQ(QAccessible::queryAccessibleInterface(bar)->valueInterface()->currentValue(), 400);
    const QImage image = bar->grab().toImage();
    const int middle = image.height() / 2;
    EXPECT_EQ(image.pixelColor(image.width() * 39 / 100, middle), theme.accentText);
    EXPECT_NE(image.pixelColor(image.width() * 41 / 100, middle), theme.accentText);
    const auto notes = QString(u"Faster.\u2028"_qs).repeated(250);
    show(with({.status = notes.toStdString()}));
    EXPECT_FALSE(bar->isVisible());
    const auto* const status = settings()->findChildren<StatusNotice*>().back();
    EXPECT_EQ(status->text(), u"Faster. "_qs.repeated(250)) << "all of it";
    EXPECT_TRUE(status->wordWrap());
}

TEST_F(Sheets, KeepTheKeyboardForTheButtonThatHasToWaitOrForItsHeir) {
    const std::string sheet = "Utility Settings"; // where Return does nothing
    const struct {
        const char* reached; ///< with Tab, before the fields change
        UtilityFields fields;
        std::string keyboard;
    } steps[] = {{"Sign In in Browser…", with(&UtilityFields::accountBusy), sheet},
                 {nullptr, {}, "Sign In in Browser…"},
                 {nullptr, with(&UtilityFields::loginPending), "Cancel Sign-In"},
                 {nullptr, with(&UtilityFields::accountBusy), sheet},
                 {nullptr, {}, "Sign In in Browser…"},
                 {"Check for Updates", with({.busy = true}), sheet},
                 {nullptr, with({.offersDownload = true}), "Check for Updates"},
                 {"Download Update", with({.busy = true, .offersDownload = true}), sheet},
                 {nullptr, with({.offersShow = true}), "Show Download"},
                 {nullptr, with({.busy = true, .offersShow = true}), sheet},
                 {"Cancel", with({.offersDownload = true}), "Download Update"}};
    show({});
    for (const auto& [reached, fields, keyboard] : steps) {
        if (reached)
            button(reached)->setFocus(Qt::TabFocusReason);
        show(fields);
        EXPECT_EQ(accessibleName(settings()->focusWidget()), keyboard) << (reached ? reached : "");
        if (keyboard == sheet)
            QTest::keyClick(settings(), Qt::Key_Return);
        EXPECT_THAT(calls, IsEmpty());
    }
}

TEST_F(Sheets, ShowWhatTheyAreGivenAndTellAScreenReaderTheResultOfAnAction) {
    UtilityFields fields;
    fields.displayedHelperPath = "/usr/lib/<b>\ncodex";
    show(fields);
    const auto* const path = settings()->findChild<PathLine*>();
    EXPECT_EQ(path->accessibleValue(), u"/usr/lib/<b> codex"_qs);
    EXPECT_TRUE(path->toolTip().contains(u"&lt;b&gt;"_qs));
    EXPECT_EQ(installer()->findChild<QLabel*>()->text(), u"Welcome to\u00a0Tallywick"_qs)
        << "no last word stands alone";
    for (QWidget* sheet : std::initializer_list<QWidget*>{settings(), installer()}) {
        auto* const notice = sheet->findChild<StatusNotice*>();
        auto* const heard = QAccessible::queryAccessibleInterface(notice);
        EXPECT_EQ(heard->role(), QAccessible::Notification);
        for (const char* status : {"", "Selected.", "Refused.", ""}) {
            fields.settingsStatus = status;
            show(fields);
            EXPECT_EQ(notice->isVisible(), *status != '\0');
            EXPECT_EQ(heard->text(QAccessible::Name), QLatin1String(status));
        }
    }
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
    show({});
    const QSize usual = installer()->size();
    texts = {u"1234567890.1234567890.1234567890"_qs, u"Installer / portable copy "_qs.repeated(5)};
    UtilityFields fields = with(&UtilityFields::loginPending);
    fields.settingsStatus =
        std::string(SettingsText::detailsCopied) + " /a" + std::string(300, '/') + "longPath";
    fields.displayedHelperPath = std::string(10000, '/') + "codex";
    show(fields);
    expectNothingClipped(settings());
    expectNothingClipped(installer());
    EXPECT_EQ(installer()->width(), usual.width());
    EXPECT_GT(installer()->height(), usual.height());
    EXPECT_LE(settings()->height(), settings()->screen()->availableGeometry().height());
}

TEST_F(Sheets, FollowTheThemeAndAreDrawnOnlyWhenSomethingHasChanged) {
    show({});
    EXPECT_THAT(repaintedBy([this] { show(sampleFields()); }), IsEmpty());
    theme = makeTheme(true, {});
    EXPECT_THAT(repaintedBy([this] { show({}); }), Not(IsEmpty()));
    const QImage image = settings()->grab().toImage();
    EXPECT_EQ(image.pixelColor(image.width() / 2, image.height() - 1), theme.buttonOutline);
    const auto* const text = settings()->findChild<SheetText*>();
    EXPECT_EQ(text->palette().color(QPalette::WindowText), theme.text);
}

TEST_F(Sheets, BringAResultAndTheKeyboardIntoView) {
    show(widestFields());
    auto* const bar = settings()->findChild<QScrollArea*>()->verticalScrollBar();
    bar->setValue(bar->maximum());
    ASSERT_GT(bar->value(), 0);
    UtilityFields fields = widestFields();
    fields.settingsStatus = "Uninstall stopped.";
    show(fields);
    EXPECT_FALSE(settings()->findChild<StatusNotice*>()->visibleRegion().isEmpty());
    bar->setValue(bar->maximum());
    show(fields);
    EXPECT_GT(bar->value(), 0) << "once";
    bar->setValue(0);
    QTest::keyClick(button("Done"), Qt::Key_Backtab);
    const QWidget* const reached = button("Uninstall…");
    EXPECT_EQ(reached->visibleRegion().boundingRect(), reached->rect());
}

/// What is chosen by a user who does that once the dialog is there.
template <typename Use>
std::optional<fs::path> chosenBy(Use use, QWidget* window = nullptr) {
    FileOpenPanel panel;
    panel.setParent(window);
    QTimer::singleShot(0, [&use] {
        const QPointer dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        ASSERT_TRUE(dialog);
        use(*dialog);
        if (dialog && dialog->isVisible())
            dialog->reject();
    });
    return panel.chooseFile("Select <Codex>", "The native helper, or the app & its content.");
}

TEST(FileOpenPanel, TakesFilesLinksAndApplicationBundlesButNoOtherFolder) {
    const TemporaryFolder folder;
    runIn(folder.path(), "echo program > .hidden; ln -s .hidden link\n"
                         "mkdir -p folder Some.app/Contents; ln -s Some.app Alias.app");
    for (const char* name : {".hidden", "link", "Some.app", "Alias.app", "folder"}) {
        const auto chosen = chosenBy([&](QFileDialog& dialog) {
            dialog.selectFile(QString::fromStdString(folder / name));
            static_cast<QDialog&>(dialog).accept();
        });
        EXPECT_EQ(chosen.value_or("folder"), fs::path(name) == "folder" ? "folder" : folder / name);
    }
}

TEST(FileOpenPanel, OutlivesTheWindowItStandsOver) {
    auto window = std::make_unique<QWidget>();
    EXPECT_EQ(chosenBy([&window](QFileDialog&) { window.reset(); }, window.get()), std::nullopt);
}

/// What a user answers who does that once the question is there.
AlertAnswer answeredBy(std::function<void(QDialog&)> use, QWidget* window = nullptr) {
    AlertPanel panel;
    panel.setWindow(window, [] { return makeTheme(true, {}); });
    QTimer::singleShot(0, [&use] {
        const QPointer dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        ASSERT_TRUE(dialog);
        settle();
        expectNothingClipped(dialog);
        use(*dialog);
        if (dialog && dialog->isVisible())
            dialog->reject();
    });
    return panel.ask({.message = "Replace <it>?",
                      .information = "There is " + std::string(300, '/') + "copy already.",
                      .confirm = "Replace",
                      .checkBox = "The data too"});
}

TEST(AlertPanel, TakesNothingButItsFirstButtonForAYes) {
    const auto pressing = [](const char* name) {
        return [name](QDialog& dialog) {
            for (auto* button : dialog.findChildren<QAbstractButton*>())
                if (button->text() == QLatin1String(name))
                    button->click();
        };
    };
    const auto key = [](Qt::Key pressed) {
        return [pressed](QDialog& dialog) { QTest::keyClick(&dialog, pressed); };
    };
    const auto checking = [](Qt::Key pressed) {
        return [pressed](QDialog& dialog) {
            EXPECT_EQ(tabOrder(dialog.focusWidget()),
                      Strings({"Replace", "The data too", "Cancel"}));
            dialog.findChild<QCheckBox*>()->click();
            QTest::keyClick(&dialog, pressed);
        };
    };
    auto window = std::make_unique<QWidget>();
    const struct {
        std::function<void(QDialog&)> use;
        bool confirmed, checked;
    } cases[] = {
        {key(Qt::Key_Return), true, false},     {pressing("Replace"), true, false},
        {checking(Qt::Key_Return), true, true}, {checking(Qt::Key_Escape), false, false},
        {key(Qt::Key_Escape), false, false},    {[&](QDialog&) { window.reset(); }, false, false}};
    for (const auto& tried : cases) {
        const AlertAnswer answer = answeredBy(tried.use, window.get());
        EXPECT_EQ(answer.confirmed, tried.confirmed) << &tried - cases;
        EXPECT_EQ(answer.checked, tried.checked) << &tried - cases;
    }
}

} // namespace
} // namespace tallywick::testing
