#include "views/SheetsFixture.h"

#include <gmock/gmock.h>

#include <QTest>

namespace tallywick {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::settle;
using testing::SheetsFixture;

using SheetHostTest = SheetsFixture;

TEST_F(SheetHostTest, theUsersWishToCloseIsAnActionAndTheStateDecides) {
    const struct {
        const char* name;
        void (*dismiss)(QDialog& sheet);
    } cases[] = {
        {"Escape", [](QDialog& sheet) { QTest::keyClick(&sheet, Qt::Key_Escape); }},
        {"Return", [](QDialog& sheet) { QTest::keyClick(&sheet, Qt::Key_Return); }},
        {"the window manager", [](QDialog& sheet) { sheet.close(); }},
    };
    openSettings();
    openInstaller();
    EXPECT_EQ(settings()->windowModality(), Qt::WindowModal);
    EXPECT_EQ(settings()->parentWidget(), &window);
    EXPECT_TRUE(settings()->isWindow());
    for (const auto& row : cases) {
        calls.clear();
        row.dismiss(*settings());
        row.dismiss(*installer());
        settle();
        EXPECT_THAT(calls, ElementsAre("closeSettings", "tryWithoutInstalling")) << row.name;
        ASSERT_TRUE(settings() && settings()->isVisible()) << row.name;
        ASSERT_TRUE(installer() && installer()->isVisible()) << row.name;
    }
    fields.showingSettings = false;
    present();
    EXPECT_EQ(settings(), nullptr);
    EXPECT_NE(installer(), nullptr);
    fields.showingInstaller = false;
    present();
    EXPECT_EQ(installer(), nullptr);
}

TEST_F(SheetHostTest, aSheetMayBeClosedByItsOwnButton) {
    UtilityActions actions;
    SheetHost* closing = nullptr;
    actions.closeSettings = [&] {
        fields.showingSettings = false;
        closing->present(fields, theme, texts);
    };
    SheetHost other(&window, actions);
    closing = &other;
    fields.showingSettings = true;
    other.present(fields, theme, texts);
    ASSERT_NE(settings(), nullptr);
    button(settings(), "Done")->click();
    settle();
    EXPECT_EQ(settings(), nullptr);
}

TEST_F(SheetHostTest, noSheetOpensBeforeItsWindow) {
    window.hide();
    openInstaller();
    EXPECT_EQ(installer(), nullptr);
    window.show();
    present();
    EXPECT_TRUE(installer() && installer()->isVisible());
}

TEST_F(SheetHostTest, endedSheetsStayAwayUntilTheyAreAskedForAnew) {
    openSettings();
    openInstaller();
    host.endAll();
    EXPECT_FALSE(settings() && settings()->isVisible());
    EXPECT_FALSE(installer() && installer()->isVisible());
    settle();
    present();
    EXPECT_FALSE(settings() || installer());
    EXPECT_THAT(calls, IsEmpty());
    fields.showingSettings = false;
    present();
    openSettings();
    EXPECT_NE(settings(), nullptr);
    EXPECT_EQ(installer(), nullptr);
}

} // namespace
} // namespace tallywick
