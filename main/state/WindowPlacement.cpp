#include "state/WindowPlacement.h"

#include "state/WindowSizing.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace tallywick {

namespace {

QRectF centredOn(QRectF screen, QSizeF size) {
    return {std::round(screen.x() + (screen.width() - size.width()) / 2),
            std::round(screen.y() + (screen.height() - size.height()) / 2), size.width(),
            size.height()};
}

} // namespace

WindowPlacement::WindowPlacement(StateContext& given, KeptChoices& kept,
                                 std::function<void()> didComeIntoView)
    : context(given), fields(given.fields()), choices(kept),
      cameIntoView(std::move(didComeIntoView)) {
    const KeptChoices::Look look = choices.look();
    UtilityFields& shown = context.change();
    shown.mini = chosenMini = look.mini;
    shown.light = look.light;
    shown.pinned = look.pinned;
}

void WindowPlacement::attach(UtilityWindow* attached) {
    if (attached == window)
        return;
    window = attached;
    givenLimits.reset();
    floats.reset();
    resizeStartFrame.reset();
    disputedContent.reset();
    keepsSize = false;
    if (!window)
        return;
    context.change().canBePlaced = window->canBePlaced();
    const auto position = choices.windowPosition();
    if (position)
        applyFrame({*position, window->frame().size()});
    // Its size first: the window is brought onto the screen only with its own.
    resizeContent(filledContentSize(initialContentSize()), window->frame().topLeft());
    if (const auto screen = window->visibleScreenFrame(); screen && !position)
        applyFrame(centredOn(*screen, window->frame().size()));
    applyConfiguration();
}

QSizeF WindowPlacement::initialContentSize() const {
    const QSizeF saved = choices.contentSize();
    if (saved.width() >= WindowSizing::miniSize.width()
        && saved.height() >= WindowSizing::miniSize.height())
        return saved;
    return fields.mini ? WindowSizing::miniSize : fullContentSize();
}

void WindowPlacement::applyConfiguration() {
    if (!window)
        return;
    if (fields.canBePlaced && floats != fields.pinned) {
        floats = fields.pinned;
        window->setFloating(fields.pinned);
    }
    const auto screen = window->visibleScreenFrame();
    if (!screen || fields.sizeIsImposed)
        return;
    const QSizeF content = window->contentSize();
    applyContentLimits(content.height());
    if (!resizeStartFrame && content != content.boundedTo(maximumContentSize()))
        resizeContent(filledContentSize(content), window->frame().topLeft());
    applyFrame(WindowSizing::keptOnScreen(window->frame(), *screen));
}

/// Gives the content the nearest allowed size; the window keeps its top left corner.
void WindowPlacement::setContentSize(QSizeF size) {
    if (!window || fields.sizeIsImposed)
        return;
    applyConfiguration();
    resizeContent(size, window->frame().topLeft());
}

void WindowPlacement::syncLayout() {
    if (context.isStopped() || !window)
        return;
    const QSizeF content = window->contentSize();
    const bool imposed = desktopImposes(content);
    if (fields.sizeIsImposed != imposed)
        context.change().sizeIsImposed = imposed;
    if (!imposed) {
        imposedMini.reset();
        applyContentLimits(content.height());
    }
    const bool mini = imposedMini.value_or(WindowSizing::isMini(content.height()));
    if (fields.mini == mini)
        return;
    context.change().mini = mini;
    cameIntoView();
}

void WindowPlacement::endResize() {
    resizeStartFrame.reset();
    if (context.isStopped() || !window)
        return;
    syncLayout();
    if (fields.sizeIsImposed)
        return;
    setContentSize(filledContentSize(window->contentSize()));
    keepsSize = true;
}

void WindowPlacement::resizeBy(double dx, double dy) {
    if (context.isPaused() || !window || fields.sizeIsImposed)
        return;
    if (!resizeStartFrame)
        resizeStartFrame = window->frame();
    resizeContent(resizeStartFrame->size() - chrome() + QSizeF(dx, dy),
                  resizeStartFrame->topLeft());
}

void WindowPlacement::toggleLayout() {
    if (context.isStopped() || !window)
        return;
    if (fields.sizeIsImposed)
        imposedMini = !fields.mini;
    // This sets `mini` too, unless the screen has no room for the other layout.
    setContentSize(filledContentSize(fields.mini ? fullContentSize() : WindowSizing::miniSize));
    endResize();
    cameIntoView();
}

void WindowPlacement::show(const std::string& launchToken) {
    if (context.isStopped() || !window)
        return;
    applyConfiguration();
    window->showInFront(launchToken);
    cameIntoView();
}

void WindowPlacement::didSettle() {
    if (context.isStopped() || !window || window->isMinimised())
        return;
    const QSizeF content = window->contentSize();
    if (content != askedContent && content != disputedContent) {
        endResize();
        disputedContent = content;
        if (window->contentSize() != content)
            return; // the desktop has yet to answer
    }
    syncLayout();
    if (!fields.sizeIsImposed)
        keepWindow();
}

/// For the next start: where it stands, and its size when the user has chosen it.
void WindowPlacement::keepWindow() {
    disputedContent.reset();
    const auto together = choices.together();
    if (fields.canBePlaced)
        choices.keepWindowPosition(window->frame().topLeft());
    if (!std::exchange(keepsSize, false))
        return;
    choices.keepContentSize(window->contentSize());
    chosenMini = fields.mini;
    keepLook();
}

void WindowPlacement::volumesDidChange() {
    if (fields.mini || resizeStartFrame)
        return;
    setContentSize(fullContentSize());
    applyConfiguration();
}

void WindowPlacement::keepLook() {
    choices.keepLook({.mini = chosenMini, .light = fields.light, .pinned = fields.pinned});
    applyConfiguration();
}

bool WindowPlacement::isFullViewVisible() const {
    return !fields.mini && window && window->isVisible() && !window->isMinimised();
}

double WindowPlacement::maximumContentHeight() const {
    if (!window)
        return WindowSizing::maximumContentHeight(std::nullopt, std::nullopt);
    const auto screen = window->visibleScreenFrame();
    return WindowSizing::maximumContentHeight(
        screen ? std::optional(screen->height()) : std::nullopt, chrome().height());
}

/// The full layout for the volumes that there are.
QSizeF WindowPlacement::fullContentSize() const {
    return WindowSizing::fullSize(fields.volumes.size(), maximumContentHeight());
}

QSizeF WindowPlacement::chrome() const {
    return WindowSizing::chromeSize(window->frame().size(), window->contentSize());
}

/// In whole points.
QSizeF WindowPlacement::maximumContentSize() const {
    const QSizeF full = fullContentSize();
    const auto screen = window->visibleScreenFrame();
    const double room = screen ? screen->width() - chrome().width() : full.width();
    return {std::floor(std::min(full.width(), room)),
            std::floor(std::min(full.height(), maximumContentHeight()))};
}

/// The nearest one that the content may have, in whole points.
QSizeF WindowPlacement::clampedContentSize(QSizeF size) const {
    const QSizeF maximum = maximumContentSize();
    return WindowSizing::clampContentSize({std::round(size.width()), std::round(size.height())},
                                          maximum.width(), maximum.height(), fullContentSize());
}

/// The nearest one that a layout fills.
QSizeF WindowPlacement::filledContentSize(QSizeF size) const {
    const QSizeF content = clampedContentSize(size);
    return WindowSizing::isMini(content.height()) ? WindowSizing::miniSizeOfWidth(content.width())
                                                  : fullContentSize();
}

/// Whether a window of this content has its size from the desktop alone: zoomed, beyond all limits,
/// or the same again after another was asked for.
bool WindowPlacement::desktopImposes(QSizeF content) const {
    if (window->isZoomed())
        return true;
    if (content == askedContent)
        return false;
    const QSizeF maximum = maximumContentSize();
    const QSizeF minimum = WindowSizing::miniSize.boundedTo(maximum);
    return content == disputedContent || content != content.expandedTo(minimum).boundedTo(maximum);
}

/// Gives the window the limits of a content of this height, if it does not have them yet.
void WindowPlacement::applyContentLimits(double contentHeight) {
    const QSizeF maximum = maximumContentSize();
    const Limits limits{WindowSizing::minimumContentSize(contentHeight).boundedTo(maximum),
                        maximum};
    if (givenLimits == limits)
        return;
    givenLimits = limits;
    window->setContentLimits(limits.minimum, limits.maximum);
}

void WindowPlacement::applyFrame(QRectF frame) {
    if (window->frame() != frame)
        window->setFrame(frame);
}

/// Gives the content the nearest allowed size, and `mini` what follows from it.
void WindowPlacement::resizeContent(QSizeF size, QPointF topLeft) {
    const QSizeF content = clampedContentSize(size);
    const QSizeF frame = content + chrome();
    askedContent = content;
    // Until it has its new size the window may need the limits of the lower layout.
    applyContentLimits(std::min(content.height(), window->contentSize().height()));
    applyFrame({topLeft, frame});
    syncLayout();
}

} // namespace tallywick
