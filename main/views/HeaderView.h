#pragma once

#include "state/UtilityFields.h"
#include "views/UtilityActions.h"
#include "views/ViewStyle.h"

#include <QWidget>

namespace tallywick {

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

} // namespace tallywick
