#include "state/UtilityFields.h"

#include "state/NumberTexts.h"

#include <QDateTime>

namespace tallywick {

namespace {

/// Date and time of day in the local time zone, the same in every locale.
std::string localDateTime(Timestamp time) {
    return QDateTime::fromSecsSinceEpoch(static_cast<qint64>(time))
        .toString(QStringLiteral("yyyy-MM-dd HH:mm"))
        .toStdString();
}

} // namespace

bool accountActionsBusy(const UtilityFields& fields) {
    return fields.accountBusy || fields.validatingHelper || fields.loginPending
           || fields.maintenance;
}

std::string watchLine(const UtilityFields& fields) {
    std::string line = "[";
    line.append(statusBadge(fields.status, fields.loginPending)).append("] ").append(fields.status);
    if (fields.quota)
        line += " | " + weeklyUsageText(fields.quota) + ", " + remainingText(fields.quota)
                + " | resets " + localDateTime(fields.quota->reset);
    if (fields.tokens.lifetime)
        line += " | " + compactTokenCount(fields.tokens.lifetime) + " lifetime tokens";
    if (fields.tokens.latestDay)
        line += " | " + compactTokenCount(fields.tokens.latestTokens) + " on "
                + *fields.tokens.latestDay;
    return line;
}

} // namespace tallywick
