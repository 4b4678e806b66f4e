#pragma once

#include "state/UtilityFields.h"
#include "views/look/Painting.h"
#include "views/look/Symbols.h"
#include "views/look/TextPainting.h"
#include "views/parts/UtilityActions.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QPushButton>

class QKeyEvent;

namespace tallywick {

/// Whether it is the key Return, or Enter of the number pad.
bool isReturn(const QKeyEvent& event);

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

/// A button of the window or of a sheet: rounded, with a text and perhaps a symbol; or, without an
/// outline, an image alone. Tab reaches it, Space and Return press it; a ring shows the focus, and
/// it is dimmed while disabled. A text too long for it shrinks, and is elided only then, with the
/// whole as its tooltip where it has no other. The text is plain: "&" has a meaning for the toolkit
/// and stays out of it.
class UtilityButton final : public QPushButton {
    Q_OBJECT

  public:
    enum class Treatment {
        plain,     ///< outlined
        prominent, ///< filled with the accent: the default of a sheet
        bare       ///< the symbol alone; the text is only heard
    };

    /// The style must outlive the button.
    UtilityButton(const ViewStyle& style, const QString& text, Symbol symbol = Symbol::none,
                  Treatment treatment = Treatment::plain, QWidget* parent = nullptr);

    /// The size that its content needs, in design units times the style's scale.
    QSize sizeHint() const override { return sizeFor(1); }
    /// The size in which its text, made as small as it may be, is not elided.
    QSize minimumSizeHint() const override { return sizeFor(leastShare); }

  protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool hitButton(const QPoint& position) const override { return rect().contains(position); }

  private:
    /// With the text that many times as large as it is meant.
    QSize sizeFor(double textShare) const;
    /// Design units that the symbol takes, with the gap to a text after it.
    double symbolRoom() const;
    bool isElided() const;
    QColor inkColor() const;
    QColor fillColor() const;
    QColor prominentFill() const;
    void paintFrame(QPainter& painter, const QRectF& bounds) const;
    void paintContent(QPainter& painter, const QRectF& bounds) const;

    const ViewStyle& style;
    const Symbol symbol;
    const Treatment treatment;
};

/// A check box with its text. Space and Return toggle it; a ring shows the focus, and it is dimmed
/// while disabled. The text is plain, as that of a `UtilityButton`.
class UtilityCheckBox : public QCheckBox {
    Q_OBJECT

  public:
    /// The style must outlive the box.
    UtilityCheckBox(const ViewStyle& style, const QString& text, QWidget* parent = nullptr);

    /// The size that its content needs, in design units times the style's scale.
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool hitButton(const QPoint& position) const override { return rect().contains(position); }

  private:
    /// The colour, dimmed while the box is disabled.
    QColor faded(const QColor& color) const;
    void paintBox(QPainter& painter, const QRectF& box) const;

    const ViewStyle& style;
};

/// The check box that keeps the window above all others. Where the desktop does not let it, the box
/// is empty and disabled, and says so.
class PinBox final : public UtilityCheckBox {
    Q_OBJECT

  public:
    /// The style and the actions must outlive the box.
    PinBox(const ViewStyle& style, const QString& text, const UtilityActions& actions,
           QWidget* parent);

    /// Shows what is, which is no wish of the user's.
    void present(const UtilityFields& fields);
};

/// The cross that ends the program.
UtilityButton* makeQuitButton(const ViewStyle& style, const UtilityActions& actions,
                              QWidget* parent);

} // namespace tallywick
