#include "state/UsageNotices.h"

#include "history/HistoryGraphModel.h"
#include "state/NumberTexts.h"

#include <QString>

#include <algorithm>
#include <utility>

namespace tallywick {

namespace {

/// Percentages that are told of when they are reached, the highest first.
constexpr double marks[] = {95, 80};

/// Resets of one week differ by less, in seconds.
constexpr Timestamp resetTolerance = 1;

/// How far ahead, in seconds, a reset lies at most: a week, and a day for clocks that differ.
constexpr Timestamp farthestReset = 8 * 86'400;

/// Seconds from one notice to the next.
constexpr double noticeInterval = 600;

/// The highest mark that is reached, 0 when none is.
double markReached(double used) {
    const auto* const found =
        std::ranges::find_if(marks, [used](double mark) { return used >= mark; });
    return found == std::end(marks) ? 0 : *found;
}

bool liesInItsWeek(const Quota& quota, Timestamp observedAt) {
    return quota.reset > observedAt && quota.reset <= observedAt + farthestReset;
}

double highestOf(std::span<const UsageSample> samples, Timestamp now, const Quota& quota) {
    double highest = quota.used;
    for (const UsageSample& sample : HistoryGraphModel::weekSamples(samples, now, quota.reset))
        highest = std::max(highest, sample.usedPercent);
    return highest;
}

} // namespace

Notice textsOf(const UsageNotice& notice, Timestamp now) {
    const std::string used = usageFigure(notice.quota) + "%";
    const std::string left =
        QString::fromStdString(resetCountdown(notice.quota.reset, now)).simplified().toStdString();
    if (notice.weekBegan)
        return {"The week has begun anew", used + " is used. It resets in " + left + "."};
    return {used + " of the weekly Codex allowance is used", "It resets in " + left + "."};
}

// The rules

void NoticeRules::take(const AccountSnapshot& reading, std::span<const UsageSample> samples) {
    if (reading.accountHash != account) {
        account = reading.accountHash;
        week.reset();
        drop();
    }
    if (!account || !reading.quota || !liesInItsWeek(*reading.quota, reading.observedAt))
        return;
    const Quota& quota = *reading.quota;
    if (week)
        follow(quota, reading.observedAt);
    else
        week = Week{quota.reset, quota.used, highestOf(samples, reading.observedAt, quota)};
}

void NoticeRules::follow(const Quota& quota, Timestamp observedAt) {
    const bool isNew = quota.reset - week->reset >= resetTolerance
                       && (quota.used < week->used || week->reset <= observedAt);
    if (isNew || markReached(quota.used) > markReached(week->highest))
        waiting = UsageNotice{isNew, quota};
    const double before = isNew ? 0 : week->highest;
    week = Week{std::max(week->reset, quota.reset), quota.used, std::max(before, quota.used)};
}

std::optional<UsageNotice> NoticeRules::due(Timestamp now) {
    if (!waiting || !next.hasPassed(now))
        return std::nullopt;
    next.set(now, noticeInterval);
    return std::exchange(waiting, std::nullopt);
}

// The desktop

UsageNotices::UsageNotices(StateContext& given, KeptChoices& kept, Services with, ShowWindow show)
    : context(given), fields(given.fields()), choices(kept), desktop(with.desktop),
      showWindow(std::move(show)) {
    context.change().tellsOfUsage = with.isAskedFor || choices.tellsOfUsage();
}

void UsageNotices::choose(bool wanted) {
    context.change().tellsOfUsage = wanted;
    choices.keepTellsOfUsage(wanted);
    if (!wanted)
        drop();
}

void UsageNotices::take(const AccountSnapshot& reading, std::span<const UsageSample> samples) {
    if (!isReadingFresh())
        return;
    rules.take(reading, samples);
    if (!desktop || !fields.tellsOfUsage)
        drop();
    keepUp();
}

void UsageNotices::keepUp() {
    if (context.isPaused() || !isReadingFresh())
        return;
    if (const auto notice = rules.due(fields.now))
        desktop->show(textsOf(*notice, fields.now), context.onMainThread(showWindow));
}

bool UsageNotices::isReadingFresh() const {
    return fields.status.isLive() && !fields.status.isOverdue(fields.now);
}

} // namespace tallywick
