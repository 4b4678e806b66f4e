#include "views/Figure.h"
#include "views/UtilityButton.h"
#include "views/UtilityCheckBox.h"

#include <gmock/gmock.h>

#include <QAccessible>
#include <QAccessibleInterface>
#include <QApplication>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QTest>
#include <QToolTip>

#include <string>
#include <utility>
#include <vector>

namespace tallywick {
namespace {

/// A window with one part in it, active and without the keyboard in the part.
template <typename Part>
class Window {
  public:
    template <typename... Arguments>
    explicit Window(Arguments&&... arguments)
        : part(new Part(style, std::forward<Arguments>(arguments)..., &window)) {
        part->resize(part->sizeHint());
        window.resize(400, 100);
        window.show();
        window.activateWindow();
        QApplication::processEvents();
        window.setFocus();
    }

    ViewStyle style{makeTheme(true, {}), 1};
    QWidget window;
    Part* part;
};

struct PressCase {
    std::string name;
    void (*press)(QWidget* widget);
    bool isEnabled = true;
    bool isPressed = true;
};

const std::vector<PressCase> pressCases{
    {"Space", [](QWidget* widget) { QTest::keyClick(widget, Qt::Key_Space); }},
    {"Return", [](QWidget* widget) { QTest::keyClick(widget, Qt::Key_Return); }},
    {"Enter", [](QWidget* widget) { QTest::keyClick(widget, Qt::Key_Enter); }},
    {"the mouse in a corner",
     [](QWidget* widget) {
         QTest::mouseClick(widget, Qt::LeftButton, {}, {1, 1});
     }},
    {"another key", [](QWidget* widget) { QTest::keyClick(widget, Qt::Key_A); }, true, false},
    {"Return held down",
     [](QWidget* widget) {
         QKeyEvent repeated(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, {}, true);
         QApplication::sendEvent(widget, &repeated);
     },
     true, false},
    {"Return while disabled", [](QWidget* widget) { QTest::keyClick(widget, Qt::Key_Return); },
     false, false},
};

TEST(UtilityKit, isPressedByMouseAndKeyboard) {
    for (const PressCase& row : pressCases) {
        SCOPED_TRACE(row.name);
        Window<UtilityButton> button(u"Refresh"_qs, "arrow.clockwise",
                                     UtilityButton::Treatment::plain);
        int presses = 0;
        QObject::connect(button.part, &UtilityButton::clicked, [&] { ++presses; });
        button.part->setEnabled(row.isEnabled);
        row.press(button.part);
        EXPECT_EQ(presses, row.isPressed ? 1 : 0);

        Window<UtilityCheckBox> box(u"Pin"_qs);
        box.part->setEnabled(row.isEnabled);
        row.press(box.part);
        EXPECT_EQ(box.part->isChecked(), row.isPressed);
    }
}

/// Each of the changes in turn must be seen.
template <typename Part>
void expectSeen(Part& part, std::initializer_list<void (*)(Part&)> changes) {
    int change = 0;
    for (const auto apply : changes) {
        const QImage before = part.grab().toImage();
        apply(part);
        EXPECT_NE(part.grab().toImage(), before) << "change " << change;
        ++change;
    }
}

TEST(UtilityKit, showsWhatStateItIsIn) {
    for (const auto treatment :
         {UtilityButton::Treatment::plain, UtilityButton::Treatment::prominent,
          UtilityButton::Treatment::bare}) {
        SCOPED_TRACE(static_cast<int>(treatment));
        expectSeen<UtilityButton>(
            *Window<UtilityButton>(u"Share"_qs, "square.and.arrow.up", treatment).part,
            {[](auto& part) { part.setFocus(Qt::TabFocusReason); },
             [](auto& part) { part.setDown(true); }, [](auto& part) { part.setEnabled(false); }});
    }
    expectSeen<UtilityCheckBox>(*Window<UtilityCheckBox>(u"Pin"_qs).part,
                                {[](auto& part) { part.setFocus(Qt::TabFocusReason); },
                                 [](auto& part) { part.setChecked(true); },
                                 [](auto& part) { part.setEnabled(false); }});
}

TEST(UtilityButtonTest, growsWithTheScaleOfItsWindow) {
    ViewStyle style{makeTheme(true, {}), 1};
    const UtilityButton button(style, u"Refresh"_qs, "arrow.clockwise");
    const QSize once = button.sizeHint();
    style.scale = 2;
    EXPECT_NEAR(button.sizeHint().width(), 2 * once.width(), 1);
    EXPECT_EQ(button.sizeHint().height(), 2 * once.height());
}

/// The tooltip that appears when the pointer rests on the widget.
QString toolTipOver(QWidget& widget) {
    QToolTip::hideText();
    const QPoint place = widget.rect().center();
    QHelpEvent event(QEvent::ToolTip, place, widget.mapToGlobal(place));
    QApplication::sendEvent(&widget, &event);
    return QToolTip::isVisible() ? QToolTip::text() : QString();
}

TEST(UtilityButtonTest, tellsTheWholeOfAnElidedText) {
    Window<UtilityButton> shown(u"A text of some length"_qs, "", UtilityButton::Treatment::plain);
    UtilityButton& button = *shown.part;
    if (button.sizeHint().width() < 60)
        GTEST_SKIP() << "no font is installed, so no text has a width";
    EXPECT_EQ(toolTipOver(button), QString());
    button.resize(60, button.height());
    EXPECT_EQ(toolTipOver(button), button.text());
    button.setToolTip(u"Another one"_qs);
    EXPECT_EQ(toolTipOver(button), u"Another one"_qs);
}

TEST(FigureTest, tellsNameValueAndHelp) {
    Figure figure;
    QAccessibleInterface* heard = QAccessible::queryAccessibleInterface(&figure);
    QAccessibleTextInterface* text = heard->textInterface();
    ASSERT_NE(text, nullptr);

    figure.describe(u"CPU"_qs, u"17 percent"_qs);
    EXPECT_EQ(heard->text(QAccessible::Value), u"17 percent"_qs);
    EXPECT_EQ(heard->text(QAccessible::Description), u"17 percent"_qs);
    EXPECT_EQ(figure.toolTip(), QString());
    EXPECT_EQ(text->text(3, 6), u"per"_qs);
    EXPECT_EQ(text->text(-5, 999), u"17 percent"_qs);
    EXPECT_EQ(text->text(999, 2), QString());

    figure.describe(u"LIFETIME TOKENS"_qs, u"1.4M"_qs, u"<b>REPORTED</b> · 1400000"_qs);
    EXPECT_EQ(heard->text(QAccessible::Description), u"<b>REPORTED</b> · 1400000"_qs);
    EXPECT_TRUE(figure.toolTip().contains(u"&lt;b&gt;"_qs)) << figure.toolTip().toStdString();
    EXPECT_EQ(text->characterCount(), 4);
}

} // namespace
} // namespace tallywick
