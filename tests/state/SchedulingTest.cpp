// When the account and the machine are read.

#include "StateHarness.h"

namespace tallywick::testing {
namespace {

using Times = std::vector<int>;

using Scheduling = StateTest;

TEST_F(Scheduling, RefreshesAccountAndActivityInTheirTurn) {
    std::atomic<int> activities = 0;
    usage = [&](FakeTransport&) { return usageOf(++activities); };
    start();
    pass(300);
    EXPECT_EQ(takeRefreshes(), (Times{60, 120, 180, 240, 300}));
    EXPECT_EQ(activities, 2);
    EXPECT_EQ(launches, 1);
    EXPECT_EQ(fields().displayedHelperPath, "/opt/tools/codex");
    EXPECT_EQ(fields().status.text(), "LIVE · Synced 14:04");
    EXPECT_EQ(statuses.size(), 7U) << "it does not flicker";
}

TEST_F(Scheduling, WaitsLongerAfterEachFailureUntilASuccess) {
    allowance = fails(ConnectionIssue::throttled);
    start();
    pass(1100);
    EXPECT_EQ(takeRefreshes(), (Times{15, 45, 105, 225, 465, 765, 1065}));
    refresh(); // the user's own word begins the waits anew
    pass(50);
    EXPECT_EQ(takeRefreshes(), (Times{1115, 1145}));
    allowance = gives(allowanceOf("A1"));
    pass(220);
    allowance = fails(ConnectionIssue::throttled);
    pass(100);
    EXPECT_EQ(takeRefreshes(), (Times{1205, 1265, 1325, 1385, 1400, 1430}));
}

TEST_F(Scheduling, WithoutAHelperItLooksAgainEachMinute) {
    candidates.clear();
    preferences.setString("codexPath", "/home/me/codex");
    start();
    EXPECT_EQ(fields().status, Status::Kind::codexNotFound);
    EXPECT_EQ(fields().displayedHelperPath, HelperPathText::notFound);
    EXPECT_EQ(preferred, "/home/me/codex");
    candidates = {"/opt/b\xE9ta/codex"};
    pass(60);
    EXPECT_EQ(takeRefreshes(), Times{60});
    EXPECT_EQ(fields().displayedHelperPath, "/opt/b\uFFFDta/codex");
}

TEST_F(Scheduling, AClockThatIsSetBackHoldsNothingUp) {
    start();
    now = now - 86'400;
    pass(5);
    EXPECT_EQ(fields().status.text(), "STALE · Last synced 14:00");
    pass(65);
    EXPECT_EQ(fields().status.text(), "LIVE · Synced 14:01");
    allowance = fails(ConnectionIssue::offline);
    pass(65);
    EXPECT_EQ(takeRefreshes().size(), 2U);
    now = now - 86'400;
    pass(20);
    EXPECT_EQ(takeRefreshes().size(), 1U) << "the wait of 15 seconds begins anew";
}

TEST_F(Scheduling, ADiskThatDoesNotAnswerHoldsUpNobody) {
    std::promise<void> disk;
    whileSearching = [answered = disk.get_future().share()] { answered.wait(); };
    construct();
    tickAfter(5);
    EXPECT_TRUE(fields().accountBusy);
    EXPECT_EQ(fields().status, Status::Kind::findingCodex);
    construct(); // nor does the end of the state before wait for it
    disk.set_value();
    settle();
    EXPECT_EQ(fields().status.text(), "LIVE · Synced 14:00");
}

TEST_F(Scheduling, RequestsInMidRefreshAreHonouredAfterIt) {
    std::atomic<int> answers = 0;
    allowance = [&](FakeTransport&) { return allowanceOf("A1", ++answers); };
    start();
    for (int i = 0; i < 3; ++i)
        state->refreshNow();
    settle();
    EXPECT_EQ(fields().quota->used, 3) << "the first, that in mid-refresh, and one after it";
    EXPECT_EQ(launches, 1) << "the running refresh is not disturbed";
}

TEST_F(Scheduling, SleepSilencesARefreshAndWakeBeginsAnother) {
    start();
    std::promise<void> asked;
    allowance = gives(allowanceOf("A1", 99));
    usage = hangs(&asked); // so the reading is on its way
    beginRefresh();
    asked.get_future().wait();
    state->refreshNow();
    powerEvents.handlers.willSleep();
    pass(125);
    EXPECT_EQ(takeRefreshes(), Times()) << "not while asleep";
    EXPECT_EQ(fields().quota->used, 40);
    EXPECT_EQ(fields().status.text(), "STALE · Last synced 14:00");

    usage = gives(usageOf(1));
    powerEvents.handlers.didWake();
    settle();
    EXPECT_EQ(fields().quota->used, 99);
    EXPECT_EQ(launches, 2);
    pass(55);
    EXPECT_EQ(takeRefreshes(), Times()) << "what was asked for before the sleep is done";
}

TEST_F(Scheduling, ARefreshWithoutEndIsGivenUp) {
    start();
    allowance = hangs();
    state->refreshNow();
    tickAfter(-86'400); // nor does the clock hold it up
    tickAfter(439);
    EXPECT_TRUE(fields().accountBusy);
    tickAfter(1);
    EXPECT_FALSE(fields().accountBusy);
    EXPECT_EQ(fields().status.text(),
              "STALE · Last synced 14:00 · " + std::string(sentence(ConnectionIssue::timeout)));
    allowance = gives(allowanceOf("A1"));
    pass(15);
    EXPECT_EQ(takeRefreshes(), Times{455 - 86'400});
    EXPECT_EQ(launches, 2);
}

TEST_F(Scheduling, OnlyAWayToTheInternetThatComesBackRefreshes) {
    constexpr auto up = NetworkPathStatus::satisfied;
    constexpr auto down = NetworkPathStatus::unsatisfied;
    std::atomic<int> reads = 0;
    allowance = [&](FakeTransport&) { return allowanceOf("A1", ++reads); };
    start();
    for (const auto& [status, expected] :
         {std::pair(up, 1), {up, 1}, {down, 1}, {up, 2}, {down, 2}, {up, 3}, {up, 3}}) {
        networkPath.update(status);
        settle();
        EXPECT_EQ(reads, expected);
    }
}

TEST_F(Scheduling, TheMachineIsMeasuredOnlyForAFullViewThatIsSeen) {
    start();
    tickAfter(30);
    showWindow();
    state->toggleLayout();
    tickAfter(30);
    window.visible = false;
    state->toggleLayout();
    tickAfter(30);
    window.visible = true;
    window.minimised = true;
    tickAfter(30);
    powerEvents.handlers.willSleep();
    window.minimised = false;
    tickAfter(30);
    powerEvents.handlers.didWake();
    for (const int sample : {1, 2, 3, 4, 5, 6}) { // half a minute; a tick is early or late
        waitUntil([&] { return fields().memoryPercent == sample; });
        tickAfter(sample % 2 == 1 ? 4.99 : 5.01);
    }
    waitUntil([&] { return fields().memoryPercent == 7 && machine.listings == 2; });
    EXPECT_EQ(fields().cpuPercent, 50);
    tickAfter(-86'400); // the waits begin anew
    tickAfter(5);
    waitUntil([&] { return fields().memoryPercent == 8; });
    tickAfter(25);
    waitUntil([&] { return fields().memoryPercent == 9 && machine.listings == 3; });
}

} // namespace
} // namespace tallywick::testing
