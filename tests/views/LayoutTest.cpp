#include "state/WindowSizing.h"
#include "views/CardPainter.h"
#include "views/Fonts.h"
#include "views/FullView.h"
#include "views/MetricCard.h"
#include "views/MiniView.h"
#include "views/ResizeGrip.h"
#include "views/TextLine.h"
#include "views/TextPainting.h"
#include "views/TokenCard.h"
#include "views/UtilityButton.h"
#include "views/UtilityCheckBox.h"
#include "views/ViewHarness.h"
#include "views/VolumeRow.h"

#include <gmock/gmock.h>

#include <QFontInfo>

#include <algorithm>

namespace tallywick::testing {

namespace {

using ::testing::UnorderedElementsAreArray;

QSize fullSizeOf(const UtilityFields& fields, double scale) {
    const QSizeF design = WindowSizing::fullSize(fields.volumes.size(), roomyScreen);
    return (design * scale).toSize();
}

TEST(UtilityView, ShowsTheLayoutOfItsHeightInTheMiddleAtTheScaleThatFits) {
    struct {
        QSize window;
        bool mini;
        QRect layout;
        double scale;
    } const cases[] = {{{500, 225}, true, {0, 0, 500, 225}, 1},
                       {{1000, 450}, true, {0, 0, 1000, 450}, 2},
                       {{520, 225}, true, {10, 0, 500, 225}, 1},
                       {{520, 599}, true, {0, 0, 520, 234}, 1.04},
                       {{520, 659}, false, {0, 0, 520, 659}, 1},
                       {{520, 600}, false, {23, 0, 473, 600}, 600 / 659.0},
                       {{1, 1}, true, {-24, 0, 50, 23}, 0.1}};
    for (const auto& [window, mini, layout, scale] : cases) {
        SCOPED_TRACE(std::to_string(window.width()) + "x" + std::to_string(window.height()));
        ShownView view(sampleFields(), {520, 659});
        view->resize(window);
        QWidget* const miniView = view.find<MiniView>();
        QWidget* const fullView = view.find<FullView>();
        EXPECT_EQ(miniView && miniView->isVisible(), mini);
        EXPECT_EQ(fullView->isVisible(), !mini);
        EXPECT_EQ((mini ? miniView : fullView)->geometry(), layout);
        EXPECT_DOUBLE_EQ(view->viewStyle().scale, scale);
        EXPECT_EQ(view.find<ResizeGrip>()->geometry(),
                  QRect(window.width() - 16, window.height() - 16, 16, 16));
    }
}

TEST(UtilityView, KeepsAllPartsApartAndInsideTheWindow) {
    for (const std::size_t volumes : {0U, 1U, 2U, 3U, 7U, 200U})
        for (const double scale : {0.0, 0.96, 1.0, 1.5, 2.0}) { // 0: the mini layout
            SCOPED_TRACE(std::to_string(volumes) + " at " + std::to_string(scale));
            UtilityFields fields = widestFields();
            fields.volumes = manyVolumes(volumes);
            const QSize size = scale > 0 ? fullSizeOf(fields, scale) : QSize(500, 225);
            ShownView view(fields, size);
            const auto parts = view.leaves();
            ASSERT_GT(parts.size(), 8U);
            const auto rows = std::ranges::count_if(
                parts, [](QWidget* part) { return qobject_cast<VolumeRow*>(part) != nullptr; });
            EXPECT_EQ(rows,
                      scale > 0 ? std::min<std::ptrdiff_t>(std::ssize(fields.volumes), 7) : 0);
            for (const QWidget* part : parts) {
                EXPECT_TRUE(view->rect().contains(placeInWindow(part)))
                    << part->metaObject()->className();
                for (const QWidget* other : parts)
                    EXPECT_TRUE(part == other
                                || !placeInWindow(part).intersects(placeInWindow(other)))
                        << part->metaObject()->className() << ", "
                        << other->metaObject()->className();
            }
        }
}

TEST(UtilityView, ShowsNoMoreVolumesThanTheScreenHasRoomFor) {
    UtilityFields fields = sampleFields();
    fields.volumes = manyVolumes(7);
    ShownView view(fields, {520, 683});
    view->present(fields, 635 + 2 * 24);
    const auto rows = view->findChildren<VolumeRow*>();
    EXPECT_EQ(std::ranges::count_if(rows, &QWidget::isVisible), 4);
    EXPECT_EQ(view->viewStyle().scale, 1);
}

TEST(UtilityView, LeavesEverythingAboveTheVolumesInItsPlaceWhenTheirNumberChanges) {
    UtilityFields fields = sampleFields();
    fields.volumes.clear();
    ShownView view(fields, {520, 635});
    const auto places = [&view] {
        std::vector<QRect> found;
        for (const QWidget* part : view.leaves())
            if (!qobject_cast<const VolumeRow*>(part))
                found.push_back(placeInWindow(part));
        return found;
    };
    const std::vector<QRect> before = places();
    fields.volumes = manyVolumes(2);
    view->present(fields, roomyScreen);
    EXPECT_EQ(places(), before);
}

TEST(UtilityView, HasRoomForItsWidestTexts) {
    if (QFontInfo(designFont(FontRole::body)).family() != QStringLiteral("Inter"))
        GTEST_SKIP() << "the places are measured for Inter, which is not installed";
    const UtilityFields fields = widestFields();
    for (const QSize size : {QSize(500, 225), fullSizeOf(fields, 1)}) {
        ShownView view(fields, size);
        for (QWidget* part : view.leaves()) {
            const std::string name = accessibleName(part).substr(0, 80);
            const bool isStatus = name.starts_with("STALE ·");
            if (const auto* line = qobject_cast<TextLine*>(part); line && !isStatus) {
                EXPECT_NE(line->toolTip(), plainToolTip(line->text())) << name; // elided
            } else if (const auto* tokens = qobject_cast<TokenCard*>(part)) {
                EXPECT_TRUE(cardFits(tokens->content(), tokens->width())) << name;
            } else if (const auto* metric = qobject_cast<MetricCard*>(part)) {
                EXPECT_TRUE(cardFits(metric->content(), metric->width())) << name;
            } else if (qobject_cast<UtilityButton*>(part) || qobject_cast<UtilityCheckBox*>(part)) {
                const bool isImage = name == "Quit Tallywick";
                EXPECT_TRUE(isImage || part->sizeHint().width() <= part->width()) << name;
            }
        }
    }
}

TEST(UtilityView, TellsWhatItHadToShortenWhenPointedAt) {
    const UtilityFields fields = widestFields();
    ShownView view(fields, fullSizeOf(fields, 1));
    const QString status = QString::fromStdString(fields.status);
    int lines = 0;
    for (const auto* line : view->findChildren<TextLine*>())
        if (line->text() == status) {
            ++lines;
            EXPECT_EQ(line->toolTip(), plainToolTip(status));
        }
    EXPECT_EQ(lines, 2); // in the header and at the bottom
}

TEST(UtilityView, ShowsAVolumesNameAsItStands) {
    const UtilityFields fields = widestFields();
    ShownView view(fields, fullSizeOf(fields, 1));
    const auto rows = view->findChildren<VolumeRow*>();
    EXPECT_LT(rows[0]->toolTip().size(), 1200);
    EXPECT_EQ(rows[1]->toolTip(),
              plainToolTip(QStringLiteral("Open <b>bold</b> & more \u05e9\u05dc\u05d5\u05dd[31m in "
                                          "Finder. APFS volumes may share container capacity.")));
    for (const auto* row : rows)
        EXPECT_FALSE(row->accessibleName().contains(QChar(u'\n')));
}

TEST(UtilityView, RepaintsOnlyWhatChanged) {
    UtilityFields fields = sampleFields();
    ShownView view(fields, fullSizeOf(fields, 1));
    // The containers are repainted with their parts.
    const auto expectRepainted = [&](const char* change, const Strings& parts) {
        Strings expected;
        if (!parts.empty())
            expected = {"tallywick::FullView", "tallywick::UtilityView"};
        for (const std::string& part : parts)
            expected.push_back("tallywick::" + part);
        EXPECT_THAT(view.repaintedBy(fields), UnorderedElementsAreArray(expected)) << change;
    };
    expectRepainted("nothing", {});
    fields.now += 5;
    expectRepainted("a time with the same countdown", {});
    fields.now += 60;
    expectRepainted("a time", {"ResetCountdown"});
    fields.cpuPercent = 18;
    expectRepainted("a load", {"MetricCard"});
    fields.cpuPercent = 18.2;
    expectRepainted("a load with the same figure", {});
    fields.volumes[1].free /= 2;
    expectRepainted("a volume", {"VolumeRow"});
    fields.history.push_back({fields.now, 42, fields.quota->reset, "account", true});
    expectRepainted("a reading", {"UsageHistoryGraph"});
    fields.quota->used = 41;
    expectRepainted("a percentage with as many segments", {"TextLine", "WeeklyFigure"});
    fields.quota.reset();
    EXPECT_FALSE(view.repaintedBy(fields).empty());
    fields.now += 5;
    EXPECT_EQ(view.repaintedBy(fields), Strings()) << "the week slides on unseen";
    fields.light = true;
    EXPECT_GT(view.repaintedBy(fields).size(), 12) << "another theme repaints everything";
}

} // namespace

} // namespace tallywick::testing
