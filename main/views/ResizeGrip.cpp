#include "views/ResizeGrip.h"

#include "views/DesignLayout.h"
#include "views/TextPainting.h"

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
    connect(this, &QAbstractButton::clicked, this, [this] { actions.toggleLayout(); });
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
    const QPointF moved = event->globalPosition() - *dragOrigin;
    didDrag = didDrag || std::abs(moved.x()) + std::abs(moved.y()) >= dragThreshold;
    if (didDrag)
        actions.resizeBy(moved.x(), moved.y());
}

void ResizeGrip::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return;
    dragOrigin.reset();
    if (std::exchange(didDrag, false))
        actions.endResize();
}

} // namespace tallywick
