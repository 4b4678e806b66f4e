// What becomes of the readings when one fails, and when the account changes.

#include "StateHarness.h"

#include "codex/AccountAnswers.h"
#include "history/HistoryStore.h"

#include <set>

namespace tallywick::testing {
namespace {

using ::testing::ElementsAre;
using Times = std::vector<int>;

using Readings = StateTest;

TEST_F(Readings, OutliveAFailureUnlessTheAccountIsInQuestion) {
    start();
    const Answer signedIn = account.get();
    const std::set losing{ConnectionIssue::signedOut, ConnectionIssue::authentication,
                          ConnectionIssue::externalSession, ConnectionIssue::unsupportedAccount};
    for (int i = 0; i <= static_cast<int>(ConnectionIssue::invalidResponse); ++i) {
        const auto issue = static_cast<ConnectionIssue>(i);
        SCOPED_TRACE(sentence(issue));
        const bool isLost = losing.contains(issue);
        account = signedIn;
        refresh();
        account = fails(issue);
        refresh();
        refresh(); // a new helper's own report of its account changes nothing
        EXPECT_EQ(fields().status, isLost ? Status::failed(issue) : Status::stale(now, issue));
        EXPECT_EQ(fields().quota.has_value(), !isLost);
        EXPECT_EQ(fields().tokens.lifetime.has_value(), !isLost);
        EXPECT_EQ(fields().historyCount == 0, isLost);
    }
}

TEST_F(Readings, OfAnotherAccountReplaceEverything) {
    start();
    allowance = [this](FakeTransport& /*asking*/) {
        now = now + 2; // the answer takes a while
        return allowanceOf("A2", 7);
    };
    pass(60); // without activity, which is not due yet
    EXPECT_EQ(fields().quota->used, 7);
    EXPECT_EQ(fields().tokens, TokenActivity());
    EXPECT_EQ(fields().historyCount, 1U);
    ASSERT_EQ(fields().week.points.size(), 1U) << "not ahead of the clock on show";
    EXPECT_EQ(fields().week.points[0].location.y(), 1 - 0.07);

    allowance = gives({{"accountId", "A2"}});
    refresh();
    EXPECT_EQ(fields().status, Status::Kind::withoutAllowance);
    EXPECT_FALSE(fields().quota);
    EXPECT_EQ(fields().historyCount, 0U);
}

TEST_F(Readings, ArePrunedAsTheyGrowOld) {
    keepsHistory = true;
    HistoryStore before(folder / "history.json", now);
    before.record({40, startTime - historyRetention}, accountHash("A1"),
                  startTime - historyRetention + 60);
    const auto kept = [&] { return HistoryStore(folder / "history.json", now).samples().size(); };
    start();
    state->setShowingInstaller(true); // no refresh
    EXPECT_EQ(kept(), 2);
    tickAfter(3'600);
    now = startTime;
    EXPECT_EQ(kept(), 1);
}

TEST_F(Readings, OfTheActivityMayBeAbsentOrOld) {
    const Answer failure = fails(ConnectionIssue::throttled);
    const std::pair<Answer, std::string_view> steps[] = {
        {failure, TokenStatusText::unavailable},
        {gives(Json::object()), TokenStatusText::notReported},
        {gives(usageOf(9)), TokenStatusText::reported},
        {failure, TokenStatusText::stale}};
    usage = failure;
    start();
    for (const auto& [answer, told] : steps) {
        usage = answer;
        refresh();
        EXPECT_EQ(fields().tokenStatus, told);
    }
    EXPECT_EQ(fields().tokens.lifetime, 9);
    EXPECT_EQ(fields().status, Status::live(now));
}

TEST_F(Readings, AreSpacedWhenAHelperAsksForTokensAtEachStart) {
    account = [](FakeTransport& asking) -> Json {
        asking.emit(ExternalRefreshRequested{});
        throw ConnectionIssue::externalSession;
    };
    start();
    settle(); // the first reload
    pass(1100);
    EXPECT_EQ(takeRefreshes(), (Times{15, 45, 105, 225, 465, 765, 1065}));
    EXPECT_EQ(launches, 9);
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
    };
    start();
    changeAccount("A2");
    EXPECT_EQ(launches, 2);
    EXPECT_EQ(fields().status.text(), "LIVE · Synced 14:00");
    changeAccount("A3"); // too soon after
    EXPECT_EQ(fields().status, Status::Kind::reloading);
    EXPECT_FALSE(fields().quota);
    pass(75);
    EXPECT_EQ(takeRefreshes(), (Times{15, 75}));
    EXPECT_EQ(launches, 3);
    EXPECT_EQ(fields().tokens.lifetime, 9000) << "the activity is due with the account";
    changeAccount("A4");
    EXPECT_EQ(launches, 4);
    EXPECT_EQ(fields().historyCount, 1U) << "of that account";
}

TEST_F(Readings, FromBeforeAChangeOfIdentityAreNotShown) {
    start();
    helper->changeAccount(); // so that the next one waits
    settle();
    std::promise<void> read;
    allowance = [](FakeTransport& asking) {
        asking.emit(ExternalRefreshRequested{});
        return allowanceOf("A1", 99);
    };
    usage = [&](FakeTransport&) {
        read.set_value();
        return usageOf(99);
    };
    beginRefresh();
    read.get_future().wait(); // both are on their way
    now = now + 1;
    settle();
    EXPECT_FALSE(fields().quota || fields().tokens.lifetime);
    EXPECT_EQ(fields().status, Status::Kind::reloading);
}

} // namespace
} // namespace tallywick::testing
