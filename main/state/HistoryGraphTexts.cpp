#include "state/HistoryGraphTexts.h"

#include "state/StatusTexts.h"

#include <QDateTime>
#include <QLocale>
#include <QRegularExpression>

namespace tallywick {

namespace {

/// The long date format of the locale without the day of the week and with the month abbreviated,
/// or its short format if the day of the week stands in the middle. Locales themselves know a long
/// and a short format only, and the short one is digits alone.
QString abbreviatedDateFormat(const QLocale& locale) {
    static const QRegularExpression weekday(QStringLiteral(R"(^dddd[\s,.،、]*|[\s,،、]*dddd$)"));
    QString format = locale.dateFormat(QLocale::LongFormat).trimmed();
    format.remove(weekday);
    format.replace(QStringLiteral("MMMM"), QStringLiteral("MMM"));
    if (format.contains(QStringLiteral("ddd")))
        return locale.dateFormat(QLocale::ShortFormat);
    return format;
}

std::string abbreviatedDate(Timestamp time) {
    const QLocale locale;
    const QDate date = QDateTime::fromSecsSinceEpoch(static_cast<qint64>(time)).date();
    return locale.toString(date, abbreviatedDateFormat(locale)).toStdString();
}

} // namespace

std::string historyGraphValue(std::size_t points) {
    if (points == 0)
        return "No local readings in this allowance week yet";
    return std::to_string(points) + " local readings in this allowance week";
}

std::string historyGraphHelp(std::span<const UsageSample> weekSamples) {
    if (weekSamples.empty())
        return "No readings saved in this allowance week yet. History begins when this utility "
               "observes your allowance; it cannot backfill earlier usage.";
    const Timestamp first = weekSamples.front().timestamp;
    return std::to_string(weekSamples.size()) + " saved readings since " + abbreviatedDate(first)
           + ", " + shortTime(first)
           + ". A short recording may look like a dot on the full-week scale. Gaps over 30 minutes "
             "and reset/correction segments stay separate; no history is fabricated.";
}

} // namespace tallywick
