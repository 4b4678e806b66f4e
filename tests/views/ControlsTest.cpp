// What the window tells, and what it does when its parts are pressed.

#include "views/ViewHarness.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QTest>

namespace tallywick::testing {
namespace {

const QSize full(520, 659);
const QSize mini(500, 225);

void holdReturn(QWidget* part) {
    QKeyEvent repeated(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, {}, true);
    QApplication::sendEvent(part, &repeated);
}

TEST(Controls, DoTheSameForMouseAndKeyboard) {
    const struct {
        QSize layout;
        const char* name;
        std::string call;
    } cases[] = {
        {full, "Open corvane.example", called(UtilityCommand::openHomePage)},
        {full, "Quit Tallywick", called(UtilityCommand::quit)},
        {full, "Volume 1, 1.0 / 4.0 GiB", "open /media/Volume 1"},
        {full, "Mini", called(UtilityCommand::toggleLayout)},
        {full, "Day", called(UtilityCommand::toggleTheme)},
        {full, "Always on top", "pin"},
        {full, "Refresh", called(UtilityCommand::refresh)},
        {full, "Settings", called(UtilityCommand::openSettings)},
        {mini, "Pin", "pin"},
        {mini, "Expand ↗", called(UtilityCommand::toggleLayout)},
        {mini, "Quit Tallywick", called(UtilityCommand::quit)},
    };
    using Press = void (*)(QWidget * part);
    const Press heard[] = {[](QWidget* part) { QTest::mouseClick(part, Qt::LeftButton); },
                           [](QWidget* part) { QTest::keyClick(part, Qt::Key_Space); },
                           [](QWidget* part) { QTest::keyClick(part, Qt::Key_Return); }};
    for (const auto& [layout, name, call] : cases)
        for (const Press press : heard) {
            ShownView view(sampleFields(), layout);
            QWidget* const control = view.part(name);
            EXPECT_FALSE(control->toolTip().isEmpty()) << name;
            holdReturn(control);
            EXPECT_EQ(view.calls, Strings()) << name;
            press(control);
            EXPECT_EQ(view.calls, Strings{call}) << name;
        }
}

TEST(Controls, SwitchLayoutsByTheGripUnlessItIsClicked) {
    ShownView view(sampleFields(), mini);
    QTest::mouseClick(view.part("Resize utility"), Qt::LeftButton);
    EXPECT_EQ(view.calls, Strings());
    QTest::keyClick(view.part("Resize utility"), Qt::Key_Return);
    EXPECT_EQ(view.calls, Strings{called(UtilityCommand::toggleLayout)});
}

TEST(Controls, ShareTheLinkThroughAMenu) {
    ShownView view(sampleFields(), full);
    QWidget* const share = view.part("Share");
    for (const qsizetype entry : {0, 1}) {
        QTest::mouseClick(share, Qt::LeftButton);
        auto* const menu = share->findChild<QMenu*>();
        menu->actions().at(entry)->trigger();
        menu->close();
        settle();
    }
    EXPECT_EQ(view.calls, Strings({called(UtilityCommand::mailProductPage),
                                   called(UtilityCommand::copyProductAddress)}));
}

TEST(Controls, ShowWhichOfThemHasTheKeyboardAndWhichIsPressed) {
    ShownView view(sampleFields(), full);
    ASSERT_TRUE(QTest::qWaitForWindowActive(view.operator->()));
    for (const std::string& name : tabOrder(view.operator->())) {
        QWidget* const control = view.part(name);
        const QImage idle = control->grab().toImage();
        control->setFocus(Qt::TabFocusReason);
        const QImage focused = control->grab().toImage();
        EXPECT_NE(focused, idle) << name;
        static_cast<QAbstractButton*>(control)->setDown(true);
        const bool isPicture = name.starts_with("Open ") || name.starts_with("Resize ");
        EXPECT_TRUE(isPicture || control->grab().toImage() != focused) << name;
    }
}

TEST(Controls, HandTheKeyboardOverToTheOtherLayout) {
    ShownView view(sampleFields(), full);
    view.part("Mini")->setFocus();
    view->resize(mini);
    EXPECT_EQ(accessibleName(view->focusWidget()), "Expand ↗");
    view.part("Pin")->setFocus();
    EXPECT_FALSE(view.repaintedBy({}).empty());
    EXPECT_EQ(accessibleName(view->focusWidget()), "Pin") << "other figures in the same layout";
    view->resize(full);
    EXPECT_EQ(accessibleName(view->focusWidget()), "Mini");
}

} // namespace
} // namespace tallywick::testing
