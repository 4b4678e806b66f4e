#include "UtilityApp/Report.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace tallywick {
namespace {

constexpr Timestamp now = 1'795'390'000.75; // 2026-11-22 23:26:40 UTC

Report fullReport() {
    Report report;
    report.quota = Quota{42, 1'795'531'020};
    report.tokens = {1'828'976'990, "2026-11-22", 2'088'648};
    report.observedAt = now;
    return report;
}

TEST(Report, WritesALineAValue) {
    ::setenv("TZ", "Asia/Kathmandu", 1); // UTC+5:45
    ::tzset();
    EXPECT_EQ(reportText(fullReport()), "WEEKLY USAGE     42% used\n"
                                        "REMAINING        58% remaining\n"
                                        "RESETS           2026-11-24 20:22\n"
                                        "RESET IN         1d  15h  10m\n"
                                        "LIFETIME TOKENS  1.8B\n"
                                        "LATEST DAY       2026-11-22 · 2.1M\n");
    Report unknown;
    unknown.helperLocation = "/usr/local/…/codex";
    EXPECT_EQ(reportText(unknown), "WEEKLY USAGE     —% used\n"
                                   "REMAINING        — remaining\n"
                                   "RESETS           —\n"
                                   "RESET IN         —\n"
                                   "LIFETIME TOKENS  —\n"
                                   "LATEST DAY       —\n"
                                   "HELPER           /usr/local/…/codex\n");
}

TEST(Report, WritesOneJsonObject) {
    EXPECT_EQ(reportJson(fullReport()),
              R"({"helperLocation":null,"latestDay":"2026-11-22","latestDayTokens":2088648,)"
              R"("lifetimeTokens":1828976990,"observedAt":1795390000,"remainingPercent":58,)"
              R"("resetsAt":1795531020,"schema":1,"secondsUntilReset":141019,"usedPercent":42})"
              "\n");
    Report overdue;
    overdue.quota = Quota{100, now - 5};
    overdue.observedAt = now;
    overdue.helperLocation = "/usr/local/…/codex";
    EXPECT_EQ(reportJson(overdue),
              R"({"helperLocation":"/usr/local/…/codex","latestDay":null,"latestDayTokens":null,)"
              R"("lifetimeTokens":null,"observedAt":1795390000,"remainingPercent":0,)"
              R"("resetsAt":1795389995,"schema":1,"secondsUntilReset":0,"usedPercent":100})"
              "\n");
}

TEST(Report, TellsWhyThereIsNone) {
    EXPECT_EQ(failureText(ConnectionIssue::timeout, std::nullopt),
              "Codex took too long to respond. Retrying shortly.\n");
    EXPECT_EQ(failureText(ConnectionIssue::stopped, "not found"),
              "Codex helper stopped. Retrying shortly.\nHELPER           not found\n");
}

} // namespace
} // namespace tallywick
