#include "views/FullView.h"
#include "views/MiniView.h"
#include "views/ResizeGrip.h"
#include "views/TextPainting.h"
#include "views/ViewHarness.h"

#include <gtest/gtest.h>

#include <QAccessible>
#include <QApplication>
#include <QMenu>
#include <QMouseEvent>
#include <QTest>

namespace tallywick::testing {

namespace {

const QSize full(520, 659);
const QSize mini(500, 225);

void sendMouse(QWidget* target, QEvent::Type type, QPointF onScreen,
               Qt::MouseButton button = Qt::LeftButton) {
    QMouseEvent event(type, QPointF(8, 8), onScreen, button, button, Qt::NoModifier);
    // Not through the application, which would round the place to whole points.
    static_cast<QObject*>(target)->event(&event);
}

TEST(Controls, DoTheSameForMouseAndKeyboard) {
    struct Case {
        QSize layout;
        const char* name;
        const char* call;
    };
    const Case cases[] = {
        {full, "Open corvane.example", "openHomePage"},
        {full, "Quit Tallywick", "quit"},
        {full, "Volume 1, 1.0 / 4.0 GiB", "openVolume /media/Volume 1"},
        {full, "Mini", "toggleLayout"},
        {full, "Day", "toggleTheme"},
        {full, "Always on top", "setPinned on"},
        {full, "Refresh", "refresh"},
        {full, "Settings", "openSettings"},
        {mini, "Pin", "setPinned on"},
        {mini, "Expand ↗", "toggleLayout"},
        {mini, "Quit Tallywick", "quit"},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.name);
        const auto press = [&](const auto& how) {
            ShownView view(sampleFields(), row.layout);
            QWidget* const control = view.part(row.name);
            EXPECT_FALSE(control->toolTip().isEmpty());
            how(control);
            EXPECT_EQ(view.calls, Strings{row.call});
        };
        press([](QWidget* control) { QTest::mouseClick(control, Qt::LeftButton); });
        press([](QWidget* control) { QTest::keyClick(control, Qt::Key_Space); });
        press([](QWidget* control) { QTest::keyClick(control, Qt::Key_Return); });
    }
}

TEST(Controls, ShareTheLinkThroughAMenu) {
    ShownView view(sampleFields(), full);
    QWidget* const share = view.part("Share");
    EXPECT_EQ(share->toolTip().toStdString(),
              "Share the public utility page; your readings are not included");
    for (const int entry : {0, 1}) {
        QTest::mouseClick(share, Qt::LeftButton);
        const auto menus = share->findChildren<QMenu*>();
        ASSERT_EQ(menus.size(), 1);
        const auto entries = menus[0]->actions();
        ASSERT_EQ(entries.size(), 2);
        EXPECT_EQ(entries[0]->text().toStdString(), "Mail Link…");
        EXPECT_EQ(entries[1]->text().toStdString(), "Copy Link");
        entries[entry]->trigger();
        menus[0]->close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    EXPECT_EQ(view.calls, Strings({"mailProductPage", "copyProductAddress"}));
}

TEST(Controls, FollowTheState) {
    UtilityFields fields = sampleFields();
    fields.light = true;
    fields.pinned = true;
    ShownView view(fields, full);
    EXPECT_TRUE(static_cast<QAbstractButton*>(view.part("Always on top"))->isChecked());
    EXPECT_NE(view.part("Night"), nullptr);
    EXPECT_EQ(view.calls, Strings()) << "what the state sets is no action of the user's";
}

TEST(Controls, ShowWhichOfThemHasTheKeyboard) {
    ShownView view(sampleFields(), full);
    ASSERT_TRUE(QTest::qWaitForWindowActive(view.operator->()));
    for (const std::string& name : view.tabOrder()) {
        QWidget* const control = view.part(name);
        const QImage before = control->grab().toImage();
        control->setFocus(Qt::TabFocusReason);
        ASSERT_TRUE(control->hasFocus());
        EXPECT_NE(control->grab().toImage(), before) << name;
        view->setFocus();
    }
}

TEST(Controls, HandTheKeyboardOverToTheOtherLayout) {
    ShownView view(sampleFields(), full);
    view.part("Mini")->setFocus();
    view->resize(mini);
    EXPECT_EQ(accessibleName(view->focusWidget()), "Expand ↗");
    view->resize(full);
    EXPECT_EQ(accessibleName(view->focusWidget()), "Mini");
}

TEST(ResizeGrip, DragsFromTwoPointsOnAndEndsOnRelease) {
    ShownView view(sampleFields(), full);
    QWidget* const grip = view.find<ResizeGrip>();
    EXPECT_EQ(grip->cursor().shape(), Qt::SizeVerCursor);
    const QPointF origin(700, 700);
    sendMouse(grip, QEvent::MouseButtonPress, origin);
    sendMouse(grip, QEvent::MouseMove, origin + QPointF(0.9, 1));
    EXPECT_EQ(view.calls, Strings());
    sendMouse(grip, QEvent::MouseMove, origin + QPointF(-1, 1));
    sendMouse(grip, QEvent::MouseMove, origin + QPointF(0, 1)); // still the same drag
    sendMouse(grip, QEvent::MouseMove, origin + QPointF(5, -60));
    sendMouse(grip, QEvent::MouseButtonRelease, origin + QPointF(5, -60));
    sendMouse(grip, QEvent::MouseMove, origin + QPointF(9, 9));
    EXPECT_EQ(view.calls,
              Strings({"resizeBy -1 1", "resizeBy 0 1", "resizeBy 5 -60", "endResize"}));
}

TEST(ResizeGrip, SwitchesTheLayoutsByKeyOrScreenReaderButNotByAClick) {
    ShownView view(sampleFields(), full);
    QWidget* const grip = view.find<ResizeGrip>();
    QTest::mouseClick(grip, Qt::LeftButton);
    sendMouse(grip, QEvent::MouseButtonPress, {700, 700}, Qt::RightButton);
    sendMouse(grip, QEvent::MouseMove, {720, 720}, Qt::RightButton);
    sendMouse(grip, QEvent::MouseButtonRelease, {720, 720}, Qt::RightButton);
    EXPECT_EQ(view.calls, Strings());

    QTest::keyClick(grip, Qt::Key_Space);
    QTest::keyClick(grip, Qt::Key_Return);
    auto* const interface = QAccessible::queryAccessibleInterface(grip);
    interface->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    EXPECT_TRUE(QTest::qWaitFor([&] { return view.calls.size() >= 3; })); // seen as pressed first
    EXPECT_EQ(view.calls, Strings(3, "toggleLayout"));
    EXPECT_EQ(grip->toolTip(),
              plainToolTip(QStringLiteral("Drag upward for Mini, downward for full view. "
                                          "Command-Shift-M also switches layouts.")));
}

} // namespace

} // namespace tallywick::testing
