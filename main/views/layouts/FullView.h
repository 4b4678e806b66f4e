#pragma once

#include "state/UtilityFields.h"
#include "state/WindowSizing.h"
#include "views/look/Painting.h"
#include "views/parts/Buttons.h"
#include "views/parts/UtilityActions.h"

#include <QPixmap>
#include <QWidget>

#include <array>
#include <cstddef>

namespace tallywick {

/// The maker's mark, which leads to the maker's website.
class LogoButton final : public PressablePart {
    Q_OBJECT

  public:
    LogoButton(const ViewStyle& style, QWidget* parent);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    const QPixmap& logoOfSize(QSize pixels);

    QPixmap logo; ///< at the size in pixels that was last needed
};

class LogoButton;
class StatusBadge;
class TextLine;
class UtilityButton;

/// The top of the full layout: the maker's mark, the title, the status, and the close button.
class HeaderView final : public QWidget {
    Q_OBJECT

  public:
    /// Both references outlive the view.
    HeaderView(const ViewStyle& style, const UtilityActions& actions, QWidget* parent);

    void present(const UtilityFields& fields);

  protected:
    void resizeEvent(QResizeEvent* event) override;

  private:
    const ViewStyle& style;
    LogoButton* const logo;
    TextLine* const title;
    TextLine* const subtitle;
    StatusBadge* const badge;
    TextLine* const status;
    UtilityButton* const close;
};

class UtilityButton;
class UtilityCheckBox;

/// The row of controls at the bottom of the full layout.
class UtilityToolbar final : public QWidget {
    Q_OBJECT

  public:
    /// Both references outlive the toolbar.
    UtilityToolbar(const ViewStyle& style, const UtilityActions& actions, QWidget* parent);

    void present(const UtilityFields& fields);

    /// The button that switches to the mini layout.
    QWidget* layoutToggle() const;

  protected:
    void resizeEvent(QResizeEvent* event) override;

  private:
    UtilityButton* addButton(const QString& text, std::string_view symbol, const QString& help,
                             const UtilityActions::Action& action);
    void showShareMenu();

    const ViewStyle& style;
    const UtilityActions& actions;
    UtilityButton* const mini;
    UtilityButton* const theme;
    UtilityCheckBox* const pin;
    UtilityButton* const refresh;
    UtilityButton* const settings;
    UtilityButton* const share;
};

class HeaderView;
class MetricCard;
class ResetCountdown;
class SegmentedMeter;
class TextLine;
class TokenCard;
class UsageHistoryGraph;
class UtilityToolbar;
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
    using VolumeRows = std::array<VolumeRow*, WindowSizing::maximumVolumeRows>;

    TextLine* addCaption(const QString& text, Qt::Alignment alignment = Qt::AlignLeft);
    VolumeRows addVolumeRows(const UtilityActions& actions);
    void arrangeSections();
    double freeHeight() const;
    void presentVolumes(const std::vector<VolumeInfo>& newVolumes, int count);

    const ViewStyle& style;
    double layoutHeight;
    std::size_t shownRows = 0;
    HeaderView* const header;
    WeeklyFigure* const usage;
    TextLine* const remaining;
    ResetCountdown* const countdown;
    SegmentedMeter* const meter;
    TextLine* const thisWeek;
    UsageHistoryGraph* const graph;
    TokenCard* const lifetime;
    TokenCard* const latestDay;
    TextLine* const localHardware;
    TextLine* const thisMac;
    MetricCard* const cpu;
    MetricCard* const memory;
    TextLine* const volumes;
    TextLine* const freeAndTotal;
    const VolumeRows rows; ///< hidden as long as there is no volume for them
    UtilityToolbar* const toolbar;
    TextLine* const footer;
};

} // namespace tallywick
