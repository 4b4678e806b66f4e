#pragma once

#include "views/ViewStyle.h"

#include <QCheckBox>

namespace tallywick {

/// A check box with its text. Space and Return toggle it; a ring shows the focus, and it is dimmed
/// while disabled. The text is plain, as that of a `UtilityButton`.
class UtilityCheckBox final : public QCheckBox {
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

} // namespace tallywick
