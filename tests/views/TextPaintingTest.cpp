#include "views/TextPainting.h"
#include "views/Fonts.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>
#include <QTextDocument>

#include <string>
#include <vector>

namespace tallywick {
namespace {

TEST(TextPaintingTest, aTextFromOutsideBecomesOneHarmlessLine) {
    const struct {
        const char* name;
        QString text;
        QString line;
    } cases[] = {
        {"a tab and line breaks become spaces", u"a\tb\r\n\nc"_qs, u"a b c"_qs},
        {"a break at the beginning is dropped", u"\n\na"_qs, u"a"_qs},
        {"the line separators of Unicode", u"a\u2028b\u2029c\u0085d"_qs, u"a b c d"_qs},
        {"control characters", u"a\u0007b\u001bc\u007fd\u009ce"_qs, u"abcde"_qs},
        {"a NUL", QString::fromUtf16(u"a\0b", 3), u"ab"_qs},
        {"direction marks", u"a\u200e\u200f\u061cb"_qs, u"ab"_qs},
        {"embeddings and overrides", u"a\u202a\u202b\u202c\u202d\u202eb"_qs, u"ab"_qs},
        {"isolates", u"a\u2066\u2067\u2068\u2069b"_qs, u"ab"_qs},
        {"right-to-left letters stay", u"שלום"_qs, u"שלום"_qs},
        {"joined emoji stay", u"👩\u200d🚀"_qs, u"👩\u200d🚀"_qs},
        {"a high surrogate alone", QString(u'a') + QChar(0xd83d) + u'b', u"ab"_qs},
        {"surrogates the wrong way round", QString(QChar(0xde80)) + QChar(0xd83d), u""_qs},
        {"markup is left alone", u"<b>&amp;</b>"_qs, u"<b>&amp;</b>"_qs},
        {"10,000 characters", QString(10000, u'x'), QString(1000, u'x')},
        {"a pair across the end", QString(999, u'x') + u"🚀"_qs, QString(999, u'x')},
        {"a pair before the end", QString(998, u'x') + u"🚀y"_qs, QString(998, u'x') + u"🚀"_qs},
        {"10,000 control characters", QString(10000, QChar(7)) + u'x', u"x"_qs},
    };
    for (const auto& row : cases)
        EXPECT_EQ(oneLine(row.text).toStdString(), row.line.toStdString()) << row.name;
}

/// What a tooltip shows, as the toolkit takes it.
QString shownToolTip(const QString& toolTip) {
    if (!Qt::mightBeRichText(toolTip))
        return toolTip;
    QTextDocument document;
    document.setHtml(toolTip);
    return document.toPlainText();
}

TEST(TextPaintingTest, aToolTipShowsTheTextAsItStands) {
    const std::vector<QString> texts{
        u"Backup"_qs,
        u"<b>bold</b>"_qs,
        u"<img src=\"/etc/hostname\">"_qs,
        u"a < b > c & d &amp; \"e\""_qs,
        u"two  spaces <i>"_qs,
        u"/home/someone/"_qs.repeated(20),
    };
    for (const QString& text : texts)
        EXPECT_EQ(shownToolTip(plainToolTip(text)).toStdString(), text.toStdString());
    EXPECT_EQ(shownToolTip(plainToolTip(u"a\n\u202eb"_qs)), u"a b"_qs);
    EXPECT_TRUE(Qt::mightBeRichText(plainToolTip(texts.back()))) << "a plain text does not wrap";
}

constexpr int imageWidth = 240;
constexpr int imageHeight = 60;
const QRectF area(40, 20, 120, 20);

template <typename Draw>
QImage drawn(Draw draw) {
    QImage image(imageWidth, imageHeight, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    QPainter painter(&image);
    draw(painter);
    return image;
}

/// The smallest rectangle with everything that is not white.
QRect inkOf(const QImage& image) {
    QRect ink;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (image.pixelColor(x, y) != QColor(Qt::white))
                ink = ink.united(QRect(x, y, 1, 1));
    return ink;
}

class TextDrawingTest : public ::testing::Test {
  protected:
    void SetUp() override {
        const auto image = [this](const QString& letter) {
            return drawn(
                [&](QPainter& painter) { drawLine(painter, area, letter, font, Qt::black); });
        };
        if (image(u"W"_qs) == image(u"i"_qs))
            GTEST_SKIP() << "no font is installed: every letter is the same box";
    }

    const QFont font = designFont(FontRole::body);
};

TEST_F(TextDrawingTest, nothingIsDrawnBesideTheRectangle) {
    for (const QString& text :
         {u"short"_qs, QString(10000, u'W'), u"<h1>W</h1>"_qs.repeated(30), u"a\nb\nc"_qs,
          u"م"_qs.repeated(300), u"é\u0301\u0301\u0301\u0301"_qs.repeated(40)}) {
        for (const Qt::AlignmentFlag alignment :
             {Qt::AlignLeft, Qt::AlignHCenter, Qt::AlignRight}) {
            const QRect ink = inkOf(drawn([&](QPainter& painter) {
                drawLine(painter, area, text, font, Qt::black, alignment);
            }));
            ASSERT_FALSE(ink.isEmpty()) << text.left(20).toStdString();
            EXPECT_TRUE(area.adjusted(0, -2, 0, 2).toRect().contains(ink))
                << text.left(20).toStdString() << " at " << ink.left() << ", " << ink.top()
                << ", size " << ink.width() << " x " << ink.height();
        }
    }
    const QRect figures = inkOf(drawn([&](QPainter& painter) {
        drawFigures(painter, area, QString(200, u'8'), font, Qt::black);
    }));
    ASSERT_FALSE(figures.isEmpty());
    EXPECT_TRUE(area.toRect().contains(figures));
}

TEST_F(TextDrawingTest, alignsWithTheEdges) {
    const auto ink = [&](Qt::Alignment alignment) {
        return inkOf(drawn([&](QPainter& painter) {
            drawLine(painter, area, u"HH"_qs, font, Qt::black, alignment);
        }));
    };
    constexpr int bearing = 3;
    EXPECT_NEAR(ink(Qt::AlignLeft).left(), area.left(), bearing);
    EXPECT_NEAR(ink(Qt::AlignRight).right(), area.right(), bearing);
    EXPECT_NEAR(ink(Qt::AlignHCenter).center().x(), area.center().x(), 1);
    EXPECT_NEAR(ink(Qt::AlignLeft).center().y(), area.center().y(), 1);
}

TEST_F(TextDrawingTest, anElidedTextKeepsBothEnds) {
    const auto image = [&](const QString& text) {
        return drawn([&](QPainter& painter) { drawLine(painter, area, text, font, Qt::black); });
    };
    const QString middle = QString(60, u'-');
    const QRect bothEnds(40, 20, 30, 20);
    const QRect end(140, 20, 20, 20);
    EXPECT_EQ(image(u"WWWW"_qs + middle + u"MMMM"_qs).copy(bothEnds),
              image(u"WWWW"_qs + middle + u"iiii"_qs).copy(bothEnds));
    EXPECT_NE(image(u"WWWW"_qs + middle + u"MMMM"_qs).copy(end),
              image(u"WWWW"_qs + middle + u"...."_qs).copy(end));
}

TEST_F(TextDrawingTest, figuresDoNotMoveWhenADigitChanges) {
    for (const FontRole role : {FontRole::body, FontRole::figure, FontRole::bigNumber}) {
        const QFont figures = designFont(role);
        EXPECT_GT(figuresWidth(u"1"_qs, figures), 0);
        for (const QString& text : {u"11%"_qs, u"40%"_qs, u"78%"_qs, u"09%"_qs})
            EXPECT_DOUBLE_EQ(figuresWidth(text, figures), figuresWidth(u"00%"_qs, figures))
                << text.toStdString();
    }
    const auto lastCharacter = [&](const QString& text) {
        return drawn([&](QPainter& painter) { drawFigures(painter, area, text, font, Qt::black); })
            .copy(static_cast<int>(area.left() + figuresWidth(u"000"_qs, font)) + 1, 0, 40,
                  imageHeight);
    };
    ASSERT_FALSE(inkOf(lastCharacter(u"100%"_qs)).isEmpty());
    EXPECT_EQ(lastCharacter(u"100%"_qs), lastCharacter(u"111%"_qs));
}

} // namespace
} // namespace tallywick
