#include "state/HistoryGraphTexts.h"

#include "state/StatusTexts.h"

#include <QDateTime>
#include <QLocale>

namespace tallywick {

namespace {

/// The locale's own short form. What could be made of its long form reads wrong in some languages.
std::string shortDate(Timestamp time) {
    const QDate date = QDateTime::fromSecsSinceEpoch(static_cast<qint64>(time)).date();
    return QLocale().toString(date, QLocale::ShortFormat).toStdString();
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
    return std::to_string(weekSamples.size()) + " saved readings since " + shortDate(first) + ", "
           + shortTime(first)
           + ". A short recording may look like a dot on the full-week scale. Gaps over 30 minutes "
             "and reset/correction segments stay separate; no history is fabricated.";
}

} // namespace tallywick
