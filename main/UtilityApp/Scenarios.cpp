#include "UtilityApp/Scenarios.h"

#include "state/InstallationTexts.h"

#include <QDateTime>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tallywick {

namespace {

// Seconds.
constexpr Timestamp minute = 60;
constexpr Timestamp hour = 3'600;
constexpr Timestamp day = 86'400;

constexpr std::int64_t gibibyte = std::int64_t{1} << 30;

Timestamp madeUpNow() {
    const QDateTime morning(QDate(2026, 11, 21), QTime(9, 41));
    return static_cast<Timestamp>(morning.toSecsSinceEpoch());
}

VolumeInfo volume(const char* mountPoint, const char* name, double freeGiB, double totalGiB) {
    const auto bytes = [](double size) {
        return static_cast<std::int64_t>(size * static_cast<double>(gibibyte));
    };
    return {mountPoint, name, bytes(freeGiB), bytes(totalGiB)};
}

/// A reading every twenty minutes, up to what is used now: the line climbs by day and rests by
/// night, and is broken where the machine was off for most of a day.
std::vector<UsageSample> readings(Timestamp now, const Quota& quota) {
    const Timestamp start = quota.reset - 7 * day;
    const auto used = [&](Timestamp time) {
        const double days = (time - start) / day;
        const double worked = days - 0.12 * std::sin(days * 2 * std::numbers::pi);
        return std::round(quota.used * worked * day / (now - start));
    };
    std::vector<UsageSample> samples;
    const auto count = static_cast<int>((now - start) / (20 * minute));
    for (int index = 6; index <= count; ++index) { // two hours after the reset
        const Timestamp time = start + 20 * minute * index;
        const bool wasOff = time > start + 1.6 * day && time < start + 2.3 * day;
        if (!wasOff)
            samples.push_back({time, std::min(used(time), quota.used), quota.reset,
                               std::string(64, 'a'), std::nullopt});
    }
    return samples;
}

UtilityFields live() {
    UtilityFields fields;
    fields.now = madeUpNow();
    fields.quota = Quota{42, fields.now + 2 * day + 5 * hour + 13 * minute};
    fields.tokens = {123'456'789, "2026-11-20", 1'382'400};
    fields.tokenStatus = TokenStatusText::reported;
    fields.status = Status::live(fields.now);
    fields.volumes = {volume("/", "File System", 80.2, 251.9),
                      volume("/media/backup", "Backup", 1'204.7, 1'862.9),
                      volume("/media/photos", "Photos", 88.0, 465.7)};
    fields.cpuPercent = 17;
    fields.memoryPercent = 63;
    const std::vector<UsageSample> history = readings(fields.now, *fields.quota);
    fields.historyCount = history.size();
    fields.week = HistoryGraphModel::graph(history, fields.now, fields.quota->reset);
    fields.pace = paceOf(*fields.quota, fields.now, history);
    fields.displayedHelperPath = "/usr/local/bin/codex";
    return fields;
}

UtilityFields stale() {
    UtilityFields fields = live();
    fields.status = Status::stale(fields.now - 7 * minute, ConnectionIssue::throttled);
    fields.tokenStatus = TokenStatusText::stale;
    return fields;
}

UtilityFields searching() {
    UtilityFields fields;
    fields.now = madeUpNow();
    fields.offersInstallation = true;
    return fields;
}

UtilityFields installing() {
    UtilityFields fields = searching();
    fields.installing = true;
    fields.maintenance = true;
    fields.settingsStatus = InstallationText::installing;
    return fields;
}

UtilityFields managed() {
    UtilityFields fields = live();
    fields.isManaged = true;
    return fields;
}

UtilityFields signedOut() {
    UtilityFields fields = searching();
    fields.status = Status::failed(ConnectionIssue::signedOut);
    fields.volumes = {volume("/", "File System", 80.2, 251.9)};
    fields.cpuPercent = 4;
    fields.memoryPercent = 31;
    fields.displayedHelperPath = "/usr/local/bin/codex";
    return fields;
}

UtilityFields crowded() {
    UtilityFields fields = live();
    fields.quota->used = 100;
    fields.quota->reset = fields.now + 6 * day + 23 * hour + 59 * minute;
    fields.historyCount = 0;
    fields.week = {};
    fields.tokens = {987'654'321'098'765, "2026-11-20", 98'765'432'109};
    fields.status = Status::stale(fields.now - 12 * hour, ConnectionIssue::externalSession);
    fields.cpuPercent = 100;
    fields.memoryPercent = 100;
    fields.volumes = {volume("/",
                             "A system volume whose name is longer than any row could ever show", 0,
                             15'258.8),
                      volume("/media/1", "\u202Eשלום עולם\u202C", 7'629.4, 15'258.8),
                      volume("/media/2", "<b>not bold</b> & <i>not slanted</i>", 1, 2)};
    for (const char* mountPoint : {"/media/3", "/media/4", "/media/5", "/media/6", "/media/7"})
        fields.volumes.push_back(volume(mountPoint, "Archive", 4'096.5, 8'192));
    fields.offersInstallation = true;
    fields.settingsStatus = couldNotOpenInstalled(
        "It has not shown its window. The previous copy is kept at "
        "/home/somebody/a-rather-long-folder-name/another-rather-long-folder-name/Applications/"
        ".Corvane-previous-0D5B3A0C-6C3F-4E0C-9E44-6C2D8F2B7B1E.app.");
    fields.displayedHelperPath = "/home/somebody/.local/share/a-rather-long-folder-name/lib/"
                                 "node_modules/@openai/codex/bin/codex";
    fields.loginPending = true;
    return fields;
}

} // namespace

std::optional<UtilityFields> scenario(std::string_view name) {
    if (name == "live")
        return live();
    if (name == "stale")
        return stale();
    if (name == "searching")
        return searching();
    if (name == "signed-out")
        return signedOut();
    if (name == "installing")
        return installing();
    if (name == "managed")
        return managed();
    if (name == "crowded")
        return crowded();
    return std::nullopt;
}

} // namespace tallywick
