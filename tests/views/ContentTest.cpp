// The content of the window: where its parts are, what is pressed, reached, heard, and drawn anew.

#include "state/WindowSizing.h"
#include "views/ViewHarness.h"
#include "views/look/TextPainting.h"
#include "views/parts/Cards.h"
#include "views/parts/VolumeRow.h"

#include <gmock/gmock.h>

#include <QFontInfo>
#include <QKeyEvent>
#include <QMenu>
#include <QMetaEnum>
#include <QTest>

namespace tallywick::testing {
namespace {

using ::testing::UnorderedElementsAreArray;
using enum UtilityCommand;

const QSize full(520, 659);
const QSize mini(500, 225);

TEST(Layouts, FitTheWindowByItsHeightOrAsTheUserHasChosenForAnImposedSize) {
    const struct {
        QSize window;
        bool imposed, mini;
        QRect layout;
        double scale;
    } cases[] = {{{1000, 450}, false, true, {0, 0, 1000, 450}, 2},
                 {{520, 225}, false, true, {10, 0, 500, 225}, 1},
                 {{520, 599}, false, true, {0, 0, 520, 234}, 1.04},
                 {{520, 600}, false, false, {23, 0, 473, 600}, 600 / 659.0},
                 {{1, 1}, false, true, {-24, 0, 50, 23}, 0.1},
                 {{1276, 1000}, true, false, {243, 0, 789, 1000}, 1000 / 659.0},
                 {{260, 500}, true, false, {0, 85, 260, 330}, 0.5},
                 {{1000, 1000}, true, true, {0, 275, 1000, 450}, 2}};
    for (const auto& [window, imposed, isMini, layout, scale] : cases) {
        SCOPED_TRACE(std::to_string(window.width()) + "x" + std::to_string(window.height()));
        UtilityFields fields = sampleFields();
        fields.sizeIsImposed = imposed;
        fields.mini = imposed == isMini; // heeded only then
        ShownView view(fields, full);
        view->resize(window);
        const QWidget* const shown =
            view.part(isMini ? "CODEX WEEKLY" : "THIS WEEK")->parentWidget();
        EXPECT_EQ(shown->geometry(), layout);
        EXPECT_EQ(std::ranges::count_if(
                      view->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly),
                      &QWidget::isVisible),
                  2)
            << "with the grip";
        EXPECT_DOUBLE_EQ(view->viewStyle().scale, scale);
        EXPECT_EQ(view.part("Resize utility")->geometry().bottomRight(),
                  view->rect().bottomRight());
    }
}

QSize fullSizeOf(const UtilityFields& fields, double scale) {
    return (WindowSizing::fullSize(fields.volumes.size(), roomyScreen) * scale).toSize();
}

/// The visible parts that hold no others.
std::vector<QWidget*> leavesOf(ShownView& view) {
    std::vector<QWidget*> parts;
    for (QWidget* part : view->findChildren<QWidget*>())
        if (part->isVisible() && part->findChildren<QWidget*>().isEmpty())
            parts.push_back(part);
    return parts;
}

QRect placeInWindow(const QWidget* part) {
    return {part->mapTo(part->window(), QPoint(0, 0)), part->size()};
}

TEST(Layouts, KeepAllPartsApartAndInsideTheWindow) {
    for (const int volumes : {0, 1, 3, 7, 200})
        for (const double scale : {0.0, 0.96, 1.0, 2.0}) { // 0: the mini layout
            SCOPED_TRACE(std::to_string(volumes) + " at " + std::to_string(scale));
            UtilityFields fields = widestFields();
            fields.volumes = manyVolumes(volumes);
            ShownView view(fields, scale == 0 ? mini : fullSizeOf(fields, scale));
            QRegion taken;
            QList<QRect> rows;
            for (QWidget* part : leavesOf(view)) {
                const QRect place = placeInWindow(part);
                EXPECT_TRUE(view->rect().contains(place)) << accessibleName(part);
                EXPECT_FALSE(taken.intersects(place)) << accessibleName(part);
                taken += place;
                if (qobject_cast<VolumeRow*>(part))
                    rows.push_back(place);
            }
            EXPECT_EQ(rows.size(), scale == 0 ? 0 : std::min<qsizetype>(volumes, 7));
            if (!rows.empty()) { // no void below the last one
                const int toolbar = placeInWindow(view.part("Mini")).top();
                EXPECT_LE(toolbar - rows.back().bottom(), 45 * scale);
            }
        }
}

/// Whether the whole of its text is seen, whatever the part is.
bool showsAll(QWidget* part) {
    if (const auto* line = qobject_cast<TextLine*>(part))
        return line->toolTip() != plainToolTip(line->text()); // as of an elided one
    if (const auto* card = qobject_cast<FigureCard*>(part))
        return card->showsAll();
    const bool hasText = qobject_cast<UtilityButton*>(part) || qobject_cast<UtilityCheckBox*>(part);
    return !hasText || part->sizeHint().width() <= part->width();
}

TEST(Layouts, HaveRoomForTheWidestTextsAndTellTheRestWhenPointedAt) {
    ASSERT_EQ(QFontInfo(designFont(FontRole::body)).family(), u"Inter"_qs)
        << "the places are measured for it";
    const UtilityFields fields = widestFields();
    const std::string status = fields.status.text();
    const auto shortenedIn = [](ShownView& view) {
        Strings shortened;
        for (QWidget* part : leavesOf(view))
            if (const std::string name = accessibleName(part);
                name != "Quit Tallywick" && !showsAll(part)) // a picture
                shortened.push_back(name);
        return shortened;
    };
    ShownView small(fields, mini);
    EXPECT_EQ(shortenedIn(small), Strings{status});
    ShownView view(fields, fullSizeOf(fields, 1));
    EXPECT_EQ(shortenedIn(view), Strings({status, status})) << "in the header and at the bottom";
    const int subtitleEnd = placeInWindow(view.part("ACCOUNT + THIS MAC")).right();
    EXPECT_LT(placeInWindow(view.part(status)).left(), subtitleEnd + 20) << "with all its room";

    const auto rows = view->findChildren<VolumeRow*>();
    EXPECT_LT(rows[0]->toolTip().size(), 1200);
    EXPECT_EQ(rows[1]->toolTip(), plainToolTip(u"Open <b>bold</b> & more שלום[31m in Finder. "
                                               "APFS volumes may share container capacity."_qs));
    EXPECT_EQ(rows[1]->accessibleName(), u"<b>bold</b> & more שלום[31m, 1.0 / 4.0 GiB"_qs);
}

TEST(Layouts, RepaintOnlyWhatChanged) {
    using Change = void (*)(UtilityFields & fields);
    const std::pair<Change, Strings> changes[] = {
        {[](auto& fields) { fields.now += 5; }, {}}, // the same countdown
        {[](auto& fields) { fields.now += 60; }, {"ResetCountdown"}},
        {[](auto& fields) { fields.cpuPercent = 17.2; }, {}}, // the same figure
        {[](auto& fields) { fields.cpuPercent = 18; }, {"MetricCard"}},
        {[](auto& fields) { fields.volumes[1].free /= 2; }, {"VolumeRow"}},
        {[](auto& fields) { fields.quota->used = 41; }, {"TextLine", "WeeklyFigure"}},
        {[](auto& fields) {
             fields.week.points = {{{0.5, 0.5}, true}};
         },
         {"UsageHistoryGraph"}}};
    UtilityFields fields = sampleFields();
    ShownView view(fields, full);
    const auto present = [&] { view->present(fields, roomyScreen); };
    for (auto [change, parts] : changes) {
        change(fields);
        if (!parts.empty()) // with what they stand in
            parts.insert(parts.end(), {"FullView", "UtilityView"});
        EXPECT_THAT(repaintedBy(present), UnorderedElementsAreArray(parts));
    }
    fields.light = true;
    EXPECT_GT(repaintedBy(present).size(), 12) << "another theme repaints everything";
    const auto recolor = [&] { view->setColors({.accent = QColor(255, 60, 60)}); };
    EXPECT_GT(repaintedBy(recolor).size(), 12) << "so do other colours";
}

TEST(Controls, DoTheSameForMouseAndKeyboard) {
    const struct {
        QSize layout;
        const char* name;
        std::string call;
    } cases[] = {
        {full, "Open corvane.example", called(openHomePage)},
        {full, "Quit Tallywick", called(quit)},
        {full, "Volume 1, 1.0 / 4.0 GiB", "open Volume 1"},
        {full, "Mini", called(toggleLayout)},
        {full, "Day", called(toggleTheme)},
        {full, "Always on top", "pin"},
        {full, "Refresh", called(refresh)},
        {full, "Settings", called(openSettings)},
        {mini, "Pin", "pin"},
        {mini, "Expand ↗", called(toggleLayout)},
        {mini, "Quit Tallywick", called(quit)},
    };
    for (const auto& [layout, name, call] : cases)
        for (const Qt::Key key : {Qt::Key_unknown, Qt::Key_Space, Qt::Key_Return}) {
            ShownView view(sampleFields(), layout);
            QWidget* const control = view.part(name);
            EXPECT_FALSE(control->toolTip().isEmpty()) << name;
            QKeyEvent held(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, {}, true);
            QApplication::sendEvent(control, &held);
            EXPECT_EQ(view.calls, Strings()) << name;
            if (key == Qt::Key_unknown)
                QTest::mouseClick(control, Qt::LeftButton);
            else
                QTest::keyClick(control, key);
            EXPECT_EQ(view.calls, Strings{call}) << name;
        }
}

TEST(Controls, DoNotPretendThatADesktopKeepsTheWindowAboveOthers) {
    UtilityFields fields = sampleFields();
    fields.pinned = true;
    fields.canBePlaced = false;
    for (const auto& [layout, name] : {std::pair(full, "Always on top"), std::pair(mini, "Pin")}) {
        ShownView view(fields, layout);
        const auto* const pin = qobject_cast<QCheckBox*>(view.part(name));
        EXPECT_FALSE(pin->isChecked() || pin->isEnabled());
        EXPECT_EQ(pin->toolTip(), u"This desktop lets no window keep itself above others"_qs);
    }
}

TEST(Controls, LookBackAlongTheGraphWithKeysAndPointer) {
    UtilityFields fields = sampleFields();
    fields.week = {{{{0.1, 0.9}, true}, {{0.2, 0.63}, false}, {{0.8, 0.58}, true}},
                   fields.now,
                   1'795'046'400}; // a Thursday
    ShownView view(fields, full);
    auto* const graph = static_cast<Figure*>(view.part("Current weekly usage history"));
    const QString usual = graph->accessibleValue();
    const std::pair<Qt::Key, const char*> rows[] = {{Qt::Key_Home, "Thu 16:48 · 10%"},
                                                    {Qt::Key_Right, "Fri 09:36 · 37%"},
                                                    {Qt::Key_End, "Tue 14:24 · 42%"},
                                                    {Qt::Key_Right, "Tue 14:24 · 42%"},
                                                    {Qt::Key_Left, "Fri 09:36 · 37%"}};
    for (const auto& [key, text] : rows) {
        QTest::keyClick(graph, key);
        EXPECT_EQ(graph->accessibleValue().toStdString(), text);
        EXPECT_TRUE(view.part(text)) << "written above the graph";
    }
    QTest::mouseMove(graph, {graph->width() / 2, 9});
    EXPECT_EQ(graph->accessibleValue(), u"no readings"_qs);
    QTest::mouseMove(graph, {graph->width() * 8 / 10, 9});
    EXPECT_EQ(graph->accessibleValue(), u"Tue 14:24 · 42%"_qs);
    QEvent leave(QEvent::Leave);
    QApplication::sendEvent(graph, &leave);
    EXPECT_EQ(graph->accessibleValue(), usual);
}

TEST(Controls, ResizeByTheGripWhichOnlyAKeyPresses) {
    ShownView view(sampleFields(), mini);
    QWidget* const grip = view.part("Resize utility");
    QTest::mousePress(grip, Qt::LeftButton, {}, {8, 8});
    QTest::mouseMove(grip, {9, 8});
    QTest::mouseRelease(grip, Qt::LeftButton, {}, {9, 8});
    EXPECT_EQ(view.calls, Strings()) << "a click";
    QTest::keyClick(grip, Qt::Key_Return);
    EXPECT_EQ(view.calls, Strings{called(toggleLayout)});
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
    EXPECT_EQ(view.calls, Strings({called(mailProductPage), called(copyProductAddress)}));
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
    const auto focused = [&] { return accessibleName(view->focusWidget()); };
    view.part("Mini")->setFocus();
    view->resize(mini);
    EXPECT_EQ(focused(), "Expand ↗");
    view.part("Pin")->setFocus();
    view->present({}, roomyScreen);
    EXPECT_EQ(focused(), "Pin") << "other figures in the same layout";
    view->resize(full);
    EXPECT_EQ(focused(), "Mini");
}

/// What is heard of an element and of all below it, in the order of reading: of each that has a
/// name, a line with its role, name and value.
std::string heard(QAccessibleInterface* element) {
    if (element->state().invisible)
        return {};
    const QString name = element->text(QAccessible::Name);
    const auto* const text = element->textInterface();
    const QString value = text ? text->text(0, -1) : QString();
    std::string lines = QMetaEnum::fromType<QAccessible::Role>().valueToKey(element->role());
    lines += ' ' + name.toStdString() + (value.isEmpty() ? "" : " = " + value.toStdString());
    lines += element->state().focused ? ", focused\n" : "\n";
    if (name.isEmpty())
        lines.clear();
    for (int index = 0; index < element->childCount(); ++index) {
        EXPECT_EQ(element->indexOfChild(element->child(index)), index);
        lines += heard(element->child(index));
    }
    return lines;
}

constexpr const char* fullLayout = R"(Client Tallywick, focused
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
Button Mini
Button Day
CheckBox Always on top
Button Refresh
Button Settings
Button Share
StaticText LIVE · Synced 09:33
Button Resize utility
)";

constexpr const char* miniLayout = R"(Client Tallywick, focused
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
    for (const QSize layout : {full, mini}) {
        ShownView view(sampleFields(), layout);
        const std::string lines = heard(QAccessible::queryAccessibleInterface(view.operator->()));
        EXPECT_EQ(lines, layout == mini ? miniLayout : fullLayout);
        std::size_t last = 0;
        for (const std::string& control :
             tabOrder(view.part(layout == mini ? "Pin" : "Open corvane.example"))) {
            EXPECT_GT(lines.find(' ' + control + '\n'), last) << control;
            last = lines.find(' ' + control + '\n');
        }
    }
}

TEST(ScreenReader, ReadsFiguresLetterByLetterWithTheirExplanation) {
    ShownView view(sampleFields(), mini);
    auto* const card = QAccessible::queryAccessibleInterface(view.part("LIFETIME TOKENS"));
    EXPECT_EQ(card->text(QAccessible::Description), u"ACCOUNT-REPORTED ACTIVITY · 123456789"_qs);
    EXPECT_EQ(card->textInterface()->text(1, 3), u"23"_qs);
    EXPECT_EQ(card->textInterface()->text(-5, 999), u"123.5M"_qs);
    view->present({}, roomyScreen);
    EXPECT_EQ(card->text(QAccessible::Value), u"—"_qs) << "unknown";
}

} // namespace
} // namespace tallywick::testing
