#pragma once

#include "views/ViewStyle.h"

#include <QAbstractButton>

namespace tallywick {

/// A part of the window that draws itself and is pressed like a button: with the mouse, with Space
/// or Return once Tab has reached it, or by a screen reader, to which it is a button. Its text is
/// its name there.
class PressablePart : public QAbstractButton {
    Q_OBJECT

  public:
    PressablePart(const ViewStyle& style, QWidget* parent);

    /// Sets what is told to someone who points at it, and to a screen reader besides the name.
    void setHelp(const QString& text);

  protected:
    void keyPressEvent(QKeyEvent* event) override;

    /// Draws the ring around a part that has the keyboard.
    void paintFocus(QPainter& painter, const QRectF& area, double cornerRadius) const;

    const ViewStyle& style;
};

} // namespace tallywick
