#include "views/look/TextPainting.h"
#include "views/parts/Figures.h"
#include "views/parts/UsageGraphs.h"
#include "views/parts/VolumeRow.h"

#include <gtest/gtest.h>

#include <QFontDatabase>
#include <QImage>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextLayout>

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

namespace tallywick {
namespace {

/// A theme whose accent is like no other colour.
const Theme redTheme = makeTheme(false, {.accent = QColor(255, 60, 60)});

/// What is drawn on nothing.
template <typename Paint>
QImage painted(QSize size, Paint paint) {
    QImage image(size, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    paint(painter);
    return image;
}

TEST(Painting, FillsASegmentOfTheMeterForEveryTwoPercentBegun) {
    const std::pair<std::optional<double>, int> cases[] = {
        {{}, 0}, {0, 0}, {0.5, 1}, {2, 1}, {2.1, 2}, {98.5, 50}, {250, 50}, {-5, 0}};
    for (const auto& [percent, filled] : cases)
        EXPECT_EQ(filledSegments(percent), filled) << percent.value_or(0);
}

TEST(Painting, SpacesTheSegmentsOfTheMeterEvenlyAtEveryScale) {
    for (const double scale : {1.0, 1.25, 1.5, 2.0}) {
        const QSize size = (QSizeF(488, 30) * scale).toSize();
        const QImage meter = painted(size, [scale](QPainter& painter) {
            painter.scale(scale, scale);
            paintMeter(painter, QRectF(0, 0, 488, 30), redTheme, 50);
        });
        std::vector<int> gaps{0};
        for (int x = qRound(8 * scale); x < qRound(480 * scale); ++x)
            if (meter.pixelColor(x, size.height() / 2).alpha() < 255)
                ++gaps.back();
            else if (gaps.back() > 0)
                gaps.push_back(0); // within a segment again
        gaps.pop_back();
        EXPECT_EQ(gaps, std::vector<int>(49, qRound(2 * scale))) << scale;
    }
}

TEST(Painting, KeepsTheEndsOfFilledSegmentsApartFromTheMeterInBothThemes) {
    for (const bool light : {false, true}) {
        const Theme theme = makeTheme(light, {});
        const QImage meter = painted({488, 30}, [&](QPainter& painter) {
            painter.fillRect(0, 0, 488, 30, theme.backdropTop);
            paintMeter(painter, QRectF(0, 0, 488, 30), theme, 50);
        });
        const QColor frame = meter.pixelColor(11, 4);
        for (const int y : {6, 23})
            EXPECT_GT(contrastRatio(meter.pixelColor(11, y), frame), 1.5) << light << ", " << y;
    }
}

TEST(Painting, DrawsSegmentsOfTheWeekApartWithTheirDots) {
    const auto draw = [](const std::vector<HistoryGraphPoint>& points) {
        return painted({490, 36}, [&](QPainter& painter) {
            paintHistoryGraph(painter, QRectF(0, 0, 490, 36), redTheme, points);
        });
    };
    const QImage empty = draw({});
    const QImage graph = draw({{{100, 16}, true},
                               {{200, 16}, false},
                               {{300, 10}, true},
                               {{400, 12}, true},
                               {{440, 12}, false}});
    enum Look { nothing, faint, accent };
    const struct {
        const char* where;
        QPoint pixel;
        Look look;
    } cases[] = {{"on a line", {150, 16}, accent},
                 {"in the area under a line", {150, 28}, faint},
                 {"between two segments", {250, 16}, nothing},
                 {"in the dot of a single reading", {300, 11}, accent},
                 {"below a single reading", {300, 28}, nothing},
                 {"beside the end of a segment that is not the last", {202, 16}, faint},
                 {"in the dot of the last reading", {441, 12}, accent}};
    for (const auto& [where, pixel, look] : cases) {
        const QColor color = graph.pixelColor(pixel);
        EXPECT_EQ(color.alpha() > 150 && color.green() < 80, look == accent) << where;
        EXPECT_EQ(color != empty.pixelColor(pixel), look != nothing) << where;
    }
}

TEST(Painting, ShowsTheFreePartOfAVolume) {
    const struct {
        std::int64_t free, total;
        int freePixels;
    } cases[] = {{100, 100, 120}, {75, 100, 90}, {0, 100, 0}, {1, 100'000, 5}, {0, 0, 0}};
    for (const auto& row : cases) {
        const QImage bar = painted({120, 5}, [&](QPainter& painter) {
            paintFreeSpace(painter, QRectF(0, 0, 120, 5), redTheme,
                           {"/", "disk", row.free, row.total});
        });
        int pixels = 0;
        for (int x = 0; x < 120; ++x)
            pixels += bar.pixelColor(x, 2).alpha() > 128;
        EXPECT_EQ(pixels, row.freePixels) << row.free << " of " << row.total;
    }
}

TEST(Texts, FromOutsideBecomeOneHarmlessLine) {
    const struct {
        const char* description;
        QString text;
        QString line;
    } cases[] = {
        {"a tab and line breaks become spaces", u"\na\tb\r\n\nc"_qs, u"a b c"_qs},
        {"the line separators of Unicode", u"a\u2028b\u2029c\u0085d"_qs, u"a b c d"_qs},
        {"control characters", u"a\u0007b\u001bc\u007fd\u009ce"_qs, u"abcde"_qs},
        {"direction marks", u"a\u200e\u200f\u061cb"_qs, u"ab"_qs},
        {"overrides and isolates", u"a\u202a\u202eb\u2066\u2069c"_qs, u"abc"_qs},
        {"right-to-left letters stay", u"שלום"_qs, u"שלום"_qs},
        {"joined emoji stay", u"👩\u200d🚀"_qs, u"👩\u200d🚀"_qs},
        {"a high surrogate alone", QString(u'a') + QChar(0xd83d) + u'b', u"ab"_qs},
        {"surrogates the wrong way round", QString(QChar(0xde80)) + QChar(0xd83d), u""_qs},
        {"10,000 characters", QString(10000, u'x'), QString(1000, u'x')},
        {"a pair across the end", QString(999, u'x') + u"🚀"_qs, QString(999, u'x')},
        {"10,000 control characters", QString(10000, QChar(7)) + u'x', u"x"_qs},
    };
    for (const auto& [description, text, line] : cases)
        EXPECT_EQ(oneLine(text).toStdString(), line.toStdString()) << description;
}

TEST(Texts, StandInAToolTipAsTheyAre) {
    QTextDocument document;
    for (const QString& text : {u"<img src=\"/etc/hostname\">"_qs, u"two  spaces &amp; <i>"_qs,
                                u"/home/someone/"_qs.repeated(20)}) { // too long not to wrap
        document.setHtml(plainToolTip(text));
        EXPECT_EQ(document.toPlainText().toStdString(), text.toStdString());
        EXPECT_TRUE(Qt::mightBeRichText(plainToolTip(text)));
    }
    EXPECT_EQ(plainToolTip(u"a < b & c"_qs), u"a < b & c"_qs);

    // It wraps between words alone.
    document.setHtml(plainToolTip(u"full-week scale "_qs.repeated(20)));
    document.setTextWidth(200);
    ASSERT_GT(document.size().height(), 0); // lays it out
    const QTextLayout& lines = *document.firstBlock().layout();
    ASSERT_GT(lines.lineCount(), 3);
    for (int line = 0; line < lines.lineCount(); ++line) {
        const QTextLine part = lines.lineAt(line);
        EXPECT_TRUE(
            document.toPlainText().sliced(part.textStart(), part.textLength()).endsWith(u' '));
    }
}

/// The smallest rectangle with everything that is drawn.
QRect inkOf(const QImage& image) {
    QRect ink;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (image.pixelColor(x, y).alpha() > 0)
                ink |= QRect(x, y, 1, 1);
    return ink;
}

TEST(Painting, KeepsTheUnitAtTheFigureAndInTheLineOfItsMark) {
    const ViewStyle style{redTheme};
    const std::pair<std::optional<Quota>, int> cases[] = {{Quota{42, 0}, 60}, {{}, 20}};
    for (const auto& [quota, highest] : cases) {
        WeeklyFigure figure(style, nullptr);
        figure.resize(290, 72);
        figure.present(quota);
        const QImage drawn = painted(figure.size(), [&](QPainter& painter) {
            figure.render(&painter, {}, {}, QWidget::RenderFlags());
        });
        const QRect ink = inkOf(drawn);
        EXPECT_LT(ink.height(), highest);
        int gap = 0, widest = 0;
        for (int x = ink.left(); x < ink.right(); ++x) {
            gap = inkOf(drawn.copy(x, 0, 1, drawn.height())).isEmpty() ? gap + 1 : 0;
            widest = std::max(widest, gap);
        }
        EXPECT_LE(widest, 7);
    }
}

TEST(Texts, AreNotDrawnBesideTheirRectangle) {
    const QRectF area(40, 20, 120, 20);
    const QRect allowed = area.adjusted(0, -2, 0, 2).toRect();
    for (const QString& text : {u"short"_qs, QString(10000, u'W'), QString(200, u'8'), u"a\nb"_qs,
                                u"م"_qs.repeated(300), u"é\u0301\u0301\u0301"_qs.repeated(40)})
        for (const auto draw : {drawLine, drawFigures})
            for (const auto alignment : {Qt::AlignLeft, Qt::AlignHCenter, Qt::AlignRight}) {
                const QRect ink = inkOf(painted({240, 60}, [&](QPainter& painter) {
                    draw(painter, area, text, designFont(FontRole::body), Qt::black, alignment);
                }));
                EXPECT_TRUE(!ink.isEmpty() && allowed.contains(ink)) << text.left(20).toStdString();
            }
}

TEST(Texts, AreMadeSmallerBeforeTheyAreElided) {
    const QFont font = designFont(FontRole::strong);
    const QString text = u"Refresh"_qs;
    const auto inkIn = [&](double share) {
        return inkOf(painted({240, 60}, [&](QPainter& painter) {
            drawFittedLine(painter, QRectF(20, 10, lineWidth(text, font) * share, 20), text, font,
                           Qt::black);
        }));
    };
    const QRect whole = inkIn(1);
    EXPECT_EQ(inkIn(2), whole);
    EXPECT_NEAR(inkIn(0.8).height(), whole.height() * 0.8, 1);
    EXPECT_NEAR(inkIn(0.8).width(), whole.width() * 0.8, 2);
    EXPECT_NEAR(inkIn(0.5).height(), whole.height() * leastShare, 1) << "elided";
}

TEST(Texts, TakeNoMoreRoomInAnyFamilyThanInOurs) {
    const QStringList families = QFontDatabase::families(QFontDatabase::Latin);
    ASSERT_GE(families.size(), 2) << "one that is not ours";
    for (const QString& family : families)
        for (const FontRole role : {FontRole::body, FontRole::strong, FontRole::bigNumber})
            for (const QString& text : {u"Always on top"_qs, u"Refresh"_qs, u"100"_qs})
                EXPECT_LE(lineWidth(text, designFont(role, family)),
                          lineWidth(text, designFont(role)) * (1 / leastShare))
                    << family.toStdString() << ", " << text.toStdString();
}

TEST(Texts, DoNotMoveWhenADigitChanges) {
    for (const FontRole role : {FontRole::body, FontRole::figure, FontRole::bigNumber})
        for (const QString& text : {u"11%"_qs, u"40%"_qs, u"78%"_qs})
            EXPECT_DOUBLE_EQ(figuresWidth(text, designFont(role)),
                             figuresWidth(u"00%"_qs, designFont(role)));
}

} // namespace
} // namespace tallywick
