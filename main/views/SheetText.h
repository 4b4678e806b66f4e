#pragma once

#include "views/Fonts.h"
#include "views/Theme.h"

#include <QLabel>

namespace tallywick {

/// A text on a sheet. It is shown as it stands, wraps without leaving its last word alone, and
/// takes the colours of the theme. A screen reader meets it as its accessible name.
class SheetText : public QLabel {
    Q_OBJECT

  public:
    enum class Ink { text, secondary, accent };

    explicit SheetText(FontRole role, Ink ink, const QString& text = {}, QWidget* parent = nullptr);

    void setTheme(const Theme& theme);

    void setText(const QString& text);
    /// The text as it was given.
    QString text() const { return accessibleName(); }

  private:
    const Ink ink;
};

} // namespace tallywick
