#pragma once

#include <QProxyStyle>

namespace tallywick {

/// What the toolkit draws by itself, drawn like the window: menus and tooltips have its font, its
/// rounding and its borders. Colours are those of `paletteOf`.
class UtilityStyle final : public QProxyStyle {
    Q_OBJECT

  public:
    UtilityStyle();

    /// Makes it the style of the program, with its fonts. Once, before the first window.
    static void install();

    int pixelMetric(PixelMetric metric, const QStyleOption* option,
                    const QWidget* widget) const override;
    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* result) const override;
    QSize sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& size,
                           const QWidget* widget) const override;
    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override;
    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override;
};

} // namespace tallywick
