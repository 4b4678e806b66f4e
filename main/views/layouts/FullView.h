#pragma once

#include "state/UtilityFields.h"
#include "state/WindowSizing.h"
#include "views/look/Painting.h"
#include "views/parts/UtilityActions.h"

#include <QWidget>

#include <array>
#include <cstddef>

namespace tallywick {

class MetricCard;
class ResetCountdown;
class SegmentedMeter;
class TextLine;
class TokenCard;
class UsageHistoryGraph;
class VolumeRow;
class WeeklyFigure;

/// The full layout: the weekly usage and its history, the token cards, this machine's load and
/// volumes, and the controls.
class FullView final : public QWidget {
    Q_OBJECT

  public:
    /// Both references outlive the view.
    FullView(const ViewStyle& style, const UtilityActions& actions, QWidget* parent);

    /// Shows at most so many volumes.
    void present(const UtilityFields& fields, int volumeRows);

    /// Puts every part in its place at the style's scale, in a layout of this height in design
    /// units.
    void arrange(double layoutHeight);

    /// The button that switches to the mini layout.
    QWidget* layoutToggle() const;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    class Header;
    class Toolbar;
    using VolumeRows = std::array<VolumeRow*, WindowSizing::maximumVolumeRows>;

    TextLine* addCaption(const QString& text, Qt::Alignment alignment = Qt::AlignLeft);
    VolumeRows addVolumeRows(const UtilityActions& actions);
    void arrangeSections();
    double freeHeight() const;
    void presentVolumes(const std::vector<VolumeInfo>& newVolumes, int count);

    const ViewStyle& style;
    double layoutHeight;
    std::size_t shownRows = 0;
    Header* const header;
    WeeklyFigure* const usage;
    TextLine* const remaining;
    ResetCountdown* const countdown;
    SegmentedMeter* const meter;
    TextLine* const thisWeek;
    UsageHistoryGraph* const graph;
    TextLine* const lookedBack; ///< what the graph looks back at; hidden when it does not
    TokenCard* const lifetime;
    TokenCard* const latestDay;
    TextLine* const localHardware;
    TextLine* const thisMac;
    MetricCard* const cpu;
    MetricCard* const memory;
    TextLine* const volumes;
    TextLine* const freeAndTotal;
    const VolumeRows rows; ///< hidden as long as there is no volume for them
    Toolbar* const toolbar;
    TextLine* const footer;
};

} // namespace tallywick
