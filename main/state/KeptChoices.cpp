#include "state/KeptChoices.h"

#include "base/WholeNumber.h"

#include <cmath>

namespace tallywick {

namespace {

constexpr std::string_view miniKey = "mini";
constexpr std::string_view lightKey = "light";
constexpr std::string_view pinnedKey = "pinned";
constexpr std::string_view widthKey = "resizableWidth";
constexpr std::string_view heightKey = "resizableHeight";
constexpr std::string_view positionKey = "CorvaneTallywickWindow"; // "x y" of the frame
constexpr std::string_view helperKey = "codexPath";
constexpr std::string_view noticesKey = "notices";

/// No desktop is larger: its coordinates have 16 bits.
constexpr int farthestCoordinate = 32'767;

std::optional<int> coordinate(std::string_view text) {
    const auto value = wholeNumber<int>(text);
    return value >= -farthestCoordinate && value <= farthestCoordinate ? value : std::nullopt;
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

} // namespace

KeptChoices::Look KeptChoices::look() const {
    const auto isSet = [this](std::string_view key) {
        return preferences.boolValue(key).value_or(false);
    };
    return {isSet(miniKey), isSet(lightKey), isSet(pinnedKey)};
}

void KeptChoices::keepLook(const Look& look) {
    const auto group = together();
    preferences.setBool(miniKey, look.mini);
    preferences.setBool(lightKey, look.light);
    preferences.setBool(pinnedKey, look.pinned);
}

QSizeF KeptChoices::contentSize() const {
    return {preferences.doubleValue(widthKey).value_or(0),
            preferences.doubleValue(heightKey).value_or(0)};
}

void KeptChoices::keepContentSize(QSizeF size) {
    preferences.setDouble(widthKey, size.width());
    preferences.setDouble(heightKey, size.height());
}

std::optional<QPointF> KeptChoices::windowPosition() const {
    const auto text = preferences.stringValue(positionKey);
    return text ? positionFromText(*text) : std::nullopt;
}

void KeptChoices::keepWindowPosition(QPointF position) {
    const std::string text = textFromPosition(position);
    if (preferences.stringValue(positionKey) != text)
        preferences.setString(positionKey, text);
}

std::optional<std::string> KeptChoices::helper() const {
    return preferences.stringValue(helperKey);
}

void KeptChoices::keepHelper(const std::string& path) { preferences.setString(helperKey, path); }

void KeptChoices::forgetHelper() { preferences.remove(helperKey); }

bool KeptChoices::tellsOfUsage() const { return preferences.boolValue(noticesKey).value_or(false); }

void KeptChoices::keepTellsOfUsage(bool tells) { preferences.setBool(noticesKey, tells); }

} // namespace tallywick
