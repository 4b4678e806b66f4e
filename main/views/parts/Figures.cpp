#include "views/parts/Figures.h"

#include "state/NumberTexts.h"
#include "views/look/TextPainting.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QFontMetricsF>

#include <algorithm>
#include <cmath>
#include <utility>

namespace tallywick {

namespace {

/// A figure as a screen reader meets it: static text that can be read letter by letter.
class AccessibleFigure final : public QAccessibleWidget, public QAccessibleTextInterface {
  public:
    explicit AccessibleFigure(Figure* figure)
        : QAccessibleWidget(figure, QAccessible::StaticText) {}

    void* interface_cast(QAccessible::InterfaceType type) override {
        if (type == QAccessible::TextInterface)
            return static_cast<QAccessibleTextInterface*>(this);
        return QAccessibleWidget::interface_cast(type);
    }

    QString text(QAccessible::Text kind) const override {
        return kind == QAccessible::Value ? value() : QAccessibleWidget::text(kind);
    }

    // The text interface: a text without a cursor in which nothing can be selected.

    QString text(int begin, int end) const override {
        const int first = qBound(0, begin, characterCount());
        const int last = end < 0 ? characterCount() : qBound(first, end, characterCount());
        return value().mid(first, last - first);
    }
    int characterCount() const override { return static_cast<int>(value().size()); }
    QRect characterRect(int /*offset*/) const override { return rect(); }
    int offsetAtPoint(const QPoint& /*point*/) const override { return -1; }
    QString attributes(int /*offset*/, int* begin, int* end) const override {
        *begin = 0;
        *end = characterCount();
        return {};
    }
    int cursorPosition() const override { return 0; }
    void setCursorPosition(int /*position*/) override {}
    void selection(int /*index*/, int* begin, int* end) const override { *begin = *end = 0; }
    int selectionCount() const override { return 0; }
    void addSelection(int /*begin*/, int /*end*/) override {}
    void removeSelection(int /*index*/) override {}
    void setSelection(int /*index*/, int /*begin*/, int /*end*/) override {}
    void scrollToSubstring(int /*begin*/, int /*end*/) override {}

  private:
    QString value() const { return static_cast<Figure*>(widget())->accessibleValue(); }
};

QAccessibleInterface* makeAccessibleFigure(const QString& /*className*/, QObject* object) {
    auto* figure = qobject_cast<Figure*>(object);
    return figure ? new AccessibleFigure(figure) : nullptr;
}

} // namespace

Figure::Figure(const ViewStyle& viewStyle, QWidget* parent) : QWidget(parent), style(viewStyle) {}

void Figure::describe(const QString& name, const QString& newValue, const QString& help) {
    // Setting the name and the description announces a change of them, and only a change.
    if (name != accessibleName())
        setAccessibleName(name);
    if (newValue != value) {
        const QString oldValue = std::exchange(value, newValue);
        QAccessibleTextUpdateEvent textChange(this, 0, oldValue, newValue);
        QAccessible::updateAccessibility(&textChange);
        QAccessibleValueChangeEvent valueChange(this, newValue);
        QAccessible::updateAccessibility(&valueChange);
    }
    const QString description = help.isEmpty() ? newValue : help;
    if (description != accessibleDescription())
        setAccessibleDescription(description);
    const QString tip = plainToolTip(help);
    if (tip != toolTip())
        setToolTip(tip);
}

void Figure::installAccessibility() { QAccessible::installFactory(makeAccessibleFigure); }

TextLine::TextLine(const ViewStyle& viewStyle, const Look& wantedLook, QWidget* parent)
    : Figure(viewStyle, parent), look(wantedLook) {}

void TextLine::present(const QString& text, const QString& newHelp) {
    if (text == shown && newHelp == help)
        return;
    if (text != shown)
        update();
    shown = text;
    help = newHelp;
    describeLine();
}

void TextLine::paintEvent(QPaintEvent*) {
    PartPainter painter(this, style);
    const auto draw = look.figures ? drawFigures : drawLine;
    draw(painter, painter.bounds(), shown, designFont(look.font), style.theme.*look.color,
         look.alignment);
}

void TextLine::resizeEvent(QResizeEvent*) { describeLine(); }

bool TextLine::isElided() const {
    const auto measure = look.figures ? figuresWidth : lineWidth;
    return measure(shown, designFont(look.font)) > width() / style.scale;
}

void TextLine::describeLine() { describe(shown, {}, help.isEmpty() && isElided() ? shown : help); }

PathLine::PathLine(const ViewStyle& viewStyle, const QString& accessibleName, QWidget* parent)
    : Figure(viewStyle, parent), name(accessibleName) {
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
}

void PathLine::present(const QString& path) {
    const QString line = oneLine(path);
    if (line == accessibleValue())
        return;
    describe(name, line, line);
    update();
}

QSize PathLine::sizeHint() const {
    const double height = QFontMetricsF(designFont(FontRole::strong)).height();
    return {1, static_cast<int>(std::ceil(height * style.scale))};
}

void PathLine::paintEvent(QPaintEvent* /*event*/) {
    PartPainter painter(this, style);
    drawLine(painter, painter.bounds(), accessibleValue(), designFont(FontRole::strong),
             style.theme.text);
}

namespace {

constexpr double gap = 1; ///< beside the room that a digit keeps free by itself
constexpr double markGap = 4;

} // namespace

void WeeklyFigure::present(const std::optional<Quota>& quota) {
    const QString newNumber = QString::fromStdString(usageFigure(quota));
    if (newNumber == number)
        return;
    number = newNumber;
    isKnown = quota.has_value();
    const QString whole = QString::fromStdString(weeklyUsageText(quota));
    unit = whole.sliced(number.size());
    describe(whole, {});
    update();
}

void WeeklyFigure::paintEvent(QPaintEvent*) {
    PartPainter painter(this, style);
    const QRectF area = painter.bounds();
    const QFont big = designFont(FontRole::bigNumber);
    const QFont small = designFont(FontRole::unit);
    // A dash as large as the digits would look like something that is being loaded.
    const QFont mark = designFont(FontRole::miniUsage);
    // All stand on one baseline: a line's capitals are centred in its area.
    const auto onBaseline = [&](const QFont& font) {
        return area.translated(0, (QFontMetricsF(big).capHeight() - QFontMetricsF(font).capHeight())
                                      / 2);
    };
    const QFont& font = isKnown ? big : mark;
    // At this size, digits that all take the same width would stand visibly apart.
    drawLine(painter, onBaseline(font), number, font,
             isKnown ? style.theme.text : style.theme.secondaryText);
    const double indent = lineWidth(number, font) + (isKnown ? gap : markGap);
    drawLine(painter, onBaseline(small).adjusted(indent, 0, 0, 0), unit, small,
             style.theme.secondaryText);
}

namespace {

QString caption() { return QStringLiteral("RESET IN"); }

} // namespace

void ResetCountdown::present(const std::optional<std::string>& countdown) {
    const QString text = QString::fromStdString(countdown.value_or(std::string()));
    setVisible(!text.isEmpty());
    if (text == shown)
        return;
    shown = text;
    describe(caption(), shown);
    update();
}

void ResetCountdown::paintEvent(QPaintEvent*) {
    constexpr double gap = 10;
    PartPainter painter(this, style);
    const QRectF area = painter.bounds();
    const QFont font = designFont(FontRole::remaining);
    drawFigures(painter, area, shown, font, style.theme.accentText, Qt::AlignRight);
    drawLine(painter, area.adjusted(0, 0, -figuresWidth(shown, font) - gap, 0), caption(),
             designFont(FontRole::caption), style.theme.secondaryText, Qt::AlignRight);
}

void StatusBadge::present(std::string_view word, bool newLive) {
    const QString text = QString::fromUtf8(word);
    if (text == shown && newLive == live)
        return;
    shown = text;
    live = newLive;
    describe(QStringLiteral("Connection"), shown);
    update();
}

void StatusBadge::paintEvent(QPaintEvent*) {
    constexpr double padding = 9;
    PartPainter painter(this, style);
    const QFont font = designFont(FontRole::caption);
    QRectF pill = painter.bounds();
    pill.setLeft(pill.right() - std::min(lineWidth(shown, font) + 2 * padding, pill.width()));
    const QColor color = live ? style.theme.accentText : style.theme.secondaryText;
    paintOutlined(painter, pill, pill.height() / 2, color,
                  live ? style.theme.accentTint : style.theme.card);
    drawLine(painter, pill, shown, font, color, Qt::AlignHCenter);
}

} // namespace tallywick
