#include "state/WindowSizing.h"
#include "views/ViewHarness.h"
#include "views/layouts/FullView.h"
#include "views/layouts/MiniView.h"
#include "views/layouts/UtilityView.h"
#include "views/look/TextPainting.h"
#include "views/parts/Buttons.h"
#include "views/parts/Cards.h"
#include "views/parts/Figures.h"
#include "views/parts/VolumeRow.h"

#include <gmock/gmock.h>

#include <QFontInfo>

#include <algorithm>

namespace tallywick::testing {
namespace {

using ::testing::PrintToString;
using ::testing::UnorderedElementsAreArray;

QSize fullSizeOf(const UtilityFields& fields, double scale) {
    return (WindowSizing::fullSize(fields.volumes.size(), roomyScreen) * scale).toSize();
}

QRect placeInWindow(const QWidget* part) {
    return {part->mapTo(part->window(), QPoint(0, 0)), part->size()};
}

TEST(UtilityView, ShowsTheLayoutOfItsHeightInTheMiddleAtTheScaleThatFits) {
    enum Given { byUser, imposed, imposedMini };
    const struct {
        QSize window;
        Given size;
        bool mini;
        QRect layout;
        double scale;
    } cases[] = {{{1000, 450}, byUser, true, {0, 0, 1000, 450}, 2},
                 {{520, 225}, byUser, true, {10, 0, 500, 225}, 1},
                 {{520, 599}, byUser, true, {0, 0, 520, 234}, 1.04},
                 {{520, 600}, byUser, false, {23, 0, 473, 600}, 600 / 659.0},
                 {{1, 1}, byUser, true, {-24, 0, 50, 23}, 0.1},
                 {{1276, 1000}, imposed, false, {243, 0, 789, 1000}, 1000 / 659.0},
                 {{260, 500}, imposed, false, {0, 85, 260, 330}, 0.5},
                 {{1000, 1000}, imposedMini, true, {0, 275, 1000, 450}, 2}};
    for (const auto& [window, size, mini, layout, scale] : cases) {
        SCOPED_TRACE(std::to_string(window.width()) + "x" + std::to_string(window.height()));
        UtilityFields fields = sampleFields();
        fields.sizeIsImposed = size != byUser;
        fields.mini = size == imposedMini;
        ShownView view(fields, {520, 659});
        view->resize(window);
        const QWidget* const miniView = view->findChild<MiniView*>();
        const QWidget* const fullView = view->findChild<FullView*>();
        const QWidget* const shown = mini ? miniView : fullView;
        const QWidget* const other = mini ? fullView : miniView; // not made before it is shown
        EXPECT_TRUE(shown && shown->isVisible() && !(other && other->isVisible()));
        EXPECT_EQ(shown ? shown->geometry() : QRect(), layout);
        EXPECT_DOUBLE_EQ(view->viewStyle().scale, scale);
        EXPECT_EQ(view->findChild<ResizeGrip*>()->geometry(),
                  QRect(window.width() - 16, window.height() - 16, 16, 16));
    }
}

TEST(UtilityView, KeepsAllPartsApartAndInsideTheWindow) {
    for (const std::size_t volumes : {0U, 1U, 3U, 7U, 200U})
        for (const double scale : {0.0, 0.96, 1.0, 2.0}) { // 0: the mini layout
            SCOPED_TRACE(PrintToString(volumes) + " at " + PrintToString(scale));
            UtilityFields fields = widestFields();
            fields.volumes = manyVolumes(volumes);
            const bool mini = scale == 0;
            ShownView view(fields, mini ? QSize(500, 225) : fullSizeOf(fields, scale));
            const auto rows = view->findChildren<VolumeRow*>();
            EXPECT_EQ(std::ranges::count_if(rows, &QWidget::isVisible),
                      mini ? 0 : std::min<std::ptrdiff_t>(std::ssize(fields.volumes), 7));
            if (!mini && volumes > 0) { // no void below the last one
                const auto last = std::min<qsizetype>(std::ssize(fields.volumes), rows.size()) - 1;
                const QRect row = placeInWindow(rows[last]);
                EXPECT_LE(placeInWindow(view.part("Mini")).top() - row.bottom(), 45 * scale);
            }
            const auto parts = view.leaves();
            ASSERT_GT(parts.size(), 8U);
            for (const QWidget* part : parts) {
                const QRect place = placeInWindow(part);
                EXPECT_TRUE(view->rect().contains(place)) << part->metaObject()->className();
                for (const QWidget* other : parts)
                    EXPECT_TRUE(part == other || !place.intersects(placeInWindow(other)))
                        << part->metaObject()->className() << ", "
                        << other->metaObject()->className();
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

TEST(UtilityView, HasRoomForItsWidestTextsAndTellsTheRestWhenPointedAt) {
    ASSERT_EQ(QFontInfo(designFont(FontRole::body)).family(), u"Inter"_qs)
        << "the places are measured for it";
    const UtilityFields fields = widestFields();
    for (const QSize size : {QSize(500, 225), fullSizeOf(fields, 1)}) {
        ShownView view(fields, size);
        Strings shortened;
        for (QWidget* part : view.leaves())
            if (const std::string name = accessibleName(part);
                name != "Quit Tallywick" && !showsAll(part)) // a picture
                shortened.push_back(name);
        // At the bottom of both layouts, and in the header of the full one with all its room.
        const bool isFull = size.height() > 600;
        EXPECT_EQ(shortened, Strings(isFull ? 2 : 1, fields.status.text()));
        if (isFull) {
            EXPECT_LT(placeInWindow(view.part(fields.status.text())).left()
                          - placeInWindow(view.part("ACCOUNT + THIS MAC")).right(),
                      20);
        }
    }
}

TEST(UtilityView, ShowsAVolumesNameAsItStands) {
    const UtilityFields fields = widestFields();
    ShownView view(fields, fullSizeOf(fields, 1));
    const auto rows = view->findChildren<VolumeRow*>();
    EXPECT_LT(rows[0]->toolTip().size(), 1200);
    EXPECT_EQ(rows[1]->toolTip(), plainToolTip(u"Open <b>bold</b> & more שלום[31m in Finder. "
                                               "APFS volumes may share container capacity."_qs));
    EXPECT_EQ(rows[1]->accessibleName(), u"<b>bold</b> & more שלום[31m, 1.0 / 4.0 GiB"_qs);
}

TEST(UtilityView, RepaintsOnlyWhatChanged) {
    UtilityFields fields = sampleFields();
    ShownView view(fields, fullSizeOf(fields, 1));
    const auto expectRepainted = [&](const char* change, Strings parts) {
        if (!parts.empty()) // with what they stand in
            parts.insert(parts.end(), {"FullView", "UtilityView"});
        EXPECT_THAT(view.repaintedBy(fields), UnorderedElementsAreArray(parts)) << change;
    };
    fields.now += 5;
    expectRepainted("a time with the same countdown", {});
    fields.now += 60;
    expectRepainted("a time", {"ResetCountdown"});
    fields.cpuPercent = 17.2;
    expectRepainted("a load with the same figure", {});
    fields.cpuPercent = 18;
    expectRepainted("a load", {"MetricCard"});
    fields.volumes[1].free /= 2;
    expectRepainted("a volume", {"VolumeRow"});
    fields.quota->used = 41;
    expectRepainted("a percentage with as many segments", {"TextLine", "WeeklyFigure"});
    fields.week.points.push_back({{0.5, 0.5}, true});
    expectRepainted("a reading", {"UsageHistoryGraph"});
    fields.light = true;
    EXPECT_GT(view.repaintedBy(fields).size(), 12) << "another theme repaints everything";
}

} // namespace
} // namespace tallywick::testing
