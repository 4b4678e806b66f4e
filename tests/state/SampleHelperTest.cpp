#include "StateHarness.h"
#include "codex/CodexBridge.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace tallywick::testing {
namespace {

/// The state with the sample helper as a process of its own, in one of its scenarios.
struct RealHelper : StateHarness {
    RealHelper(const char* scenario, const char* accountCheck) {
        setenv("TALLYWICK_SAMPLE", scenario, 1);
        setenv("TALLYWICK_SAMPLE_CHECK", accountCheck, 1);
        candidates = {SAMPLE_HELPER};
        realTransports = codexBridgeFactory();
        now = systemNow(); // the helper has a clock of its own
        start();
    }
    ~RealHelper() {
        unsetenv("TALLYWICK_SAMPLE");
        unsetenv("TALLYWICK_SAMPLE_CHECK");
    }
};

TEST(SampleHelper, EachScenarioBecomesAStatus) {
    const auto failed = [](ConnectionIssue issue) { return Status::failed(issue).text(); };
    const std::string live = "LIVE · Synced ";
    const struct {
        const char* scenario;
        std::string status; ///< how it begins
        bool quota, tokens;
        int launches;
        const char* accountCheck = ""; ///< seconds that the service takes for it
    } cases[] = {
        {"default", live, true, true, 1},
        {"default", live, true, true, 1, "0"},
        {"default", live, true, true, 1, "0.7"},
        {"old-helper", live, true, false, 1},
        {"no-weekly-window", "Connected · Weekly allowance unavailable", false, true, 1},
        {"signed-out", failed(ConnectionIssue::signedOut), false, false, 2},
        {"needs-token-refresh", live, true, true, 2},
        {"external-session", failed(ConnectionIssue::externalSession), false, false, 2},
        {"api-key", failed(ConnectionIssue::unsupportedAccount), false, false, 1},
        {"offline", failed(ConnectionIssue::offline), false, false, 1},
        {"long-errors", failed(ConnectionIssue::invalidResponse), false, false, 1},
        {"crash", failed(ConnectionIssue::stopped), false, false, 1},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.scenario);
        RealHelper harness(row.scenario, row.accountCheck);
        const UtilityFields& fields = harness.fields();
        EXPECT_TRUE(fields.status.text().starts_with(row.status)) << fields.status.text();
        EXPECT_EQ(fields.quota.has_value(), row.quota);
        EXPECT_EQ(fields.tokens.lifetime.has_value(), row.tokens);
        EXPECT_EQ(fields.historyCount == 0, !row.quota);
        EXPECT_EQ(fields.connectionDetails.helperVersion, "0.169.0");
        EXPECT_EQ(harness.launches, row.launches);
    }
}

} // namespace
} // namespace tallywick::testing
