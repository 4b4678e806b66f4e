#pragma once

#include "state/UtilityFields.h"
#include "views/UtilityActions.h"
#include "views/ViewStyle.h"

#include <QWidget>

namespace tallywick {

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

} // namespace tallywick
