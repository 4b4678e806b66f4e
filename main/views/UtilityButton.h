#pragma once

#include "views/TextPainting.h"
#include "views/ViewStyle.h"

#include <QPushButton>

#include <string>
#include <string_view>

namespace tallywick {

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
    UtilityButton(const ViewStyle& style, const QString& text, std::string_view symbol = {},
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
    std::string symbol;
    const Treatment treatment;
};

} // namespace tallywick
