#include "UtilityApp/Report.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <ctime>

namespace tallywick {
namespace {

using ::testing::HasSubstr;

constexpr Timestamp now = 1'795'390'000.75; // 2026-11-22 23:26:40 UTC

const Report full{.quota = Quota{42, 1'795'531'020},
                  .tokens = {1'828'976'990, "2026-11-22", 2'088'648},
                  .observedAt = now,
                  .helperLocation = std::nullopt};

/// Far from the universal time.
class ReportTest : public ::testing::Test {
  protected:
    ReportTest() {
        ::setenv("TZ", "Asia/Kathmandu", 1); // UTC+5:45
        ::tzset();
    }
};

TEST_F(ReportTest, WritesALineAValue) {
    EXPECT_EQ(reportText(full), "WEEKLY USAGE     42% used\n"
                                "REMAINING        58% remaining\n"
                                "RESETS           2026-11-24 20:22\n"
                                "RESET IN         1d  15h  10m\n"
                                "LIFETIME TOKENS  1.8B\n"
                                "LATEST DAY       2026-11-22 · 2.1M\n");
    EXPECT_EQ(failureText(ConnectionIssue::stopped, "not found"),
              "Codex helper stopped. Retrying shortly.\nHELPER           not found\n");
}

TEST_F(ReportTest, WritesOneJsonObject) {
    EXPECT_EQ(reportJson(full),
              R"({"helperLocation":null,"latestDay":"2026-11-22","latestDayTokens":2088648,)"
              R"("lifetimeTokens":1828976990,"observedAt":1795390000,"remainingPercent":58,)"
              R"("resetsAt":1795531020,"schema":1,"secondsUntilReset":141019,"usedPercent":42})"
              "\n");
    Report overdue = full;
    overdue.observedAt = full.quota->reset + 5;
    EXPECT_THAT(reportJson(overdue), HasSubstr(R"("secondsUntilReset":0,)"));
    EXPECT_THAT(reportJson({}), HasSubstr(R"("resetsAt":null,)"));
}

TEST_F(ReportTest, OfAWatchTellsBadgeStatusAndReadingButNotTheTime) {
    UtilityFields fields;
    EXPECT_EQ(watchLine(fields), "[CONNECTING] Finding Codex…");
    fields.status = Status::failed(ConnectionIssue::stopped);
    fields.loginPending = true;
    EXPECT_EQ(watchLine(fields), "[CONNECTING] Codex helper stopped. Retrying shortly.");
    fields.status = Status::Kind::withoutAllowance;
    fields.loginPending = false;
    fields.quota = full.quota;
    fields.tokens = full.tokens;
    for (fields.now = now; fields.now < now + 100; fields.now += 60)
        EXPECT_EQ(watchLine(fields),
                  "[STATUS] Connected · Weekly allowance unavailable | 42% used, 58% remaining | "
                  "resets 2026-11-24 20:22 | 1.8B lifetime tokens | 2.1M on 2026-11-22");
}

} // namespace
} // namespace tallywick
