#include "state/StatusTexts.h"

#include <QDateTime>
#include <QLocale>

namespace tallywick {

namespace {

constexpr std::string_view separator = " · ";

constexpr std::string_view live = "LIVE";
constexpr std::string_view stale = "STALE";
constexpr std::string_view connecting = "CONNECTING";

} // namespace

std::string_view storageNotice(StorageObstacle obstacle) {
    switch (obstacle) {
    case StorageObstacle::noPlace:
        return SettingsText::noPlaceToKeep;
    case StorageObstacle::symbolicLink:
        return SettingsText::keptBehindLink;
    case StorageObstacle::anotherOwner:
        return SettingsText::keptByAnother;
    }
    return {};
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

std::string liveStatus(Timestamp observedAt) { return "LIVE · Synced " + shortTime(observedAt); }

std::string staleStatus(Timestamp lastGood) { return "STALE · Last synced " + shortTime(lastGood); }

std::string staleStatus(Timestamp lastGood, ConnectionIssue issue) {
    return staleStatus(lastGood).append(separator).append(sentence(issue));
}

bool isStale(Timestamp lastGood, Timestamp now) {
    constexpr Timestamp longestAge = 120;
    constexpr Timestamp clockTolerance = 5;
    return now - lastGood > longestAge || lastGood - now > clockTolerance;
}

bool isLive(std::string_view status) { return status.starts_with(live); }

bool describesReading(std::string_view status) {
    return isLive(status) || status.starts_with(stale) || status == StatusText::withoutAllowance;
}

std::string_view statusBadge(std::string_view status, bool loginPending) {
    if (isLive(status))
        return live;
    if (status.starts_with(stale))
        return stale;
    if (loginPending || status.starts_with(connecting) || status.starts_with("Finding"))
        return connecting;
    return "STATUS";
}

std::string_view tokenStatusReceived(bool hasLifetime) {
    return hasLifetime ? TokenStatusText::reported : TokenStatusText::notReported;
}

std::string_view tokenStatusFailed(bool hasLifetime) {
    return hasLifetime ? TokenStatusText::stale : TokenStatusText::unavailable;
}

std::string installationLabel(bool isPreview, bool isInstalled, std::optional<bool> verified) {
    const std::string start = isPreview ? "PREVIEW — awaiting your approval · " : "";
    if (!isInstalled)
        return start + "Installer / portable copy — install before creating an alias";
    if (!verified)
        return start + "Checking installed bundle…";
    return start
           + (*verified ? "Installed in Applications" : "Installation needs repair — Get Setup");
}

} // namespace tallywick
