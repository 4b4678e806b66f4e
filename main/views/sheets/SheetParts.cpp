#include "views/sheets/SheetParts.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QClipboard>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QVBoxLayout>

#include <algorithm>

namespace tallywick {

namespace {

constexpr char16_t noBreakSpace = 0xa0;
constexpr char16_t zeroWidthSpace = 0x200b;

/// The last two words held together, if they are short enough to stand in any line.
QString withoutLoneWord(QString text) {
    constexpr qsizetype longestPair = 24;
    const qsizetype last = text.lastIndexOf(u' ');
    if (last > 0 && text.size() - text.lastIndexOf(u' ', last - 1) <= longestPair)
        text[last] = noBreakSpace;
    return text;
}

/// A word too long for a line, such as a path, may be parted at its slashes.
QString withBreaks(const QString& text) {
    constexpr qsizetype longestWord = 40;
    QString shown;
    for (const QString& word : text.split(u' ')) {
        QString part = word;
        if (word.size() > longestWord)
            part.replace(u'/', QString(u'/') + QChar(zeroWidthSpace));
        shown += shown.isNull() ? part : u' ' + part;
    }
    return shown;
}

class AccessibleNotice final : public QAccessibleWidget {
  public:
    explicit AccessibleNotice(StatusNotice* notice)
        : QAccessibleWidget(notice, QAccessible::Notification) {}

    QString text(QAccessible::Text kind) const override {
        return kind == QAccessible::Name ? static_cast<StatusNotice*>(widget())->text()
                                         : QAccessibleWidget::text(kind);
    }
};

QAccessibleInterface* makeAccessibleNotice(const QString& /*className*/, QObject* object) {
    auto* notice = qobject_cast<StatusNotice*>(object);
    return notice ? new AccessibleNotice(notice) : nullptr;
}

/// Shown text as it was before it was shown.
QString asGiven(QString shown) {
    return shown.remove(QChar(zeroWidthSpace)).replace(QChar(noBreakSpace), u' ');
}

void announce(QWidget* widget, QAccessible::Event kind) {
    QAccessibleEvent event(widget, kind);
    QAccessible::updateAccessibility(&event);
}

} // namespace

WindowShade::WindowShade(QWidget* window) : QWidget(window) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    window->installEventFilter(this);
    setGeometry(window->rect());
    raise();
    show();
}

bool WindowShade::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Resize)
        setGeometry(parentWidget()->rect());
    return QWidget::eventFilter(watched, event);
}

void WindowShade::paintEvent(QPaintEvent* /*event*/) {
    constexpr int strength = 115; // of 255
    QPainter(this).fillRect(rect(), QColor(0, 0, 0, strength));
}

SheetText::SheetText(FontRole role, Ink chosenInk, const QString& text, QWidget* parent)
    : QLabel(parent), ink(chosenInk) {
    setTextFormat(Qt::PlainText); // before the text: it is never taken for markup
    setText(text);
    setFont(designFont(role));
    setWordWrap(true);
}

void SheetText::setText(const QString& text) {
    if (text == accessibleName())
        return;
    QLabel::setText(withBreaks(withoutLoneWord(text)));
    setAccessibleName(text);
}

void SheetText::setTheme(const Theme& theme) {
    const QColor color = ink == Ink::accent      ? theme.accentText
                         : ink == Ink::secondary ? theme.secondaryText
                                                 : theme.text;
    QPalette colors = palette();
    colors.setColor(QPalette::WindowText, color);
    setPalette(colors);
}

SheetCard::SheetCard(const ViewStyle& viewStyle, QWidget* parent)
    : QWidget(parent), style(viewStyle), content(new QVBoxLayout(this)) {
    constexpr int margin = 12;
    constexpr int spacing = 10;
    content->setContentsMargins(margin, margin, margin, margin);
    content->setSpacing(spacing);
}

void SheetCard::paintEvent(QPaintEvent* /*event*/) {
    constexpr double cornerRadius = 8;
    PartPainter painter(this, style);
    paintOutlined(painter, painter.bounds(), cornerRadius, style.theme.cardOutline,
                  style.theme.card);
}

StatusNotice::StatusNotice(QWidget* parent) : SheetText(FontRole::body, Ink::accent, {}, parent) {
    QAccessible::installFactory(makeAccessibleNotice);
    setTextInteractionFlags(Qt::TextSelectableByMouse);
    setContextMenuPolicy(Qt::NoContextMenu); // the toolkit's would copy what is only shown
    hide();
}

void StatusNotice::keyPressEvent(QKeyEvent* event) {
    if (!event->matches(QKeySequence::Copy) || !hasSelectedText())
        return SheetText::keyPressEvent(event);
    QGuiApplication::clipboard()->setText(asGiven(selectedText()));
}

void StatusNotice::present(const QString& newText) {
    if (newText == text())
        return;
    setText(newText); // announces the name
    const bool wasVisible = isVisible();
    setVisible(!newText.isEmpty()); // announces one that appears
    if (!isVisible())
        return;
    // A screen reader reads a notification out when it appears, so one that changes appears anew.
    if (wasVisible)
        announce(this, QAccessible::ObjectShow);
    announce(this, QAccessible::Alert);
}

SheetProgress::SheetProgress(const ViewStyle& viewStyle, const QString& subject, QWidget* parent)
    : QProgressBar(parent), style(viewStyle) {
    setAccessibleName(subject);
    setTextVisible(false);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void SheetProgress::present(std::int64_t done, std::int64_t whole) {
    setRange(0, static_cast<int>(whole));
    setValue(static_cast<int>(done));
    update();
}

QSize SheetProgress::sizeHint() const {
    constexpr int leastWidth = 100, height = 8;
    return {leastWidth, height};
}

void SheetProgress::paintEvent(QPaintEvent* /*event*/) {
    PartPainter painter(this, style);
    const QRectF& area = painter.bounds();
    const double radius = area.height() / 2;
    fillRounded(painter, area, radius, style.theme.cardOutline);
    const double share = maximum() > 0 ? static_cast<double>(value()) / maximum() : 0;
    QRectF done = area;
    done.setWidth(std::max(area.height(), area.width() * share));
    if (share > 0)
        fillRounded(painter, done, radius, style.theme.accentText);
}

} // namespace tallywick
