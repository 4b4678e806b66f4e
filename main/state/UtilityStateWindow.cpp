#include "state/UtilityState.h"

#include "state/WindowSizing.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

namespace tallywick {

namespace {

constexpr std::string_view widthKey = "resizableWidth";
constexpr std::string_view heightKey = "resizableHeight";
constexpr std::string_view positionKey = "CorvaneTallywickWindow"; // "x y" of the frame

/// No desktop is larger: its coordinates have 16 bits.
constexpr int farthestCoordinate = 32'767;

std::optional<int> coordinate(std::string_view text) {
    int value = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || rest != text.data() + text.size()
        || std::abs(std::int64_t{value}) > farthestCoordinate)
        return std::nullopt;
    return value;
}

std::optional<QPointF> positionFromText(std::string_view text) {
    const std::size_t separator = text.find(' ');
    if (separator == std::string_view::npos)
        return std::nullopt;
    const auto x = coordinate(text.substr(0, separator));
    const auto y = coordinate(text.substr(separator + 1));
    return x && y ? std::optional(QPointF(*x, *y)) : std::nullopt;
}

std::string textFromPosition(QPointF position) {
    return std::to_string(std::lround(position.x())) + " "
           + std::to_string(std::lround(position.y()));
}

QRectF centredOn(QRectF screen, QSizeF size) {
    return {std::round(screen.x() + (screen.width() - size.width()) / 2),
            std::round(screen.y() + (screen.height() - size.height()) / 2), size.width(),
            size.height()};
}

} // namespace

void UtilityState::attachWindow(UtilityWindow* window) {
    if (window == utilityWindow)
        return;
    utilityWindow = window;
    windowLimits.reset();
    windowFloats.reset();
    resizeStartFrame.reset();
    disputedContent.reset();
    keepsSize = false;
    if (!utilityWindow)
        return;
    const auto position = savedWindowPosition();
    if (position)
        applyFrame({*position, utilityWindow->frame().size()});
    // Its size first: the window is brought onto the screen only with its own.
    resizeContent(filledContentSize(initialContentSize()), utilityWindow->frame().topLeft());
    if (const auto screen = utilityWindow->visibleScreenFrame(); screen && !position)
        applyFrame(centredOn(*screen, utilityWindow->frame().size()));
    applyWindowConfiguration();
}

std::optional<QPointF> UtilityState::savedWindowPosition() const {
    const auto text = services.preferences.stringValue(positionKey);
    return text ? positionFromText(*text) : std::nullopt;
}

QSizeF UtilityState::initialContentSize() const {
    const QSizeF saved(services.preferences.doubleValue(widthKey).value_or(0),
                       services.preferences.doubleValue(heightKey).value_or(0));
    if (saved.width() >= WindowSizing::miniSize.width()
        && saved.height() >= WindowSizing::miniSize.height())
        return saved;
    return published.mini ? WindowSizing::miniSize : fullContentSize();
}

void UtilityState::applyWindowConfiguration() {
    if (!utilityWindow)
        return;
    if (windowFloats != published.pinned) {
        windowFloats = published.pinned;
        utilityWindow->setFloating(published.pinned);
    }
    const auto screen = utilityWindow->visibleScreenFrame();
    if (!screen || published.sizeIsImposed)
        return;
    const QSizeF content = utilityWindow->contentSize();
    applyContentLimits(content.height());
    if (!resizeStartFrame && content != content.boundedTo(maximumContentSize()))
        resizeContent(filledContentSize(content), utilityWindow->frame().topLeft());
    applyFrame(WindowSizing::keptOnScreen(utilityWindow->frame(), *screen));
}

void UtilityState::setContentSize(QSizeF size) {
    if (!utilityWindow || published.sizeIsImposed)
        return;
    applyWindowConfiguration();
    resizeContent(size, utilityWindow->frame().topLeft());
}

void UtilityState::syncLayoutWithSize() {
    if (stopped || !utilityWindow)
        return;
    const QSizeF content = utilityWindow->contentSize();
    const bool imposed = desktopImposes(content);
    if (published.sizeIsImposed != imposed)
        change().sizeIsImposed = imposed;
    if (!imposed) {
        imposedMini.reset();
        applyContentLimits(content.height());
    }
    const bool mini = imposedMini.value_or(WindowSizing::isMini(content.height()));
    if (published.mini == mini)
        return;
    change().mini = mini;
    makeMachineDue();
}

void UtilityState::endResize() {
    resizeStartFrame.reset();
    if (stopped || !utilityWindow)
        return;
    syncLayoutWithSize();
    if (published.sizeIsImposed)
        return;
    setContentSize(filledContentSize(utilityWindow->contentSize()));
    keepsSize = true;
}

void UtilityState::resizeBy(double dx, double dy) {
    if (stopped || published.maintenance || !utilityWindow || published.sizeIsImposed)
        return;
    if (!resizeStartFrame)
        resizeStartFrame = utilityWindow->frame();
    resizeContent(resizeStartFrame->size() - windowChrome() + QSizeF(dx, dy),
                  resizeStartFrame->topLeft());
}

void UtilityState::toggleLayout() {
    if (stopped || !utilityWindow)
        return;
    if (published.sizeIsImposed)
        imposedMini = !published.mini;
    // This sets `mini` too, unless the screen has no room for the other layout.
    setContentSize(filledContentSize(published.mini ? fullContentSize() : WindowSizing::miniSize));
    endResize();
    makeMachineDue();
}

void UtilityState::showUtility(const std::string& launchToken) {
    if (stopped || !utilityWindow)
        return;
    applyWindowConfiguration();
    utilityWindow->showInFront(launchToken);
    makeMachineDue();
}

void UtilityState::windowDidSettle() {
    if (stopped || !utilityWindow || utilityWindow->isMinimised())
        return;
    const QSizeF content = utilityWindow->contentSize();
    if (content != askedContent && content != disputedContent) {
        endResize();
        disputedContent = content;
        if (utilityWindow->contentSize() != content)
            return; // the desktop has yet to answer
    }
    syncLayoutWithSize();
    if (!published.sizeIsImposed)
        keepWindow();
}

/// For the next start: where it stands, and its size when the user has chosen it.
void UtilityState::keepWindow() {
    disputedContent.reset();
    const Preferences::Group together(services.preferences);
    const std::string position = textFromPosition(utilityWindow->frame().topLeft());
    if (services.preferences.stringValue(positionKey) != position)
        services.preferences.setString(positionKey, position);
    if (!std::exchange(keepsSize, false))
        return;
    const QSizeF content = utilityWindow->contentSize();
    services.preferences.setDouble(widthKey, content.width());
    services.preferences.setDouble(heightKey, content.height());
    chosenMini = published.mini;
    savePreferences();
}

bool UtilityState::isFullViewVisible() const {
    return !published.mini && utilityWindow && utilityWindow->isVisible()
           && !utilityWindow->isMinimised();
}

double UtilityState::maximumContentHeight() const {
    if (!utilityWindow)
        return WindowSizing::maximumContentHeight(std::nullopt, std::nullopt);
    const auto screen = utilityWindow->visibleScreenFrame();
    return WindowSizing::maximumContentHeight(
        screen ? std::optional(screen->height()) : std::nullopt, windowChrome().height());
}

void UtilityState::makeMachineDue() {
    nextHardwareRefresh.makeDue();
    nextVolumeRefresh.makeDue();
}

/// The full layout for the volumes that there are.
QSizeF UtilityState::fullContentSize() const {
    return WindowSizing::fullSize(published.volumes.size(), maximumContentHeight());
}

QSizeF UtilityState::windowChrome() const {
    return WindowSizing::chromeSize(utilityWindow->frame().size(), utilityWindow->contentSize());
}

/// In whole points.
QSizeF UtilityState::maximumContentSize() const {
    const QSizeF full = fullContentSize();
    const auto screen = utilityWindow->visibleScreenFrame();
    const double room = screen ? screen->width() - windowChrome().width() : full.width();
    return {std::floor(std::min(full.width(), room)),
            std::floor(std::min(full.height(), maximumContentHeight()))};
}

/// The nearest one that the content may have, in whole points.
QSizeF UtilityState::clampedContentSize(QSizeF size) const {
    const QSizeF maximum = maximumContentSize();
    return WindowSizing::clampContentSize({std::round(size.width()), std::round(size.height())},
                                          maximum.width(), maximum.height(), fullContentSize());
}

/// The nearest one that a layout fills.
QSizeF UtilityState::filledContentSize(QSizeF size) const {
    const QSizeF content = clampedContentSize(size);
    return WindowSizing::isMini(content.height()) ? WindowSizing::miniSizeOfWidth(content.width())
                                                  : fullContentSize();
}

/// Whether a window of this content has its size from the desktop alone: zoomed, beyond all limits,
/// or the same again after another was asked for.
bool UtilityState::desktopImposes(QSizeF content) const {
    if (utilityWindow->isZoomed())
        return true;
    if (content == askedContent)
        return false;
    const QSizeF maximum = maximumContentSize();
    const QSizeF minimum = WindowSizing::miniSize.boundedTo(maximum);
    return content == disputedContent || content != content.expandedTo(minimum).boundedTo(maximum);
}

/// Gives the window the limits of a content of this height, if it does not have them yet.
void UtilityState::applyContentLimits(double contentHeight) {
    const QSizeF maximum = maximumContentSize();
    const WindowLimits limits{WindowSizing::minimumContentSize(contentHeight).boundedTo(maximum),
                              maximum};
    if (windowLimits == limits)
        return;
    windowLimits = limits;
    utilityWindow->setContentLimits(limits.minimum, limits.maximum);
}

void UtilityState::applyFrame(QRectF frame) {
    if (utilityWindow->frame() != frame)
        utilityWindow->setFrame(frame);
}

/// Gives the content the nearest allowed size, and `mini` what follows from it.
void UtilityState::resizeContent(QSizeF size, QPointF topLeft) {
    const QSizeF content = clampedContentSize(size);
    const QSizeF chrome = windowChrome();
    askedContent = content;
    // Until it has its new size the window may need the limits of the lower layout.
    applyContentLimits(std::min(content.height(), utilityWindow->contentSize().height()));
    applyFrame({topLeft, content + chrome});
    syncLayoutWithSize();
}

} // namespace tallywick
