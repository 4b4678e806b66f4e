#include "state/HistoryGraphTexts.h"
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
    EXPECT_EQ(historyGraphValue(1), "1 local readings in this allowance week");
    EXPECT_EQ(installationLabel(false, true, std::nullopt), "Checking installed bundle…");
    EXPECT_EQ(installationLabel(false, true, false), "Installation needs repair — Get Setup");
}

TEST(Texts, TellBadgeStatusAndReadingButNotTheTime) {
    UtilityFields fields;
    EXPECT_EQ(watchLine(fields), "[CONNECTING] Finding Codex…");
    fields.status = sentence(ConnectionIssue::unsupportedAccount);
    EXPECT_EQ(watchLine(fields), "[STATUS] " + fields.status);
    fields.loginPending = true;
    EXPECT_EQ(watchLine(fields), "[CONNECTING] " + fields.status);
    fields.status = staleStatus(afternoon);
    EXPECT_EQ(watchLine(fields), "[STALE] STALE · Last synced 14:01");
    fields.status = liveStatus(afternoon);
    fields.quota = {42, afternoon + 3 * 86'400};
    fields.tokens = {1500, "2025-06-17", 999};
    const std::string line = "[LIVE] LIVE · Synced 14:01 | 42% used, 58% remaining | resets "
                             "2025-06-21 14:01 | 1.5K lifetime tokens | 999 on 2025-06-17";
    EXPECT_EQ(watchLine(fields), line);
    fields.now = afternoon + 60;
    EXPECT_EQ(watchLine(fields), line);
}

TEST(Texts, NameNeitherSecondsNorTheDayOfTheWeekInAnyLocale) {
    const std::vector<UsageSample> sample{{afternoon, 1, 0, "a", {}}};
    const auto locales =
        QLocale::matchingLocales(QLocale::AnyLanguage, QLocale::AnyScript, QLocale::AnyTerritory);
    ASSERT_GT(locales.size(), 100);
    for (const QLocale& locale : locales) {
        QLocale::setDefault(locale);
        EXPECT_THAT(shortTime(afternoon), Not(HasSubstr(locale.toString(37).toStdString())));
        EXPECT_THAT(historyGraphHelp(sample),
                    Not(HasSubstr(locale.dayName(3, QLocale::LongFormat).toStdString())));
    }
    const std::pair<QLocale, const char*> dates[] = {{QLocale::Japanese, "2025/06/18, 14:01."},
                                                     {QLocale::Spanish, "18/6/25, 14:01."},
                                                     {QLocale::Thai, "18/6/25, 14:01."},
                                                     {QLocale::c(), "18 Jun 2025, 14:01."}};
    for (const auto& [locale, date] : dates) {
        QLocale::setDefault(locale);
        EXPECT_THAT(historyGraphHelp(sample),
                    HasSubstr(std::string(" saved readings since ") + date));
    }
    EXPECT_THAT(historyGraphHelp({}), HasSubstr("No readings saved in this allowance week yet."));
}

} // namespace
} // namespace tallywick
