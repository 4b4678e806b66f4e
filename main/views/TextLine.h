#pragma once

#include "views/Figure.h"
#include "views/Fonts.h"
#include "views/ViewStyle.h"

namespace tallywick {

/// One line of text in one of the theme's colours. A text that does not fit is elided, with the
/// whole as its tooltip.
class TextLine final : public Figure {
    Q_OBJECT

  public:
    /// How the text is drawn.
    struct Look {
        FontRole font = FontRole::body;
        QColor Theme::*color = &Theme::text;
        Qt::Alignment alignment = Qt::AlignLeft;
        bool figures = false; ///< digits keep their places
    };

    TextLine(const ViewStyle& style, const Look& look, QWidget* parent);

    /// `help` is the tooltip; without one it is the text itself, where that is elided.
    void present(const QString& text, const QString& help = {});

    const QString& text() const { return shown; }

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    bool isElided() const;
    void describeLine();

    const ViewStyle& style;
    const Look look;
    QString shown;
    QString help;
};

} // namespace tallywick
