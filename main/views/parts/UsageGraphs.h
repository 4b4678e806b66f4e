#pragma once

#include "codex/AccountAnswers.h"
#include "history/HistoryGraphModel.h"
#include "views/look/Painting.h"
#include "views/look/Theme.h"
#include "views/parts/Figures.h"

#include <QPainter>
#include <QRectF>

#include <cstddef>
#include <optional>
#include <span>
#include <string>

namespace tallywick {

/// How many of the meter's 50 segments are filled: each that begins below the value stands for two
/// percent. None without a value.
int filledSegments(std::optional<double> percent);

/// Draws the meter with so many of its segments filled.
void paintMeter(QPainter& painter, const QRectF& area, const Theme& theme, int filled);

/// The weekly meter. Its tooltip tells of the shorter window, where one was reported.
class SegmentedMeter final : public Figure {
    Q_OBJECT

  public:
    using Figure::Figure;

    void present(const std::optional<Quota>& quota, Timestamp now);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    int filled = 0;
};

/// Draws the graph of the allowance week: its frame, a grid of days, the line of an even pace if it
/// is wanted, and the points joined where no segment starts. The points are given relative to the
/// area's top left corner.
void paintHistoryGraph(QPainter& painter, const QRectF& area, const Theme& theme,
                       std::span<const HistoryGraphPoint> points, bool showsEvenPace);

/// The usage of the current allowance week, as far as this program has observed it.
///
/// It looks back where the pointer is, and, when it has the keyboard, with Left, Right, Home and
/// End: a hairline stands at the nearest reading, which is announced. That ends when the pointer or
/// the keyboard leaves.
class UsageHistoryGraph final : public Figure {
    Q_OBJECT

  public:
    UsageHistoryGraph(const ViewStyle& style, QWidget* parent);

    /// `pace` is what is said of the pace; empty when there is none, nor a line of it.
    void present(const HistoryGraph& graph, const std::string& pace);

  Q_SIGNALS:
    /// It looks back at what that says; empty when it does no longer.
    void lookedBack(const QString& text);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

  private:
    void lookAt(std::optional<double> place);
    void lookAtPoint(std::size_t point);
    std::optional<std::size_t> nearestPoint() const;
    QString looked() const;
    void describeShown();

    HistoryGraph shown;
    std::string shownPace;
    std::optional<double> lookedAt; ///< from 0, the beginning of the week, to 1
};

} // namespace tallywick
