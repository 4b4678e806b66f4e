#include "state/HistoryGraphTexts.h"
#include "state/NumberTexts.h"
#include "state/StatusTexts.h"
#include "state/UtilityFields.h"

#include <gtest/gtest.h>

#include <QLocale>

#include <string>

namespace tallywick {
namespace {

constexpr Timestamp afternoon = 1'750'255'297; // 2025-06-18 14:01:37 UTC

std::optional<Quota> quota(double used) { return Quota{used, afternoon + 3 * 86'400}; }

TEST(NumberTexts, ShowFiguresAndTheirAbsence) {
    const TokenActivity tokens{1234567, "2025-01-03", 5};
    const struct {
        std::string text;
        const char* expected;
    } cases[] = {
        {weeklyUsageText(quota(42)), "42% used"},
        {weeklyUsageText(std::nullopt), "—% used"},
        {remainingText(quota(42)), "58% remaining"},
        {remainingText(std::nullopt), "— remaining"},
        {usageFigure(quota(7)), "7"},
        {loadText(42.5), "42%"}, // a half goes to the even neighbour
        {loadText(43.5), "44%"},
        {loadText(0.49999999999999994), "0%"},
        {loadText(std::nullopt), "—"},
        {capacityText({"/", "Root", 13421772800, 512110190592}), "12.5 / 476.9 GiB"},
        {capacityText({"/", "Root", 268435456, 1073741824}), "0.2 / 1.0 GiB"},
        {tokenTooltip("NOT REPORTED", std::nullopt), "NOT REPORTED · Not reported"},
        {tokenTooltip("ACTIVITY STALE", tokens.lifetime), "ACTIVITY STALE · 1234567"},
        {historyCountText(12), "Current account history: 12 samples"},
        {loadAccessibilityValue(42.5), "43 percent"}, // a half goes away from zero
        {std::string(loadSymbol("CPU")), "cpu"},
        {std::string(loadSymbol("MEMORY")), "memorychip"},
        {std::string(volumeSymbol("/")), "internaldrive"},
        {std::string(volumeSymbol("/media/me/stick")), "externaldrive"},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(text, expected);
}

TEST(StatusTexts, OneWordStandsForTheStatusLine) {
    const struct {
        std::string status;
        bool loginPending;
        const char* badge;
    } cases[] = {
        {liveStatus(afternoon), false, "LIVE"},
        {staleStatus(afternoon), true, "STALE"},
        {std::string(StatusText::retrying), false, "STALE"},
        {std::string(StatusText::findingCodex), false, "CONNECTING"},
        {std::string(sentence(ConnectionIssue::offline)), true, "CONNECTING"},
        {std::string(sentence(ConnectionIssue::offline)), false, "STATUS"},
        {std::string(StatusText::withoutAllowance), false, "STATUS"},
        {"Live", false, "STATUS"},
        {"", false, "STATUS"},
    };
    for (const auto& [status, loginPending, badge] : cases) {
        EXPECT_EQ(statusBadge(status, loginPending), badge) << status;
        EXPECT_EQ(isLive(status), badge == std::string_view("LIVE")) << status;
    }
}

TEST(StatusTexts, TellTheInstallation) {
    const std::string portable = "Installer / portable copy — install before creating an alias";
    EXPECT_EQ(installationLabel(true, false, true),
              "PREVIEW — awaiting your approval · " + portable);
    EXPECT_EQ(installationLabel(false, false, std::nullopt), portable);
    EXPECT_EQ(installationLabel(false, true, std::nullopt), "Checking installed bundle…");
    EXPECT_EQ(installationLabel(false, true, true), "Installed in Applications");
    EXPECT_EQ(installationLabel(false, true, false), "Installation needs repair — Get Setup");
}

TEST(Times, HaveNeitherSecondsNorDayOfTheWeekInAnyLocale) {
    const std::vector<UsageSample> sample{{afternoon, 1, 0, "a", {}}};
    const auto locales =
        QLocale::matchingLocales(QLocale::AnyLanguage, QLocale::AnyScript, QLocale::AnyTerritory);
    ASSERT_GT(locales.size(), 100);
    for (const QLocale& locale : locales) {
        QLocale::setDefault(locale);
        EXPECT_EQ(shortTime(afternoon).find(locale.toString(37).toStdString()), std::string::npos)
            << locale.bcp47Name().toStdString() << ": " << shortTime(afternoon);
        const std::string help = historyGraphHelp(sample);
        EXPECT_EQ(help.find(locale.dayName(3, QLocale::LongFormat).toStdString()),
                  std::string::npos)
            << locale.bcp47Name().toStdString() << ": " << help;
    }
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    EXPECT_EQ(liveStatus(afternoon), "LIVE · Synced 2:01 PM");
    QLocale::setDefault(QLocale::c());
    EXPECT_EQ(staleStatus(afternoon, ConnectionIssue::throttled),
              "STALE · Last synced 14:01 · Codex is temporarily rate-limiting requests (429). "
              "Retrying with backoff.");
}

TEST(HistoryGraphTexts, TellHowManyReadingsThereAreAndSinceWhen) {
    EXPECT_EQ(historyGraphValue(1), "1 local readings in this allowance week");
    EXPECT_EQ(historyGraphHelp({}),
              "No readings saved in this allowance week yet. History begins when this utility "
              "observes your allowance; it cannot backfill earlier usage.");
    const std::vector<UsageSample> samples{{afternoon, 1, 0, "a", {}},
                                           {afternoon + 60, 2, 0, "a", {}}};
    const struct {
        QLocale locale;
        const char* since;
    } cases[] = {{QLocale::c(), "18 Jun 2025, 14:01"},
                 {QLocale(QLocale::English, QLocale::UnitedStates), "Jun 18, 2025, 2:01 PM"},
                 {QLocale(QLocale::Japanese), "2025年6月18日, 14:01"}};
    for (const auto& row : cases) {
        QLocale::setDefault(row.locale);
        EXPECT_EQ(historyGraphHelp(samples),
                  std::string("2 saved readings since ") + row.since
                      + ". A short recording may look like a dot on the full-week scale. Gaps over "
                        "30 minutes and reset/correction segments stay separate; no history is "
                        "fabricated.");
    }
    QLocale::setDefault(QLocale::c());
}

TEST(WatchLine, TellsBadgeStatusAndReading) {
    UtilityFields fields;
    EXPECT_EQ(watchLine(fields), "[CONNECTING] Finding Codex…");
    fields.status = liveStatus(afternoon);
    fields.quota = quota(42);
    fields.tokens = {1500, "2025-06-17", 999};
    const std::string line = "[LIVE] LIVE · Synced 14:01 | 42% used, 58% remaining | resets "
                             "2025-06-21 14:01 | 1.5K lifetime tokens | 999 on 2025-06-17";
    EXPECT_EQ(watchLine(fields), line);
    fields.now = afternoon + 60;
    EXPECT_EQ(watchLine(fields), line) << "the time alone is no news";
}

} // namespace
} // namespace tallywick
