#pragma once

#include "codex/AccountAnswers.h"
#include "views/look/Painting.h"
#include "views/look/TextPainting.h"

#include <QString>
#include <QWidget>

#include <optional>
#include <string>
#include <string_view>

namespace tallywick {

/// A part of the window that shows something and does nothing: one element for a screen reader,
/// with a name, a value and perhaps a help text that is its tooltip as well.
///
/// A screen reader is reached by the name, the description and the text interface alone: the text
/// is the value, the description the help text, or the value again where there is none.
class Figure : public QWidget {
    Q_OBJECT

  public:
    /// The style must outlive the figure.
    Figure(const ViewStyle& style, QWidget* parent);

    /// Announces a value that has changed.
    void describe(const QString& name, const QString& value, const QString& help = {});

    const QString& accessibleValue() const { return value; }

    /// Makes figures known to the accessibility of Qt. Once, before the first window.
    static void installAccessibility();

  protected:
    const ViewStyle& style;

  private:
    QString value;
};

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

    const Look look;
    QString shown;
    QString help;
};

/// A file's path in one line of a sheet, elided in its middle where it does not fit, and whole as
/// its tooltip.
class PathLine final : public Figure {
    Q_OBJECT

  public:
    /// `name` is what a screen reader calls it.
    PathLine(const ViewStyle& style, const QString& name, QWidget* parent);

    void present(const QString& path);

    /// As high as its line. It takes whatever width there is.
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    const QString name;
};

/// The big number of the full layout with its unit, "42" and "% used".
class WeeklyFigure final : public Figure {
    Q_OBJECT

  public:
    using Figure::Figure;

    void present(const std::optional<Quota>& quota);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    bool isKnown = false;
    QString number;
    QString unit;
};

/// The time left until the reset, with its caption; empty without one.
class ResetCountdown final : public Figure {
    Q_OBJECT

  public:
    using Figure::Figure;

    void present(const std::optional<std::string>& countdown);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    QString shown;
};

/// One word for the status in a rounded frame at the right end of its place.
class StatusBadge final : public Figure {
    Q_OBJECT

  public:
    using Figure::Figure;

    /// A live reading has the accent colour.
    void present(std::string_view word, bool live);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    QString shown;
    bool live = false;
};

} // namespace tallywick
