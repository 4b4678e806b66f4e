#pragma once

#include "state/UtilityFields.h"
#include "views/look/Painting.h"
#include "views/parts/UtilityActions.h"

#include <QWidget>

namespace tallywick {

class PinBox;
class SegmentedMeter;
class TextLine;
class TokenCard;
class UtilityButton;

/// The mini layout: the weekly meter and the token cards.
class MiniView final : public QWidget {
    Q_OBJECT

  public:
    /// Both references outlive the view.
    MiniView(const ViewStyle& style, const UtilityActions& actions, QWidget* parent);

    void present(const UtilityFields& fields);

    /// Puts every part in its place at the style's scale.
    void arrange();

    /// The button that switches to the full layout.
    QWidget* layoutToggle() const;

  private:
    const ViewStyle& style;
    TextLine* const caption;
    PinBox* const pin;
    UtilityButton* const expand;
    UtilityButton* const close;
    TextLine* const usage;
    TextLine* const remaining;
    SegmentedMeter* const meter;
    TokenCard* const lifetime;
    TokenCard* const latestDay;
    TextLine* const status; ///< seen as long as it tells more than the figures
};

} // namespace tallywick
