#pragma once

#include "views/SheetText.h"

namespace tallywick {

/// The result of the user's last action, on a sheet: a notification to a screen reader, announced
/// whenever it changes. Hidden while there is none.
class StatusNotice final : public SheetText {
    Q_OBJECT

  public:
    explicit StatusNotice(QWidget* parent = nullptr);

    /// Shows the text, or hides for an empty one.
    void present(const QString& text);

    /// Makes notices known to the accessibility of Qt. May be called again.
    static void installAccessibility();
};

} // namespace tallywick
