#pragma once

#include <QRectF>
#include <QSizeF>

#include <optional>
#include <string>

namespace tallywick {

/// The utility's window, as far as the state needs one. Main thread only. Everything is in points,
/// positions in screen coordinates with y growing downward.
///
/// The window may follow later, when the system lets it: `frame` and `contentSize` return what was
/// asked for last until the system tells something else, and always belong together. As long as the
/// decoration is unknown, which it is before the window is first shown, the frame equals the
/// content.
///
/// The window's owner tells the state of what the system or the user did: `syncLayoutWithSize`
/// after every change of size and when `isZoomed` changes, `windowDidSettle` when it has come to
/// rest, and `applyWindowConfiguration` when the decoration has become known.
class UtilityWindow {
  public:
    virtual ~UtilityWindow() = default;

    /// Whether it is shown at all: neither closed nor hidden with its application.
    virtual bool isVisible() const = 0;
    virtual bool isMinimised() const = 0;
    /// Whether it is maximised or fills the screen.
    virtual bool isZoomed() const = 0;

    /// The whole window with its decoration.
    virtual QRectF frame() const = 0;
    virtual QSizeF contentSize() const = 0;

    /// The window's screen without the desktop's panels, else that of the main screen; absent
    /// without any screen.
    virtual std::optional<QRectF> visibleScreenFrame() const = 0;

    /// Whether the desktop lets the window choose its place and stay above others. Where it does
    /// not, the place in `frame` means nothing.
    virtual bool canBePlaced() const = 0;

    /// Moves and resizes the whole window.
    virtual void setFrame(QRectF frame) = 0;

    /// The limits within which the user can resize the content. A content beyond them stays as it
    /// is, and the limits wait for one that keeps them.
    virtual void setContentLimits(QSizeF minimum, QSizeF maximum) = 0;

    /// Keeps it above the windows of other applications, or no longer.
    virtual void setFloating(bool floating) = 0;

    /// Shows it, minimised or not, in front of all others and gives it the keyboard. `launchToken`
    /// is what the desktop gave the launch that asks for it, or empty.
    virtual void showInFront(const std::string& launchToken) = 0;
};

} // namespace tallywick
