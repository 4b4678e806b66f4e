#include "views/ViewHarness.h"

#include <gtest/gtest.h>

#include <QAccessible>
#include <QMetaEnum>
#include <QStringList>

namespace tallywick::testing {

namespace {

/// What a screen reader meets, one line an element, in its order.
void describe(QAccessibleInterface* element, QStringList& lines) {
    for (int index = 0; index < element->childCount(); ++index) {
        QAccessibleInterface* const child = element->child(index);
        if (child->state().invisible)
            continue;
        QString line =
            QString::fromLatin1(QMetaEnum::fromType<QAccessible::Role>().valueToKey(child->role()));
        line += QStringLiteral(": ") + child->text(QAccessible::Name);
        const QString value = child->text(QAccessible::Value);
        if (!value.isEmpty())
            line += QStringLiteral(" = ") + value;
        if (child->childCount() == 0)
            lines.append(line);
        describe(child, lines);
    }
}

QStringList elements(ShownView& view) {
    QStringList lines;
    describe(QAccessible::queryAccessibleInterface(view.operator->()), lines);
    return lines;
}

TEST(ViewAccessibility, TellsEverythingInReadingOrder) {
    ShownView view(sampleFields(), {520, 659});
    EXPECT_EQ(elements(view).join(u'\n').toStdString(),
              R"(Button: Open corvane.example
StaticText: CODEX WEEKLY USAGE
StaticText: ACCOUNT + THIS MAC
StaticText: Connection = LIVE
StaticText: LIVE · Synced 9:41
Button: Quit Tallywick
StaticText: 42% used
StaticText: 58% remaining
StaticText: RESET IN = 2d  5h  13m
StaticText: Weekly usage = 42 percent used
StaticText: THIS WEEK
StaticText: Current weekly usage history = 20 local readings in this allowance week
StaticText: LIFETIME TOKENS = 123.5M
StaticText: 2026-11-21 · TOKENS = 1.4M
StaticText: LOCAL HARDWARE
StaticText: THIS MAC
StaticText: CPU = 17 percent
StaticText: RAM = 63 percent
StaticText: VOLUMES
StaticText: FREE / TOTAL
Button: Volume 0, 1.0 / 4.0 GiB
Button: Volume 1, 1.0 / 4.0 GiB
Button: Volume 2, 1.0 / 4.0 GiB
Button: Mini
Button: Day
CheckBox: Always on top
Button: Refresh
Button: Settings
Button: Share
StaticText: LIVE · Synced 9:41
Button: Resize utility)");
}

TEST(ViewAccessibility, TabFollowsTheReadingOrder) {
    ShownView view(sampleFields(), {520, 659});
    for (const QSize size : {QSize(520, 659), QSize(500, 225)}) {
        view->resize(size);
        Strings operable;
        for (const QString& element : elements(view))
            if (!element.startsWith(QStringLiteral("StaticText: ")))
                operable.push_back(element.section(QStringLiteral(": "), 1).toStdString());
        EXPECT_GE(operable.size(), 4U);
        EXPECT_EQ(view.tabOrder(), operable);
    }
}

TEST(ViewAccessibility, TellsWhatIsUnknown) {
    ShownView view({}, {520, 635});
    const Strings expected{"—% used",
                           "— remaining",
                           "Weekly usage = Unavailable",
                           "Current weekly usage history = No local readings in this allowance "
                           "week yet",
                           "LIFETIME TOKENS = —",
                           "LATEST DAY · TOKENS = —",
                           "CPU = Measuring"};
    const QStringList told = elements(view);
    for (const std::string& element : expected)
        EXPECT_TRUE(told.contains(QString::fromStdString("StaticText: " + element))) << element;
    EXPECT_TRUE(told.filter(QStringLiteral("RESET IN")).isEmpty());
}

TEST(ViewAccessibility, ExplainsTheTokenCards) {
    ShownView view(sampleFields(), {500, 225});
    const QWidget* const card = view.part("LIFETIME TOKENS");
    EXPECT_EQ(card->toolTip(), QStringLiteral("ACCOUNT-REPORTED ACTIVITY · 123456789"));
    EXPECT_EQ(card->accessibleDescription(), card->toolTip());
}

} // namespace

} // namespace tallywick::testing
