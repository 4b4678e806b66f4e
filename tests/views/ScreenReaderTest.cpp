// The window as a screen reader meets it.

#include "views/ViewHarness.h"
#include "views/parts/Menus.h"

#include <gmock/gmock.h>

#include <QAccessible>
#include <QMetaEnum>
#include <QTest>

namespace tallywick::testing {
namespace {

using ::testing::ElementsAre;

/// What can be seen of an element and of all below it, a line each, in the order of reading. Both
/// lists are of the same length.
struct Heard {
    explicit Heard(QAccessibleInterface* element) { add(element); }

    void add(QAccessibleInterface* element) {
        if (!element || element->state().invisible)
            return;
        const auto roles = QMetaEnum::fromType<QAccessible::Role>();
        const QString name = element->text(QAccessible::Name);
        const QString value = element->text(QAccessible::Value);
        std::string line = roles.valueToKey(element->role());
        line += name.isEmpty() ? "" : " " + name.toStdString();
        if (const auto* const text = element->textInterface()) {
            EXPECT_EQ(text->text(0, -1), value);
            line += value.isEmpty() ? "" : " = " + value.toStdString();
        }
        transcript += line + "\n";
        if (element->state().focused)
            focused = line;
        if (element->state().focusable && element->childCount() == 0)
            controls.push_back(name.toStdString());
        for (int index = 0; index < element->childCount(); ++index) {
            EXPECT_EQ(element->indexOfChild(element->child(index)), index);
            add(element->child(index));
        }
    }

    std::string transcript = "\n";
    std::string focused;
    Strings controls; ///< the names of what can be operated
};

Heard heard(QWidget* part) { return Heard(QAccessible::queryAccessibleInterface(part)); }

void press(QAccessibleInterface* element) {
    QAccessibleActionInterface* const action = element->actionInterface();
    action->doAction(action->actionNames().value(0));
}

constexpr const char* fullLayout = R"(
Client Tallywick
Client
Client
Button Open corvane.example
StaticText CODEX WEEKLY USAGE
StaticText ACCOUNT + THIS MAC
StaticText Connection = LIVE
StaticText LIVE · Synced 09:33
Button Quit Tallywick
StaticText 42% used
StaticText 58% remaining
StaticText RESET IN = 2d  5h  13m
StaticText Weekly usage = 42 percent used
StaticText THIS WEEK
StaticText Current weekly usage history = No local readings in this allowance week yet
StaticText LIFETIME TOKENS = 123.5M
StaticText 2026-11-21 · TOKENS = 1.4M
StaticText LOCAL HARDWARE
StaticText THIS MAC
StaticText CPU = 17 percent
StaticText RAM = 63 percent
StaticText VOLUMES
StaticText FREE / TOTAL
Button Volume 0, 1.0 / 4.0 GiB
Button Volume 1, 1.0 / 4.0 GiB
Button Volume 2, 1.0 / 4.0 GiB
Client
Button Mini
Button Day
CheckBox Always on top
Button Refresh
Button Settings
Button Share
StaticText LIVE · Synced 09:33
Button Resize utility
)";

constexpr const char* miniLayout = R"(
Client Tallywick
Client
StaticText CODEX WEEKLY
CheckBox Pin
Button Expand ↗
Button Quit Tallywick
StaticText 42% used
StaticText 58% remaining
StaticText Weekly usage = 42 percent used
StaticText LIFETIME TOKENS = 123.5M
StaticText 2026-11-21 · TOKENS = 1.4M
Button Resize utility
)";

TEST(ScreenReader, HearsEverythingInOrderAndTheTabKeyFollows) {
    for (const bool mini : {false, true}) {
        ShownView view(sampleFields(), mini ? QSize(500, 225) : QSize(520, 659));
        const Heard all = heard(view.operator->());
        EXPECT_EQ(all.transcript, mini ? miniLayout : fullLayout);
        EXPECT_EQ(tabOrder(view.part(all.controls.at(0))), all.controls);
    }
}

TEST(ScreenReader, ReadsFiguresLetterByLetterWithTheirExplanation) {
    ShownView view(sampleFields(), {500, 225});
    QWidget* const card = view.part("LIFETIME TOKENS");
    QAccessibleInterface* const element = QAccessible::queryAccessibleInterface(card);
    EXPECT_EQ(element->text(QAccessible::Description), u"ACCOUNT-REPORTED ACTIVITY · 123456789"_qs);
    EXPECT_EQ(element->text(QAccessible::Description), card->toolTip());
    EXPECT_EQ(element->textInterface()->text(1, 3), u"23"_qs);
    EXPECT_EQ(element->textInterface()->text(-5, 999), u"123.5M"_qs);
    EXPECT_EQ(element->textInterface()->text(999, 2), QString());
    view->present({}, roomyScreen);
    EXPECT_EQ(element->text(QAccessible::Value), u"—"_qs) << "unknown";
}

TEST(ScreenReader, HearsAnOpenMenuAndChoosesFromIt) {
    Strings calls;
    const UtilityActions actions = recordingActions(calls);
    QWidget window;
    window.show();
    UtilityMenu menu(actions, &window);
    menu.popup({0, 0});
    EXPECT_EQ(PopupMenu::openOver(&window), &menu);
    EXPECT_EQ(heard(&menu).transcript, R"(
PopupMenu Utility
MenuItem Show Utility
MenuItem Mini Mode
MenuItem Day Theme
MenuItem Refresh Usage
MenuItem Settings…
)");
    EXPECT_EQ(heard(&menu).focused, "PopupMenu Utility");
    QTest::keyClick(&menu, Qt::Key_Down);
    EXPECT_EQ(heard(&menu).focused, "MenuItem Show Utility");
    press(QAccessible::queryAccessibleInterface(&menu)->child(3));
    EXPECT_FALSE(PopupMenu::openOver(&window));
    EXPECT_THAT(calls, ElementsAre(called(UtilityCommand::refresh)));
}

} // namespace
} // namespace tallywick::testing
