// Colours, texts, and what is drawn with them.

#include "views/look/TextPainting.h"
#include "views/parts/Figures.h"
#include "views/parts/UsageGraphs.h"
#include "views/parts/VolumeRow.h"

#include <gtest/gtest.h>

#include <QFontDatabase>
#include <QTextDocument>

namespace tallywick {
namespace {

void expectReadable(const Theme& theme, bool highContrast) {
    const double read = highContrast ? 7 : 4.5;
    const double seen = highContrast ? 4.5 : 3;
    const std::vector<QColor> grounds{theme.backdropTop, theme.backdropBottom, theme.card};
    const std::vector<QColor> buttons{theme.button, theme.buttonHovered, theme.buttonPressed};
    const struct {
        const char* what;
        QColor color;
        std::vector<QColor> grounds;
        double ratio;
    } pairs[] = {{"text", theme.text, grounds, read},
                 {"secondary text", theme.secondaryText, grounds, read},
                 {"accent text", theme.accentText, grounds, read},
                 {"accent text on its tint", theme.accentText, {theme.accentTint}, read},
                 {"button text", theme.buttonText, buttons, read},
                 {"prominent text", theme.prominentText, {theme.prominent}, read},
                 {"accent", theme.accent, grounds, seen},
                 {"focus", theme.focus, grounds, seen},
                 {"focus on a button", theme.focus, buttons, seen},
                 {"grip", theme.grip, grounds, seen},
                 {"outline", theme.buttonOutline, {theme.button}, highContrast ? seen : 1}};
    for (const auto& [what, color, under, ratio] : pairs) {
        EXPECT_EQ(color.alpha(), 255) << what;
        for (const QColor& ground : under)
            EXPECT_GE(contrastRatio(color, ground), ratio) << what;
    }
}

TEST(Theme, EveryTextCanBeReadWithAnyAccent) {
    for (const char* accent : {"", "white", "black", "gray", "#f0f4f8", "#0b1016", "#fadc28",
                               "#e61e28", "#0a145a", "#14ffffff"})
        for (const bool light : {false, true})
            for (const bool highContrast : {false, true}) {
                SCOPED_TRACE(std::string(accent) + (light ? " by day" : " by night")
                             + (highContrast ? ", high contrast" : ""));
                const Theme theme = makeTheme(light, {QColor(accent), highContrast});
                expectReadable(theme, highContrast);
            }
}

TEST(Theme, AnAccentThatCanBeSeenStaysAsItIsAndAnotherKeepsItsHue) {
    const QColor yellow(250, 220, 40);
    EXPECT_EQ(makeTheme(false, {.accent = yellow}).accent, yellow);
    EXPECT_EQ(makeTheme(false, {.accent = QColor()}), makeTheme(false, {}));
    const QColor moved = makeTheme(true, {.accent = yellow}).accent;
    EXPECT_LT(moved.lightnessF(), yellow.lightnessF());
    EXPECT_NEAR(moved.hslHue(), yellow.hslHue(), 2);
}

TEST(Theme, ContrastFollowsTheGuidelines) {
    EXPECT_NEAR(contrastRatio(QColor(0x77, 0x77, 0x77), Qt::white), 4.48, 0.005);
    EXPECT_NEAR(contrastRatio(Qt::white, QColor(255, 0, 0)), 4.00, 0.005);
}

/// What is drawn on a ground, or on nothing.
template <typename Paint>
QImage painted(QSize size, Paint paint, const QColor& ground = Qt::transparent) {
    QImage image(size, QImage::Format_ARGB32);
    image.fill(ground);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    paint(painter);
    return image;
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

TEST(Texts, FromOutsideBecomeOneHarmlessLine) {
    const std::pair<QString, QString> cases[] = {
        {u"\na\tb\r\n\nc\u2028d\u2029e\u0085f"_qs, u"a b c d e f"_qs},
        {u"a\u0007b\u001bc\u007fd\u009ce"_qs, u"abcde"_qs},
        {u"a\u200e\u200f\u061cb\u202a\u202ec\u2066\u2069d"_qs, u"abcd"_qs},
        {u"שלום 👩\u200d🚀"_qs, u"שלום 👩\u200d🚀"_qs},
        {u'a' + QString(QChar(0xd83d)) + u'b' + QChar(0xde80) + QChar(0xd83d), u"ab"_qs},
        {QString(999, u'x') + u"🚀"_qs, QString(999, u'x')},
        {QString(10000, QChar(7)) + QString(10000, u'x'), QString(1000, u'x')}};
    for (const auto& [text, line] : cases)
        EXPECT_EQ(oneLine(text).toStdString(), line.toStdString());
    EXPECT_EQ(oneLine(QString(3000, u'x'), 2000), QString(2000, u'x'));
}

TEST(Texts, StandInAToolTipAsTheyAre) {
    EXPECT_EQ(plainToolTip(u"a < b & c"_qs), u"a < b & c"_qs);
    QTextDocument document;
    for (const QString& text : {u"<img src=\"/etc/hostname\">"_qs, u"two  spaces &amp; <i>"_qs}) {
        document.setHtml(plainToolTip(text));
        EXPECT_EQ(document.toPlainText().remove(QChar(0x2060)).toStdString(), text.toStdString());
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
    const auto inkIn = [&](double share) {
        return inkOf(painted({240, 60}, [&](QPainter& painter) {
            const QRectF area(20, 10, lineWidth(u"Refresh"_qs, font) * share, 20);
            drawFittedLine(painter, area, u"Refresh"_qs, font, Qt::black);
        }));
    };
    const QRect whole = inkIn(1);
    EXPECT_EQ(inkIn(2), whole);
    EXPECT_NEAR(inkIn(0.8).height(), whole.height() * 0.8, 1);
    EXPECT_NEAR(inkIn(0.8).width(), whole.width() * 0.8, 2);
    EXPECT_NEAR(inkIn(0.5).height(), whole.height() * leastShare, 1) << "elided";
}

TEST(Texts, TakeAboutAsMuchRoomInAnyFamilyAndTheSameForAnyDigits) {
    for (const QString& family : QFontDatabase::families(QFontDatabase::Latin))
        for (const FontRole role : {FontRole::body, FontRole::strong, FontRole::bigNumber})
            for (const QString& text : {u"Always on top"_qs, u"Refresh"_qs, u"100"_qs})
                EXPECT_LE(lineWidth(text, designFont(role, family)),
                          lineWidth(text, designFont(role)) / leastShare)
                    << family.toStdString() << ", " << text.toStdString();
    const QFont font = designFont(FontRole::figure);
    EXPECT_DOUBLE_EQ(figuresWidth(u"11%"_qs, font), figuresWidth(u"40%"_qs, font));
}

/// A theme whose accent is like no other colour.
const Theme redTheme = makeTheme(false, {.accent = QColor(255, 60, 60)});

TEST(Painting, KeepsTheUnitAtTheFigureAndAnUnknownOneSmall) {
    const ViewStyle style{redTheme};
    WeeklyFigure figure(style, nullptr);
    figure.resize(290, 72);
    figure.setAttribute(Qt::WA_TranslucentBackground);
    const auto inkWith = [&figure](const std::optional<Quota>& quota) {
        figure.present(quota);
        return inkOf(figure.grab().toImage());
    };
    const double number = lineWidth(u"42"_qs, designFont(FontRole::bigNumber));
    const double unit = lineWidth(u"% used"_qs, designFont(FontRole::unit));
    EXPECT_NEAR(inkWith(Quota{42, 0}).width(), number + unit, 8);
    EXPECT_LT(inkWith({}).height(), 20);
}

TEST(Painting, FillsASegmentOfTheMeterForEveryTwoPercentBegun) {
    const std::pair<std::optional<double>, int> cases[] = {
        {{}, 0}, {0, 0}, {0.5, 1}, {2, 1}, {2.1, 2}, {98.5, 50}, {250, 50}, {-5, 0}};
    for (const auto& [percent, filled] : cases)
        EXPECT_EQ(filledSegments(percent), filled) << percent.value_or(0);
}

TEST(Painting, KeepsTheSegmentsOfTheMeterApart) {
    const Theme theme = makeTheme(true, {});
    for (const double scale : {1.0, 1.25, 1.5, 2.0}) {
        const auto paint = [&](QPainter& painter) {
            painter.scale(scale, scale);
            paintMeter(painter, QRectF(0, 0, 488, 30), theme, 50);
        };
        const QImage meter = painted((QSizeF(488, 30) * scale).toSize(), paint, theme.backdropTop);
        const QColor frame = meter.pixelColor(qRound(4 * scale), meter.height() / 2);
        std::vector<int> gaps{0};
        for (int x = qRound(8 * scale); x < qRound(480 * scale); ++x)
            if (meter.pixelColor(x, meter.height() / 2) == frame)
                ++gaps.back();
            else if (gaps.back() > 0)
                gaps.push_back(0); // within a segment again
        gaps.pop_back();
        EXPECT_EQ(gaps, std::vector<int>(49, qRound(2 * scale))) << scale;
    }
}

TEST(Painting, DrawsSegmentsOfTheWeekApartWithTheirDots) {
    const auto draw = [](const std::vector<HistoryGraphPoint>& points) {
        return painted({490, 36}, [&](QPainter& painter) {
            paintHistoryGraph(painter, QRectF(0, 0, 490, 36), redTheme, points, false);
        });
    };
    const QImage empty = draw({});
    const QImage graph = draw({{{100, 16}, true},
                               {{200, 16}, false},
                               {{300, 10}, true},
                               {{400, 12}, true},
                               {{440, 12}, false}});
    const struct {
        const char* where;
        QPoint pixel;
        bool isDrawn, isAccent;
    } cases[] = {{"on a line", {150, 16}, true, true},
                 {"in the area under a line", {150, 28}, true, false},
                 {"between two segments", {250, 16}, false, false},
                 {"in the dot of a single reading", {300, 11}, true, true},
                 {"below a single reading", {300, 28}, false, false},
                 {"beside the end of a segment that is not the last", {202, 16}, true, false},
                 {"in the dot of the last reading", {441, 12}, true, true}};
    for (const auto& [where, pixel, isDrawn, isAccent] : cases) {
        const QColor color = graph.pixelColor(pixel);
        EXPECT_EQ(color.alpha() > 150 && color.green() < 80, isAccent) << where;
        EXPECT_EQ(color != empty.pixelColor(pixel), isDrawn) << where;
    }
}

TEST(Painting, ShowsTheFreePartOfAVolume) {
    const struct {
        std::int64_t free, total;
        int freePixels;
    } cases[] = {{100, 100, 120}, {75, 100, 90}, {0, 100, 0}, {1, 100'000, 5}, {0, 0, 0}};
    for (const auto& [free, total, freePixels] : cases) {
        const VolumeInfo volume{"/", "disk", free, total};
        const QImage bar = painted({120, 5}, [&](QPainter& painter) {
            paintFreeSpace(painter, QRectF(0, 0, 120, 5), redTheme, volume);
        });
        int pixels = 0;
        for (int x = 0; x < 120; ++x)
            pixels += bar.pixelColor(x, 2).alpha() > 128;
        EXPECT_EQ(pixels, freePixels) << free << " of " << total;
    }
}

} // namespace
} // namespace tallywick
