#include "state/NumberTexts.h"

#include <QDateTime>
#include <QLocale>

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

/// The locale's own short form. What could be made of its long form reads wrong in some languages.
std::string shortDate(Timestamp time) {
    const QDate date = QDateTime::fromSecsSinceEpoch(static_cast<qint64>(time)).date();
    return QLocale().toString(date, QLocale::ShortFormat).toStdString();
}

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

std::string compactTokenCount(std::optional<std::int64_t> count) {
    if (!count)
        return "—";
    struct Unit {
        double tokens;
        char suffix;
    };
    // The unit is chosen before rounding: 999,950 is "1000.0K".
    constexpr std::array<Unit, 3> units{{{1e9, 'B'}, {1e6, 'M'}, {1e3, 'K'}}};
    const auto value = static_cast<double>(*count);
    for (const Unit& unit : units) {
        if (value >= unit.tokens)
            return fixedText(value / unit.tokens, 1) + unit.suffix;
    }
    return std::to_string(*count);
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

std::string shortTime(Timestamp time) {
    constexpr double millisecondsPerSecond = 1000;
    const QTime local =
        QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(time * millisecondsPerSecond)).time();
    const QLocale locale;
    // The C locale is the only one whose short time has seconds.
    return (locale.language() == QLocale::C ? local.toString(QStringLiteral("HH:mm"))
                                            : locale.toString(local, QLocale::ShortFormat))
        .toStdString();
}

std::string localDateTime(Timestamp time) {
    return QDateTime::fromSecsSinceEpoch(static_cast<qint64>(time))
        .toString(QStringLiteral("yyyy-MM-dd HH:mm"))
        .toStdString();
}

std::string historyGraphValue(const HistoryGraph& graph) {
    if (graph.points.empty())
        return "No local readings in this allowance week yet";
    return std::to_string(graph.points.size()) + " local readings in this allowance week";
}

std::string historyGraphHelp(const HistoryGraph& graph) {
    if (graph.points.empty())
        return "No readings saved in this allowance week yet. History begins when this utility "
               "observes your allowance; it cannot backfill earlier usage.";
    return std::to_string(graph.points.size()) + " saved readings since " + shortDate(graph.since)
           + ", " + shortTime(graph.since)
           + ". A short recording may look like a dot on the full-week scale. Gaps over 30 minutes "
             "and reset/correction segments stay separate; no history is fabricated.";
}

} // namespace tallywick
