#pragma once

#include <QSizeF>

namespace tallywick {

/// The utility's window, as far as the state needs one. Main thread only.
class UtilityWindow {
  public:
    virtual ~UtilityWindow() = default;

    /// Whether it is shown at all: neither closed nor hidden with its application.
    virtual bool isVisible() const = 0;
    virtual bool isMinimised() const = 0;

    /// The height in points that its content may take on its screen.
    virtual double maximumContentHeight() const = 0;

    /// Gives its content a size in points, within the window's limits.
    virtual void setContentSize(QSizeF size) = 0;

    /// Brings its level and its limits in line with the state and the screens.
    virtual void applyConfiguration() = 0;
};

} // namespace tallywick
