// When the account and the machine are read, and what becomes of the readings.

#include "StateHarness.h"

#include "codex/AccountAnswers.h"
#include "codex/CodexBridge.h"

#include <set>

namespace tallywick::testing {
namespace {

using ::testing::ElementsAre;

using Refreshes = StateTest;

TEST_F(Refreshes, ComeEachMinuteAndLaterAfterEachFailure) {
    std::atomic<int> activities = 0;
    usage = [&](FakeTransport&) { return usageOf(++activities); };
    EXPECT_EQ(pass(300), (Times{60, 120, 180, 240, 300}));
    EXPECT_EQ(activities, 1);
    EXPECT_EQ(launches, 1);
    EXPECT_EQ(statuses.size(), 7U) << "it does not flicker";
    allowance = fails(ConnectionIssue::throttled);
    EXPECT_EQ(pass(1160), (Times{360, 375, 405, 465, 585, 825, 1125, 1425}));
    refresh(); // the user's own word begins the waits anew
    EXPECT_EQ(pass(50), (Times{1475, 1505}));
    allowance = gives(allowanceOf("A1"));
    EXPECT_EQ(pass(60), (Times{1565}));
    allowance = fails(ConnectionIssue::throttled);
    EXPECT_EQ(pass(90), (Times{1625, 1640}));
}

TEST_F(Refreshes, AreNotHeldUpByAClockThatIsSetBack) {
    tickAfter(-86'400);
    EXPECT_TRUE(fields().week.points.empty()) << "it lies ahead";
    tickAfter(86'400);
    EXPECT_EQ(fields().week.points.size(), 1U);
    start();
    now = now - 86'400;
    pass(5);
    EXPECT_EQ(fields().status, Status::stale(startTime));
    pass(65);
    EXPECT_TRUE(fields().status.isLive());
    allowance = fails(ConnectionIssue::offline);
    pass(65);
    now = now - 86'400;
    EXPECT_EQ(pass(20).size(), 1U) << "the wait of 15 seconds begins anew";
}

TEST_F(Refreshes, AreNotHeldUpByADiskThatDoesNotAnswer) {
    std::promise<void> disk;
    whileSearching = [answered = disk.get_future().share()] { answered.wait(); };
    construct();
    tickAfter(5);
    EXPECT_TRUE(fields().accountBusy);
    construct(); // nor is the end of the state before
    disk.set_value();
    settle();
    EXPECT_EQ(fields().status, Status::live(now));
}

TEST_F(Refreshes, AreGivenUpWhenTheyDoNotEnd) {
    allowance = hangs();
    state->refreshNow();
    tickAfter(-86'400); // nor does the clock hold it up
    tickAfter(439);
    EXPECT_TRUE(fields().accountBusy);
    tickAfter(1);
    EXPECT_EQ(fields().status, Status::stale(startTime, ConnectionIssue::timeout));
    allowance = gives(allowanceOf("A1"));
    EXPECT_EQ(pass(15), Times{455 - 86'400});
    EXPECT_EQ(launches, 2);
}

TEST_F(Refreshes, FollowThoseInFlightAndComeWhenTheNetworkComesBack) {
    std::atomic<int> reads = 0;
    allowance = [&](FakeTransport&) { return allowanceOf("A1", ++reads); };
    for (int i = 0; i < 3; ++i)
        state->refreshNow();
    settle();
    EXPECT_EQ(reads, 2) << "one, and one after it for those in mid-refresh";
    EXPECT_EQ(launches, 1) << "the running refresh is not disturbed";
    constexpr auto up = NetworkPathStatus::satisfied;
    constexpr auto down = NetworkPathStatus::unsatisfied;
    for (const auto& [status, expected] : {std::pair(up, 2), {down, 2}, {up, 3}, {up, 3}}) {
        networkPath.update(status);
        settle();
        EXPECT_EQ(reads, expected);
    }
}

TEST_F(Refreshes, AreSilencedBySleepAndBeginAnewAfterIt) {
    sendReading(gives(allowanceOf("A1", 99)));
    state->refreshNow();
    powerEvents.handlers.willSleep();
    EXPECT_EQ(pass(125), Times()) << "not while asleep";
    EXPECT_EQ(fields().quota->used, 40);
    EXPECT_EQ(fields().tokens.lifetime, 9000);
    EXPECT_EQ(fields().status, Status::stale(startTime));
    powerEvents.handlers.didWake();
    settle();
    EXPECT_EQ(fields().quota->used, 99);
    EXPECT_EQ(launches, 2);
    EXPECT_EQ(pass(55), Times()) << "what was asked for before the sleep is done";
}

TEST_F(Refreshes, OfTheMachineAreForAFullViewThatIsSeen) {
    window.visible = false;
    showWindow();
    tickAfter(30);
    window.visible = true;
    window.minimised = true;
    tickAfter(30);
    window.minimised = false;
    state->toggleLayout();
    tickAfter(30);
    powerEvents.handlers.willSleep();
    state->toggleLayout();
    tickAfter(30);
    machine.volumes = 3;
    powerEvents.handlers.didWake();
    waitUntil([&] { return fields().volumes.size() == 3; });
    EXPECT_EQ(fields().memoryPercent, 1) << "this is the first time";
    for (const int sample : {1, 2, 3, 4, 5, 6}) { // half a minute; a tick is early or late
        waitUntil([&] { return fields().memoryPercent == sample; });
        EXPECT_EQ(machine.listings, 1);
        tickAfter(sample % 2 == 1 ? 4.99 : 5.01);
    }
    waitUntil([&] { return fields().memoryPercent == 7 && machine.listings == 2; });
    state->refreshNow();
    waitUntil([&] { return fields().memoryPercent == 8 && machine.listings == 3; });
    EXPECT_EQ(fields().cpuPercent, 50);
}

using Readings = StateTest;

TEST_F(Readings, OutliveAFailureUnlessTheAccountIsInQuestion) {
    using Issue = ConnectionIssue;
    const std::set losing{Issue::signedOut, Issue::authentication, Issue::externalSession,
                          Issue::unsupportedAccount};
    for (int i = 0; i <= static_cast<int>(Issue::invalidResponse); ++i) {
        const auto issue = static_cast<Issue>(i);
        SCOPED_TRACE(sentence(issue));
        const bool isLost = losing.contains(issue);
        account = signedIn;
        refresh();
        account = fails(issue);
        refresh();
        refresh(); // a new helper's own report of its account changes nothing
        EXPECT_EQ(fields().status, isLost ? Status::failed(issue) : Status::stale(now, issue));
        EXPECT_EQ(fields().quota && fields().tokens.lifetime, !isLost);
        EXPECT_EQ(fields().historyCount == 0, isLost);
    }
}

TEST_F(Readings, OfAnotherAccountReplaceEverything) {
    allowance = [this](FakeTransport&) {
        now = now + 2; // the answer takes a while
        return allowanceOf("A2", 7);
    };
    pass(60); // without activity, which is not due yet
    EXPECT_EQ(fields().quota->used, 7);
    EXPECT_EQ(fields().tokens, TokenActivity());
    ASSERT_EQ(fields().week.points.size(), 1U) << "not ahead of the clock on show";
    allowance = gives({{"accountId", "A2"}});
    refresh();
    EXPECT_EQ(fields().status, Status::Kind::withoutAllowance);
    EXPECT_FALSE(fields().quota);
    EXPECT_EQ(fields().historyCount, 0U);
}

TEST_F(Readings, ArePrunedAsTheyGrowOldWhetherOthersFollowOrNot) {
    const auto file = folder / "kept.json";
    const double longAgo = startTime - historyRetention;
    HistoryStore(file, now).record({40, longAgo}, accountHash("A1"), longAgo + 60);
    adjust = [&](auto& services) { services.historyStore = HistoryStore(file, now); };
    start();
    EXPECT_EQ(HistoryStore(file, startTime).samples().size(), 2U);
    state->setShowingInstaller(true); // no refresh
    tickAfter(3'600);
    EXPECT_EQ(HistoryStore(file, startTime).samples().size(), 1U);
}

TEST_F(Readings, OfTheActivityMayBeAbsentOrOld) {
    const Answer failure = fails(ConnectionIssue::throttled);
    for (const auto& [answer, told] : {
             std::pair(gives(Json::object()), TokenStatusText::notReported),
             {failure, TokenStatusText::unavailable},
             {gives(usageOf(9)), TokenStatusText::reported},
             {failure, TokenStatusText::stale},
         }) {
        usage = answer;
        refresh();
        EXPECT_EQ(fields().tokenStatus, told);
    }
    EXPECT_EQ(fields().tokens.lifetime, 9);
    EXPECT_EQ(fields().status, Status::live(now));
}

TEST_F(Readings, AreSpacedWhenAHelperAsksForTokensAtEachStart) {
    account = [](FakeTransport& asked) -> Json {
        asked.emit(ExternalRefreshRequested{});
        throw ConnectionIssue::externalSession;
    };
    start();
    settle(); // the first reload
    EXPECT_EQ(pass(460), (Times{15, 45, 105, 225}));
    EXPECT_EQ(launches, 6);
    EXPECT_THAT(statuses, ElementsAre(Status::Kind::findingCodex, Status::Kind::reloading,
                                      Status::failed(ConnectionIssue::externalSession)));
    state->reloadConnection(); // the user's own word
    EXPECT_EQ(fields().status, Status::Kind::reloading);
}

TEST_F(Readings, AreTakenAnewAtOnceAfterAChangeOfIdentityIfTheLastOneHasLasted) {
    const auto changeAccount = [&](const char* next) {
        allowance = gives(allowanceOf(next));
        helper->changeAccount();
        settle();
        return fields().status;
    };
    EXPECT_EQ(changeAccount("A2"), Status::live(now));
    EXPECT_EQ(launches, 2);
    EXPECT_EQ(changeAccount("A3"), Status::Kind::reloading) << "too soon after";
    EXPECT_FALSE(fields().quota);
    EXPECT_EQ(pass(75), (Times{15, 75}));
    EXPECT_EQ(launches, 3);
    EXPECT_EQ(fields().tokens.lifetime, 9000) << "the activity is due with the account";
    EXPECT_EQ(changeAccount("A4"), Status::live(now));
    EXPECT_EQ(launches, 4);
    EXPECT_EQ(fields().historyCount, 1U) << "of that account";

    sendReading([](FakeTransport& asked) {
        asked.emit(ExternalRefreshRequested{}); // too soon again
        return allowanceOf("A4", 99);
    });
    now = now + 1;
    settle();
    EXPECT_FALSE(fields().quota || fields().tokens.lifetime) << "of before the change";
    EXPECT_EQ(fields().status, Status::Kind::reloading);
}

TEST_F(Readings, OfARealHelperBecomeAStatus) {
    candidates = {SAMPLE_HELPER};
    adjust = [](auto& services) { services.transportFactory = codexBridgeFactory(); };
    now = systemNow(); // the helper has a clock of its own
    const auto live = Status::live(now);
    const std::pair<const char*, Status> scenarios[] = {
        {"default", live},
        {"old-helper", live},
        {"no-weekly-window", Status::Kind::withoutAllowance},
        {"signed-out", Status::failed(ConnectionIssue::signedOut)},
        {"needs-token-refresh", live},
        {"external-session", Status::failed(ConnectionIssue::externalSession)},
        {"api-key", Status::failed(ConnectionIssue::unsupportedAccount)},
        {"offline", Status::failed(ConnectionIssue::offline)},
    };
    for (const auto& [scenario, status] : scenarios) {
        setenv("TALLYWICK_SAMPLE", scenario, 1);
        start();
        EXPECT_EQ(fields().status, status) << scenario;
        EXPECT_EQ(fields().historyCount > 0, status == live) << scenario;
    }
}

struct FakeNotices : Notices {
    std::string shown;
    OnChosen chosen;
    void show(const Notice& notice, OnChosen onChosen) override {
        shown += notice.summary + ": " + notice.body + "\n";
        chosen = std::move(onChosen);
    }
};

class NoticesOfUsage : public StateTest {
  protected:
    NoticesOfUsage() {
        adjust = [this](UtilityState::Services& services) {
            services.notices.desktop = &notices;
            services.historyStore = HistoryStore(folder / "kept.json", now);
        };
        allowance = gives(allowanceOf("A1", 40, week));
        start();
        state->chooseUsageNotices(true);
    }
    /// What is shown when such a reading comes so many seconds later.
    std::string after(double seconds, int used, std::int64_t reset = 1,
                      const std::string& id = "A1") {
        now = now + seconds;
        allowance = gives(allowanceOf(id, used, week + reset));
        refresh();
        return std::exchange(notices.shown, {});
    }

    static constexpr std::int64_t day = 86'400;
    static constexpr auto week = static_cast<std::int64_t>(startTime) + 2 * day; ///< its end
    FakeNotices notices;
};

TEST_F(NoticesOfUsage, ComeOncePerCrossingAndWeekAndAtMostEachTenMinutes) {
    const std::string used = "% of the weekly Codex allowance is used";
    const std::string begun = "The week has begun anew: ";
    const struct {
        double after;
        int percent;
        std::int64_t reset;
        std::string id, shown;
    } rows[] = {
        {60, 85, 1, "A1", "85" + used + ": It resets in 1d 23h 59m.\n"},
        {60, 79, 1, "A1", ""},
        {60, 94, 1, "A1", ""}, // told already
        {60, 97, 1, "A1", ""}, // too soon
        {60, 98, 2, "A1", ""}, // the reset moves, as it does when it is counted from each reading
        {60, 98, 0, "A1", ""},
        {299, 98, 1, "A1", ""},
        {1, 99, 1, "A1", "97" + used},
        {60, 0, day, "A1", ""},
        {60, 80, day, "A1", ""}, // instead of the week that has begun
        {480, 80, day, "A1", "80" + used},
        {900, 96, -day, "A1", "96" + used}, // an answer of the week before
        {900, 2, day, "A1", ""},
        {60, 99, day, "B1", ""}, // begins as at a start
        {60, 0, 2 * day, "B1", begun},
        {60, 80, 2 * day, "B1", ""},
        {60, 80, day, "A1", ""}, // what waits is of another account
        {900, 80, day, "A1", ""},
        {-day, 81, 8 * day, "A1", ""}, // farther ahead than a week can be
        {day, 2, 2 * day, "A1", begun + "2% is used."},
        {-day, 95, 2 * day, "A1", ""}, // the ten minutes begin anew
        {600, 95, 2 * day, "A1", "95" + used},
        {day, 0, 4 * day, "A1", begun},
        {6 * day, 99, 4 * day, "A1", ""}, // its week is over
        {60, 0, 11 * day, "A1", begun},   // nothing was used
    };
    for (const auto& row : rows) {
        const std::string shown = after(row.after, row.percent, row.reset, row.id);
        EXPECT_THAT(shown, ::testing::StartsWith(row.shown)) << "row " << &row - rows;
        EXPECT_EQ(shown.empty(), row.shown.empty()) << shown << "row " << &row - rows;
    }
    for (int minute = 0; minute < 30; ++minute)
        EXPECT_EQ(after(60, 0, 11 * day + 60 * minute), "") << "of an unused week";
}

TEST_F(NoticesOfUsage, AreSilentAboutWhatIsOldAndNotWanted) {
    sendReading(gives(allowanceOf("A1", 85, week + 1)));
    now = now + 121;
    settle();
    EXPECT_EQ(notices.shown, "") << "stale";
    EXPECT_NE(after(0, 85), "");
    notices.chosen("token");
    showWindow();
    waitUntil([this] { return window.orders > 0; });

    EXPECT_EQ(after(60, 95), "");
    state->enterMaintenance();
    state->leaveMaintenance();
    EXPECT_EQ(after(600, 95), "") << "the notice that waited is dropped";
    EXPECT_NE(after(60, 0, day), "");
    EXPECT_EQ(after(60, 80, day), "");
    state->chooseUsageNotices(false);
    state->chooseUsageNotices(true);
    EXPECT_EQ(after(600, 80, day), "") << "and here too";
    allowance = gives(allowanceOf("A1", 70, week + day));
    start();
    EXPECT_EQ(after(60, 85, day), "") << "told before the start";
    EXPECT_NE(after(60, 95, day), "") << "the choice is kept";
    state->chooseUsageNotices(false);
    EXPECT_EQ(after(900, 0, 2 * day), "");
}

} // namespace
} // namespace tallywick::testing
