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

std::string paceText(const Pace& pace) {
    const std::string difference = fixedText(std::abs(pace.ahead), 0);
    if (difference == "0")
        return "even";
    return difference + (pace.ahead < 0 ? "% under" : "% over") + " an even pace";
}

std::string lastsUntilText(const Pace& pace) {
    if (pace.isUsedUp)
        return "used up";
    if (!pace.lastsUntil)
        return "too few readings to tell";
    return *pace.lastsUntil < pace.reset ? localDateTime(*pace.lastsUntil) : "the reset";
}

std::string paceSentence(const std::optional<Pace>& pace, Timestamp now) {
    if (!pace || now >= pace->reset)
        return {};
    const std::string difference = paceText(*pace);
    const std::string start = difference == "even" ? "At an even pace. " : difference + ". ";
    if (pace->isUsedUp)
        return start + "It is used up.";
    if (!pace->lastsUntil)
        return start + "Too few readings yet to tell how long it lasts.";
    return start + "At the rate of the last 24 hours it lasts until " + lastsUntilText(*pace) + ".";
}

std::string windowName(const ShorterWindow& window) {
    constexpr std::int64_t hour = 60;
    constexpr std::int64_t day = 24 * hour;
    if (window.minutes % day == 0)
        return std::to_string(window.minutes / day) + "-day window";
    if (window.minutes % hour == 0)
        return std::to_string(window.minutes / hour) + "-hour window";
    return std::to_string(window.minutes) + "-minute window";
}

std::string windowText(const ShorterWindow& window) {
    constexpr std::int64_t day = 1'440; // minutes
    constexpr std::size_t dateLength = 11;
    const std::string reset = localDateTime(window.reset);
    return fixedText(window.used, 0) + "% used, resets "
           + (window.minutes > day ? reset : reset.substr(dateLength));
}

std::string shorterWindowSentence(const std::optional<Quota>& quota, Timestamp now) {
    if (!quota || !quota->shorter || quota->shorter->reset <= now)
        return {};
    return windowName(*quota->shorter) + ": " + windowText(*quota->shorter);
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

std::string historyGraphValue(const HistoryGraph& graph, std::string_view pace) {
    const std::string readings =
        graph.points.empty()
            ? "No local readings in this allowance week yet"
            : std::to_string(graph.points.size()) + " local readings in this allowance week";
    return pace.empty() ? readings : readings + ". " + std::string(pace);
}

std::string historyGraphHelp(const HistoryGraph& graph, std::string_view pace) {
    const std::string start = pace.empty() ? "" : std::string(pace) + "\n";
    if (graph.points.empty())
        return start
               + "No readings saved in this allowance week yet. History begins when this utility "
                 "observes your allowance; it cannot backfill earlier usage.";
    return start + std::to_string(graph.points.size()) + " saved readings since "
           + shortDate(graph.since) + ", " + shortTime(graph.since)
           + ". A short recording may look like a dot on the full-week scale. Gaps over 30 minutes "
             "and reset/correction segments stay separate; no history is fabricated.";
}

std::string readingText(const HistoryGraphModel::Reading& reading) {
    const QDate date = QDateTime::fromSecsSinceEpoch(static_cast<qint64>(reading.time)).date();
    return QLocale().dayName(date.dayOfWeek(), QLocale::ShortFormat).toStdString() + " "
           + shortTime(reading.time) + " · " + fixedText(reading.usedPercent, 0) + "%";
}

} // namespace tallywick
