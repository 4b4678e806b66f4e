#include "views/CardPainter.h"
#include "views/HistoryGraphPainter.h"
#include "views/SegmentedMeter.h"
#include "views/VolumeRow.h"

#include <gtest/gtest.h>

#include <QImage>

#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace tallywick {

namespace {

/// What a painter draws on nothing.
QImage painted(QSize size, const std::function<void(QPainter&)>& paint) {
    QImage image(size, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    paint(painter);
    painter.end();
    return image;
}

/// A theme whose accent is like no other colour.
Theme redTheme() { return makeTheme(false, {.accent = QColor(255, 60, 60)}); }

bool isAccent(const QColor& color) {
    const QColor accent = redTheme().accent;
    return color.alpha() > 150 && qAbs(color.red() - accent.red()) < 20
           && qAbs(color.green() - accent.green()) < 20;
}

TEST(SegmentedMeter, FillsASegmentForEveryTwoPercentBegun) {
    const struct {
        std::optional<double> percent;
        int filled;
    } cases[] = {
        {{}, 0},    {0, 0},    {0.5, 1},  {2, 1},  {2.1, 2},
        {98.5, 50}, {100, 50}, {250, 50}, {-5, 0}, {std::numeric_limits<double>::quiet_NaN(), 0}};
    constexpr double padding = 6;
    constexpr double step = (488 - 2 * padding + 2) / 50;
    for (const auto& [percent, filled] : cases) {
        SCOPED_TRACE(percent ? std::to_string(*percent) : "absent");
        EXPECT_EQ(filledSegments(percent), filled);
        const QImage meter = painted({488, 30}, [filled = filled](QPainter& painter) {
            paintMeter(painter, QRectF(0, 0, 488, 30), redTheme(), filled);
        });
        for (int index = 0; index < 50; ++index) {
            const int centre = static_cast<int>(padding + index * step + (step - 2) / 2);
            EXPECT_EQ(meter.pixelColor(centre, 15).alpha() == 255, index < filled) << index;
        }
    }
}

TEST(SegmentedMeter, SpacesItsSegmentsEvenlyAtEveryScale) {
    for (const double scale : {1.0, 1.25, 1.5, 2.0}) {
        const QSize size = (QSizeF(488, 30) * scale).toSize();
        const QImage meter = painted(size, [scale](QPainter& painter) {
            painter.scale(scale, scale);
            paintMeter(painter, QRectF(0, 0, 488, 30), redTheme(), 50);
        });
        int gap = 0;
        std::vector<int> gaps;
        for (int x = qRound(8 * scale); x < qRound(480 * scale); ++x) {
            const bool isFilled = meter.pixelColor(x, size.height() / 2).alpha() == 255;
            if (isFilled && gap > 0)
                gaps.push_back(gap);
            gap = isFilled ? 0 : gap + 1;
        }
        EXPECT_EQ(gaps, std::vector<int>(49, qRound(2 * scale))) << scale;
    }
}

TEST(HistoryGraph, DrawsSegmentsApartWithDotsAtTheirStartsAndAtTheEnd) {
    const std::vector<HistoryGraphPoint> points = {{{100, 16}, true},
                                                   {{200, 16}, false},
                                                   {{300, 10}, true},
                                                   {{400, 12}, true},
                                                   {{440, 12}, false}};
    const QRectF area(0, 0, 488, 36);
    const auto draw = [&](std::span<const HistoryGraphPoint> shown) {
        return painted({488, 36}, [&](QPainter& painter) {
            paintHistoryGraph(painter, area, redTheme(), shown);
        });
    };
    const QImage graph = draw(points);
    const QImage empty = draw({});

    struct {
        const char* where;
        QPoint pixel;
        bool isAccent;
        bool isDrawn;
    } const cases[] = {{"on a line", {150, 16}, true, true},
                       {"in the glow of a line", {150, 19}, false, true},
                       {"in the area under a line", {150, 28}, false, true},
                       {"below the area", {150, 34}, false, false},
                       {"above a line and its glow", {150, 6}, false, false},
                       {"between two segments", {250, 16}, false, false},
                       {"in the dot of a single reading", {300, 11}, true, true},
                       {"below a single reading", {300, 28}, false, false},
                       {"in the dot of a start", {98, 16}, true, true},
                       {"beside the end of a segment that is not the last", {202, 16}, false, true},
                       {"in the dot of the last reading", {441, 12}, true, true},
                       {"after the last reading", {460, 12}, false, false}};
    for (const auto& [where, pixel, accented, drawn] : cases) {
        SCOPED_TRACE(where);
        EXPECT_EQ(isAccent(graph.pixelColor(pixel)), accented);
        EXPECT_EQ(graph.pixelColor(pixel) != empty.pixelColor(pixel), drawn);
    }
}

TEST(HistoryGraph, HasAGridOfSevenDaysInRoundedCorners) {
    const QImage graph = painted({490, 36}, [](QPainter& painter) {
        paintHistoryGraph(painter, QRectF(0, 0, 490, 36), redTheme(), {});
    });
    const int ground = graph.pixelColor(35, 9).alpha();
    for (int day = 1; day < 7; ++day) {
        EXPECT_GT(graph.pixelColor(70 * day, 9).alpha(), ground) << day;
        EXPECT_EQ(graph.pixelColor(70 * day + 35, 9).alpha(), ground) << day;
    }
    EXPECT_GT(graph.pixelColor(35, 18).alpha(), ground);
    EXPECT_EQ(graph.pixelColor(0, 0).alpha(), 0);
    EXPECT_EQ(graph.pixelColor(489, 35).alpha(), 0);
}

TEST(VolumeRow, ShowsTheUsedPartOfItsSpace) {
    struct {
        std::int64_t free;
        std::int64_t total;
        int usedPixels;
    } const cases[] = {
        {100, 100, 0}, {75, 100, 30}, {0, 100, 120}, {99'999, 100'000, 5}, {0, 0, 0}};
    for (const auto& [free, total, usedPixels] : cases) {
        const VolumeInfo volume{"/", "disk", free, total};
        const QImage bar = painted({120, 5}, [&](QPainter& painter) {
            paintUsedSpace(painter, QRectF(0, 0, 120, 5), redTheme(), volume);
        });
        int used = 0;
        for (int x = 0; x < 120; ++x)
            used += bar.pixelColor(x, 2).alpha() > 128;
        EXPECT_EQ(used, usedPixels) << free << " of " << total;
    }
}

} // namespace

} // namespace tallywick
