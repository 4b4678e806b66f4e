#include "views/layouts/UtilityView.h"

#include "state/WindowSizing.h"
#include "views/layouts/DesignLayout.h"
#include "views/layouts/FullView.h"
#include "views/layouts/MiniView.h"
#include "views/look/Painting.h"
#include "views/look/TextPainting.h"

#include <QLineF>
#include <QMouseEvent>

#include <cmath>
#include <utility>

namespace tallywick {

ResizeGrip::ResizeGrip(const ViewStyle& viewStyle, const UtilityActions& windowActions,
                       QWidget* parent)
    : PressablePart(viewStyle, parent), actions(windowActions) {
    setFixedSize(sizeHint());
    setCursor(Qt::SizeVerCursor);
    setText(QStringLiteral("Resize utility"));
    setAccessibleDescription(
        QStringLiteral("Drag upward for Mini or downward to expand. Press to switch layouts."));
    setToolTip(plainToolTip(QStringLiteral("Drag upward for Mini, downward for full view. "
                                           "Command-Shift-M also switches layouts.")));
    performOnClick(this, actions, UtilityCommand::toggleLayout);
}

QSize ResizeGrip::sizeHint() const { return {DesignLayout::gripSize, DesignLayout::gripSize}; }

void ResizeGrip::paintEvent(QPaintEvent*) {
    constexpr double margin = 2;
    constexpr double steps[] = {4, 8, 12};
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(style.theme.grip, 1.5, Qt::SolidLine, Qt::RoundCap));
    for (const double step : steps)
        painter.drawLine(QLineF(width() - step, height() - margin, width() - margin, //
                                height() - step));
    paintFocus(painter, rect(), 3);
}

void ResizeGrip::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return;
    dragOrigin = event->globalPosition();
    didDrag = false;
}

void ResizeGrip::mouseMoveEvent(QMouseEvent* event) {
    constexpr double dragThreshold = 2;
    if (!dragOrigin)
        return;
    const QPointF origin = *dragOrigin;
    const QPointF moved = event->globalPosition() - origin;
    if (!didDrag) {
        if (std::abs(moved.x()) + std::abs(moved.y()) < dragThreshold)
            return;
        letGo(); // the toolkit tells of a release when the desktop takes over
        if (actions.startSystemResize())
            return;
        dragOrigin = origin;
        didDrag = true;
    }
    actions.resizeBy(moved.x(), moved.y());
}

void ResizeGrip::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return;
    const bool ends = didDrag;
    letGo();
    if (ends)
        actions.perform(UtilityCommand::endResize);
}

void ResizeGrip::letGo() {
    dragOrigin.reset();
    didDrag = false;
}

namespace {

/// The layout in the middle of the window's width; and of its height, unless it only stands in
/// between while the user resizes it.
QRect placed(QSizeF design, double scale, QSize window, bool inTheMiddle) {
    const QSize size = (design * scale).toSize();
    const QSize spare = window - size;
    return {QPoint(spare.width() / 2, inTheMiddle ? spare.height() / 2 : 0), size};
}

} // namespace

UtilityView::UtilityView(const UtilityActions& windowActions, QWidget* parent)
    : QWidget(parent), actions(windowActions),
      availableHeight(WindowSizing::maximumContentHeight({}, {})), style{makeTheme(shown.light,
                                                                                   colors)},
      grip(new ResizeGrip(style, actions, this)) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAccessibleName(QStringLiteral("Tallywick"));
    // Has the keyboard until Tab is pressed, and again after a click beside the controls: no ring
    // is seen as long as nobody uses it.
    setFocusPolicy(Qt::ClickFocus);
}

void UtilityView::present(const UtilityFields& fields, double newAvailableHeight) {
    shown = fields;
    availableHeight = newAvailableHeight;
    if (shown.light != style.theme.light)
        changeTheme();
    arrange();
}

void UtilityView::setColors(const ColorPreferences& preferences) {
    if (preferences == colors)
        return;
    colors = preferences;
    changeTheme();
}

void UtilityView::changeTheme() {
    style.theme = makeTheme(shown.light, colors);
    update();
}

void UtilityView::paintEvent(QPaintEvent*) {
    QPainter(this).fillRect(rect(), backdropOf(rect(), style.theme));
}

void UtilityView::resizeEvent(QResizeEvent*) { arrange(); }

void UtilityView::showEvent(QShowEvent*) {
    if (!window()->focusWidget())
        setFocus(Qt::OtherFocusReason);
}

void UtilityView::arrange() {
    const bool mini = shown.sizeIsImposed ? shown.mini : WindowSizing::isMini(height());
    const QSizeF design = mini ? WindowSizing::miniSize
                               : WindowSizing::fullSize(shown.volumes.size(), availableHeight);
    const double scale = WindowSizing::designScale(size(), design);
    if (scale != style.scale)
        update();
    style.scale = scale;
    const QRect place = placed(design, style.scale, size(), shown.sizeIsImposed);
    if (mini)
        showMini(place);
    else
        showFull(place, design.height());
    grip->move(width() - grip->width(), height() - grip->height());
}

void UtilityView::showMini(const QRect& place) {
    if (!miniView) {
        miniView = new MiniView(style, actions, this);
        keepGripLast();
    }
    miniView->setGeometry(place);
    miniView->arrange();
    miniView->present(shown);
    exchange(fullView, miniView, miniView->layoutToggle());
}

void UtilityView::showFull(const QRect& place, double layoutHeight) {
    if (!fullView) {
        fullView = new FullView(style, actions, this);
        keepGripLast();
    }
    fullView->setGeometry(place);
    fullView->arrange(layoutHeight);
    fullView->present(shown,
                      WindowSizing::visibleVolumeRows(shown.volumes.size(), availableHeight));
    exchange(miniView, fullView, fullView->layoutToggle());
}

/// Shows one layout in the place of the other, whose keyboard focus goes to the button that leads
/// back. Of one that is shown already, nothing moves.
void UtilityView::exchange(QWidget* hidden, QWidget* shownNow, QWidget* toggle) {
    if (std::exchange(shownLayout, shownNow) == shownNow)
        return;
    const bool hadFocus = hidden && hidden->isAncestorOf(window()->focusWidget());
    shownNow->show();
    if (hadFocus)
        toggle->setFocus(Qt::OtherFocusReason);
    if (hidden)
        hidden->hide();
}

/// The grip is read and reached after a layout that has just been made.
void UtilityView::keepGripLast() {
    grip->raise();
    QWidget* last = window()->previousInFocusChain();
    while (last->focusPolicy() == Qt::NoFocus)
        last = last->previousInFocusChain();
    setTabOrder(last, grip);
}

} // namespace tallywick
