#include "views/WindowShade.h"

#include <QEvent>
#include <QPainter>

namespace tallywick {

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

} // namespace tallywick
