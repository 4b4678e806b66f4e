#include "views/sheets/Sheet.h"

#include <QEvent>
#include <QKeyEvent>
#include <QPainter>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QStyle>
#include <QStyleOptionSlider>
#include <QVBoxLayout>

#include <algorithm>

namespace tallywick {

namespace {

constexpr int usualWidth = 460;
constexpr int margin = 16;
constexpr int spacing = 10;
constexpr int buttonSpacing = 8;
constexpr double cornerRadius = 10;

/// The vertical scroll bar of a sheet in the sheet's colours: a slim thumb and nothing around it.
class SheetScrollBar final : public QScrollBar {
  public:
    explicit SheetScrollBar(const ViewStyle& viewStyle)
        : QScrollBar(Qt::Vertical), style(viewStyle) {}

    QSize sizeHint() const override {
        constexpr int thickness = 10;
        return {thickness, QScrollBar::sizeHint().height()};
    }

  protected:
    void paintEvent(QPaintEvent* /*event*/) override {
        constexpr double inset = 2;
        QStyleOptionSlider option;
        initStyleOption(&option);
        const QRectF place = QWidget::style()->subControlRect(QStyle::CC_ScrollBar, &option,
                                                              QStyle::SC_ScrollBarSlider, this);
        const QRectF thumb = place.adjusted(inset, inset, -inset, -inset);
        PartPainter painter(this, style);
        fillRounded(painter, thumb, thumb.width() / 2, style.theme.secondaryText);
    }

  private:
    const ViewStyle& style;
};

} // namespace

Sheet::Sheet(const QString& title, const UtilityActions& windowActions,
             std::optional<UtilityCommand> dismissedBy, QWidget* window)
    : QDialog(window, Qt::Dialog | Qt::FramelessWindowHint), actions(windowActions),
      dismissal(dismissedBy), scroller(new QScrollArea(this)), page(new QWidget),
      contentColumn(new QVBoxLayout(page)), buttonBar(new QWidget(this)),
      buttons(new QHBoxLayout(buttonBar)) {
    setWindowTitle(title);
    setWindowModality(Qt::WindowModal);
    contentColumn->setContentsMargins(margin, margin, margin, 0);
    contentColumn->setSpacing(spacing);
    scroller->setWidget(page);
    scroller->setWidgetResizable(true);
    scroller->setFrameShape(QFrame::NoFrame);
    scroller->setFocusPolicy(Qt::NoFocus);
    scroller->setVerticalScrollBar(new SheetScrollBar(style));
    scroller->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    // The backdrop shines through both.
    page->setAutoFillBackground(false);
    scroller->viewport()->setAutoFillBackground(false);
    page->installEventFilter(this);
    if (window)
        window->installEventFilter(this);

    buttons->setContentsMargins(margin, margin, margin, margin);
    buttons->setSpacing(buttonSpacing);
    auto* whole = new QVBoxLayout(this);
    whole->setContentsMargins(0, 0, 0, 0);
    whole->setSpacing(0);
    whole->addWidget(scroller, 1);
    whole->addWidget(buttonBar);
}

void Sheet::setTheme(const Theme& theme) {
    if (theme == style.theme)
        return;
    style.theme = theme;
    for (SheetText* text : findChildren<SheetText*>())
        text->setTheme(theme);
    for (QWidget* part : findChildren<QWidget*>())
        part->update();
    update();
}

UtilityButton* Sheet::makeButton(const QString& text, UtilityCommand command, QWidget& parent,
                                 UtilityButton::Treatment treatment) {
    auto* button = new UtilityButton(style, text, Symbol::none, treatment, &parent);
    performOnClick(button, actions, command);
    return button;
}

void Sheet::scrollToTop() { scroller->verticalScrollBar()->setValue(0); }

UtilityButton* Sheet::makeDefaultButton(const QString& text, UtilityCommand command) {
    UtilityButton* button =
        makeButton(text, command, *buttonBar, UtilityButton::Treatment::prominent);
    button->setDefault(true);
    button->setFocus();
    return button;
}

void Sheet::reject() {
    if (dismissal)
        actions.perform(*dismissal);
    else
        QDialog::reject();
}

bool Sheet::eventFilter(QObject* watched, QEvent* event) {
    const bool isHandled = QDialog::eventFilter(watched, event);
    const bool hasMoved = event->type() == QEvent::Move || event->type() == QEvent::Resize;
    if (watched == page && event->type() == QEvent::LayoutRequest && isVisible())
        fit();
    else if (watched == parent() && hasMoved && isVisible())
        place();
    return isHandled;
}

/// The scroll area follows the keyboard only while that stays inside.
bool Sheet::focusNextPrevChild(bool next) {
    const bool hasMoved = QDialog::focusNextPrevChild(next);
    if (hasMoved && page->isAncestorOf(focusWidget()))
        scroller->ensureWidgetVisible(focusWidget());
    return hasMoved;
}

/// As long as the sheet itself keeps the keyboard, Return is meant for a button that has to wait.
void Sheet::keyPressEvent(QKeyEvent* event) {
    if (!isReturn(*event) || focusWidget() != this)
        QDialog::keyPressEvent(event);
}

void Sheet::showEvent(QShowEvent* event) {
    fit();
    QDialog::showEvent(event);
}

void Sheet::resizeEvent(QResizeEvent* event) {
    QDialog::resizeEvent(event);
    setMask(roundedRegion(rect(), cornerRadius));
}

QRect Sheet::availableArea() const {
    return (parentWidget() ? parentWidget()->screen() : screen())->availableGeometry();
}

void Sheet::fit() {
    const QSize available = availableArea().size();
    const int needed = std::max({usualWidth, contentColumn->totalMinimumSize().width(),
                                 buttonBar->minimumSizeHint().width()});
    const int width = std::min(needed, available.width());
    const int wanted =
        contentColumn->totalHeightForWidth(width) + buttonBar->minimumSizeHint().height();
    setFixedSize(width, std::min(wanted, available.height()));
    place();
}

void Sheet::place() {
    if (!parentWidget())
        return;
    const QRect area = availableArea();
    QRect wanted(QPoint(), size());
    wanted.moveCenter(parentWidget()->frameGeometry().center());
    wanted.moveRight(std::min(wanted.right(), area.right()));
    wanted.moveBottom(std::min(wanted.bottom(), area.bottom()));
    wanted.moveLeft(std::max(wanted.left(), area.left()));
    wanted.moveTop(std::max(wanted.top(), area.top()));
    move(wanted.topLeft());
}

void Sheet::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    paintRoundedPanel(painter, rect(), cornerRadius, style.theme.buttonOutline,
                      backdropOf(rect(), style.theme));
}

} // namespace tallywick
