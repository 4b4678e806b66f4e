#include "state/NumberTexts.h"
#include "state/UtilityFields.h"

#include <gmock/gmock.h>

#include <QLocale>

namespace tallywick {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr Timestamp afternoon = 1'750'255'297; // 2025-06-18 14:01:37 UTC

TEST(Texts, ShowFiguresAndTheirAbsence) {
    EXPECT_EQ(weeklyUsageText(std::nullopt), "—% used");
    EXPECT_EQ(remainingText(std::nullopt), "— remaining");
    EXPECT_EQ(loadText(std::nullopt), "—");
    EXPECT_EQ(loadText(42.5), "42%") << "a half goes to the even neighbour";
    EXPECT_EQ(loadAccessibilityValue(42.5), "43 percent") << "a half goes away from zero";
    EXPECT_EQ(capacityText({"/", "Root", 13'421'772'800, 512'110'190'592}), "12.5 / 476.9 GiB");
    EXPECT_EQ(tokenTooltip("ACTIVITY STALE", 1'234'567), "ACTIVITY STALE · 1234567");
    EXPECT_EQ(historyCountText(12), "Current account history: 12 samples");
    EXPECT_EQ(historyGraphValue({{HistoryGraphPoint()}}),
              "1 local readings in this allowance week");
    EXPECT_EQ(installationLabel(false, true, std::nullopt), "Checking installed bundle…");
    EXPECT_EQ(installationLabel(false, true, false), "Installation needs repair — Get Setup");
}

TEST(Texts, WriteCountsShort) {
    EXPECT_EQ(compactTokenCount({}), "—");
    EXPECT_EQ(compactTokenCount(999), "999");
    EXPECT_EQ(compactTokenCount(1000), "1.0K");
    EXPECT_EQ(compactTokenCount(1250), "1.2K") << "an exact half goes to the even digit";
    EXPECT_EQ(compactTokenCount(999'950), "1000.0K") << "the unit is chosen before rounding";
    EXPECT_EQ(compactTokenCount(2'500'000'000), "2.5B");
}

TEST(Texts, TellHowTheConnectionStands) {
    using Kind = Status::Kind;
    const struct {
        Status status;
        std::string_view badge, text;
    } cases[] = {
        {Status(), "CONNECTING", "Finding Codex…"},
        {Kind::codexNotFound, "STATUS", "Codex not found · Choose it in Settings"},
        {Status::live(afternoon), "LIVE", "LIVE · Synced 14:01"},
        {Kind::withoutAllowance, "STATUS", "Connected · Weekly allowance unavailable"},
        {Status::stale(afternoon), "STALE", "STALE · Last synced 14:01"},
        {Status::stale(afternoon, ConnectionIssue::stopped), "STALE",
         "STALE · Last synced 14:01 · Codex helper stopped. Retrying shortly."},
        {Kind::retrying, "STALE", "STALE · Retrying Codex connection…"},
        {Status::failed(ConnectionIssue::stopped), "STATUS",
         "Codex helper stopped. Retrying shortly."},
        {Kind::reloading, "CONNECTING", "CONNECTING · Reloading saved Codex sign-in…"},
        {Kind::preparingSignIn, "CONNECTING",
         "CONNECTING · Preparing your requested browser sign-in…"},
        {Kind::waitingForSignIn, "CONNECTING",
         "CONNECTING · Complete sign-in in your browser (up to 10 minutes)."},
        {Kind::signInCancelled, "STATUS",
         "Sign-in cancelled. Your Codex account was not logged out."},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(row.status.text(), row.text);
        EXPECT_EQ(row.status.badge(false), row.badge) << row.text;
        EXPECT_EQ(row.status.badge(true), row.badge == "STATUS" ? "CONNECTING" : row.badge);
    }
}

TEST(Texts, CallAReadingLiveForTwoMinutes) {
    const Status live = Status::live(afternoon);
    for (const double age : {-6, -5, 120, 121}) // the first is of unknown age
        EXPECT_EQ(live.isOverdue(afternoon + age), age < -5 || age > 120) << age;
    EXPECT_FALSE(Status::stale(afternoon).isOverdue(afternoon + 121)) << "it is told already";
}

TEST(Texts, TellOfPaceAndOtherWindows) {
    const Timestamp reset = afternoon + 86'400;
    const std::pair<Pace, const char*> paces[] = {
        {{-7.4, false, {}, reset},
         "7% under an even pace. Too few readings yet to tell how long it lasts."},
        {{0.4, false, reset, reset},
         "At an even pace. At the rate of the last 24 hours it lasts until the reset."},
        {{12.6, false, afternoon, reset},
         "13% over an even pace. At the rate of the last 24 hours it lasts until 2025-06-18 "
         "14:01."},
        {{50, true, {}, reset}, "50% over an even pace. It is used up."},
    };
    for (const auto& [pace, sentence] : paces)
        EXPECT_EQ(paceSentence(pace, afternoon), sentence);
    EXPECT_EQ(paceSentence(paces[0].first, reset), "") << "of a week that is over";

    const std::pair<ShorterWindow, const char*> windows[] = {
        {{300, 12, afternoon}, "5-hour window: 12% used, resets 14:01"},
        {{90, 0, afternoon}, "90-minute window: 0% used, resets 14:01"},
        {{2'880, 100, afternoon}, "2-day window: 100% used, resets 2025-06-18 14:01"}};
    for (const auto& [window, sentence] : windows)
        EXPECT_EQ(shorterWindowSentence(Quota{42, reset, window}, 0), sentence);
    EXPECT_EQ(shorterWindowSentence(Quota{42, reset, windows[0].first}, afternoon), "") << "ended";
}

TEST(Texts, NameNeitherSecondsNorTheDayOfTheWeekInAnyLocale) {
    const HistoryGraph one{{HistoryGraphPoint()}, afternoon};
    const auto locales =
        QLocale::matchingLocales(QLocale::AnyLanguage, QLocale::AnyScript, QLocale::AnyTerritory);
    ASSERT_GT(locales.size(), 100);
    for (const QLocale& locale : locales) {
        QLocale::setDefault(locale);
        EXPECT_THAT(shortTime(afternoon), Not(HasSubstr(locale.toString(37).toStdString())));
        EXPECT_THAT(historyGraphHelp(one),
                    Not(HasSubstr(locale.dayName(3, QLocale::LongFormat).toStdString())));
    }
    QLocale::setDefault(QLocale::Japanese);
    EXPECT_THAT(historyGraphHelp(one), HasSubstr(" saved readings since 2025/06/18, 14:01."));
    QLocale::setDefault(QLocale::c());
    EXPECT_THAT(historyGraphHelp(one), HasSubstr(" saved readings since 18 Jun 2025, 14:01."));
    EXPECT_THAT(historyGraphHelp({}), HasSubstr("No readings saved in this allowance week yet."));
}

} // namespace
} // namespace tallywick
