#include "state/NumberTexts.h"

#include <array>
#include <charconv>
#include <cmath>

namespace tallywick {

namespace {

/// As printf's "%.<decimals>f" writes it in the C locale, whatever the locale is.
std::string fixedText(double value, int decimals) {
    std::array<char, 400> text{}; // the largest double takes 309 digits
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value,
                                   std::chars_format::fixed, decimals);
    return {text.data(), end.ptr};
}

std::string gibibytes(std::int64_t bytes) {
    constexpr double gibibyte = 1024.0 * 1024.0 * 1024.0;
    return fixedText(static_cast<double>(bytes) / gibibyte, 1);
}

/// A half goes away from zero.
std::string roundedText(double value) { return std::to_string(std::llround(value)); }

} // namespace

std::string weeklyUsageText(const std::optional<Quota>& quota) {
    return usageFigure(quota) + "% used";
}

std::string remainingText(const std::optional<Quota>& quota) {
    return quota ? fixedText(100 - quota->used, 0) + "% remaining" : "— remaining";
}

std::string usageFigure(const std::optional<Quota>& quota) {
    return quota ? fixedText(quota->used, 0) : "—";
}

std::string loadText(std::optional<double> percent) {
    return percent ? fixedText(*percent, 0) + "%" : "—";
}

std::string capacityText(const VolumeInfo& volume) {
    return gibibytes(volume.free) + " / " + gibibytes(volume.total) + " GiB";
}

std::string latestDayTitle(const TokenActivity& tokens) {
    return tokens.latestDay.value_or("LATEST DAY") + " · TOKENS";
}

std::string tokenTooltip(std::string_view tokenStatus, std::optional<std::int64_t> count) {
    return std::string(tokenStatus) + " · " + (count ? std::to_string(*count) : "Not reported");
}

std::optional<std::string> resetText(const std::optional<Quota>& quota, Timestamp now) {
    if (!quota)
        return std::nullopt;
    return resetCountdown(quota->reset, now);
}

std::string historyCountText(std::size_t samples) {
    return "Current account history: " + std::to_string(samples) + " samples";
}

std::string meterAccessibilityValue(const std::optional<Quota>& quota) {
    return quota ? roundedText(quota->used) + " percent used" : "Unavailable";
}

std::string loadAccessibilityValue(std::optional<double> percent) {
    return percent ? roundedText(*percent) + " percent" : "Measuring";
}

} // namespace tallywick
