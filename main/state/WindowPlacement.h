#pragma once

#include "state/KeptChoices.h"
#include "state/StateContext.h"
#include "state/UtilityWindow.h"

#include <QPointF>
#include <QRectF>
#include <QSizeF>

#include <functional>
#include <optional>
#include <string>

namespace tallywick {

/// Where the window stands, how large it is within which limits, which layout that means, and what
/// of it is kept for the next start.
///
/// Publishes `mini`, `sizeIsImposed` and `canBePlaced`. `mini` follows from the height of the
/// content, unless the desktop imposes a size and the user has chosen a layout for it. A size that
/// the desktop imposes is neither disputed nor kept, and its place neither.
///
/// Main thread only; sizes and places are in points. Without a window nothing happens.
class WindowPlacement {
  public:
    /// Publishes how the window looked last. `didComeIntoView` is called when the window or another
    /// layout may have come into view. Context and choices must outlive it.
    WindowPlacement(StateContext& given, KeptChoices& kept, std::function<void()> didComeIntoView);

    /// Makes this the window, with the size and the position that were kept. Null detaches the
    /// window, which must not be used any more.
    void attach(UtilityWindow* attached);
    /// Brings its level, its limits and its place on the screen in line with the state and the
    /// screens.
    void applyConfiguration();
    /// To be called whenever the window has another size or is zoomed or no longer.
    void syncLayout();
    /// To be called when the user has finished resizing: snaps to the layout's own proportions.
    /// What the desktop makes of it is kept for the next start as soon as the window has settled.
    void endResize();
    /// The resize grip was dragged so far in all since it was grasped; right and down are positive.
    /// Ends with `endResize`.
    void resizeBy(double dx, double dy);
    /// The full layout for the mini layout or the reverse.
    void toggleLayout();
    /// Brings the window to the front, out of the dock if need be. `launchToken` is what the
    /// desktop gave the launch that asks for it.
    void show(const std::string& launchToken);
    /// To be called when the window has stood still since its size or its place has changed, and
    /// before it is closed. A size that neither was asked for nor is imposed is the user's.
    void didSettle();
    /// To be called when another number of volumes is on show: the full layout makes room for them,
    /// unless the user is resizing.
    void volumesDidChange();

    /// Keeps the layout that the user has chosen, `light` and `pinned` for the next start, and
    /// applies them.
    void keepLook();

    /// The most height that the content may take on the window's screen.
    double maximumContentHeight() const;
    /// Whether the full layout can be seen. Without a window it cannot.
    bool isFullViewVisible() const;

  private:
    /// Of the size of the window's content.
    struct Limits {
        QSizeF minimum;
        QSizeF maximum;
        bool operator==(const Limits&) const = default;
    };

    QSizeF initialContentSize() const;
    QSizeF fullContentSize() const;
    QSizeF chrome() const;
    QSizeF maximumContentSize() const;
    QSizeF clampedContentSize(QSizeF size) const;
    QSizeF filledContentSize(QSizeF size) const;
    bool desktopImposes(QSizeF content) const;
    void keepWindow();
    void setContentSize(QSizeF size);
    void applyContentLimits(double contentHeight);
    void applyFrame(QRectF frame);
    void resizeContent(QSizeF size, QPointF topLeft);

    StateContext& context;
    const UtilityFields& fields;
    KeptChoices& choices;
    const std::function<void()> cameIntoView;

    UtilityWindow* window = nullptr;
    std::optional<Limits> givenLimits;      ///< that the window was given
    std::optional<bool> floats;             ///< as the window was told
    std::optional<QRectF> resizeStartFrame; ///< while the resize grip is being dragged
    QSizeF askedContent;                    ///< the size that was asked for last
    std::optional<QSizeF> disputedContent;  ///< the size instead of which another was asked for
    bool keepsSize = false;                 ///< the size that comes of it is the user's choice
    bool chosenMini;                        ///< the layout that is kept for the next start
    std::optional<bool> imposedMini;        ///< the user's layout for a size that is imposed
};

} // namespace tallywick
