#pragma once

#include "views/Fonts.h"
#include "views/Theme.h"

#include <QLabel>

namespace tallywick {

/// A text on a sheet. It is shown as it stands, wraps, and takes the colours of the theme.
class SheetText : public QLabel {
    Q_OBJECT

  public:
    enum class Ink { text, secondary, accent };

    explicit SheetText(FontRole role, Ink ink, const QString& text = {}, QWidget* parent = nullptr);

    void setTheme(const Theme& theme);

  private:
    const Ink ink;
};

} // namespace tallywick
