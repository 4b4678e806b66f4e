#include "codex/AccountService.h"

#include "codex/AccountAnswers.h"
#include "codex/FakeTransport.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <vector>

namespace tallywick::testing {
namespace {

using ::testing::ContainsRegex;
using ::testing::EndsWith;
using ::testing::Not;
using Candidates = AccountService::Candidates;
using Helpers = std::deque<FakeHelper>;
using Mode = std::optional<std::string>;

Json json(std::string_view text) { return parseJson(text).value(); }

const Json account = json(R"({"account":{"type":"chatgpt","email":"Me@Example.com"}})");
const Json nobody = json(R"({"account":null,"requiresOpenaiAuth":true})");
const Json login = json(R"({"loginId":"L1","authUrl":"https://auth.openai.com/x"})");
const Json allowance = json(R"({"accountId":"A1","workspaceId":"W9","rateLimits":{"primary":{
    "windowDurationMins":10080,"usedPercent":40,"resetsAt":1800000000}}})");

FakeHelper signedIn(const Mode& mode = "chatgpt") {
    return {mode,
            {{"account/read", {gives(account)}},
             {"account/rateLimits/read", {gives(allowance)}},
             {"account/usage/read", {gives(json(R"({"summary":{"lifetimeTokens":9}})"))}},
             {"account/login/start", {gives(login)}}}};
}
FakeHelper signedOut(const Mode& mode = {}) {
    return signedIn(mode).with("account/read", {gives(nobody)});
}
Answer refuses(std::optional<std::int64_t> code, const std::string& message = "") {
    return fails(BridgeFailure::rpcError(code, message));
}
Answer givesAfterChange(const Json& result) {
    return [result](FakeTransport& transport) {
        transport.changeAccount();
        return result;
    };
}
const Answer timesOut = fails(BridgeFailure::timeout());

// What is asked for one reading of the account; a fresh helper's own report has it read twice.
const std::string again = "read, rateLimits/read, ";
const std::string fresh = "launch one, read, " + again;
const std::string live = "40%, end 7";

/// A service among fake helpers, and all that happens: what is asked of them, what is told.
struct Harness {
    Transcript transcript;
    Helpers helpers; ///< started in this order
    std::vector<std::shared_ptr<FakeTransport>> launched;
    std::atomic<double> now = 1000;
    std::function<void()> onClock = [] {}; ///< whenever the service asks for the time
    ConnectionDetails details;
    bool tellsStages = false;
    const std::chrono::milliseconds startLimit;
    std::promise<void> atRest;
    /// Shared with the service and with each start that is under way.
    std::shared_ptr<void> use{this, [](Harness* harness) { harness->atRest.set_value(); }};
    std::shared_ptr<AccountService> service = AccountService::create({
        .launcher = std::make_shared<HelperLauncher>(
            [this, use = use](const std::filesystem::path& executable, const auto& onEvent) {
                if (executable.empty())
                    throw std::runtime_error("only drained");
                const FakeHelper helper = helpers.at(0);
                helpers.pop_front();
                return launched.emplace_back(
                    std::make_shared<FakeTransport>(executable, helper, transcript, onEvent));
            },
            startLimit),
        .clock =
            [this] {
                onClock();
                return now.load();
            },
        .homeFolder = "/home/me",
        .onDetails =
            [this](const ConnectionDetails& changed) {
                details = changed;
                if (tellsStages)
                    transcript.add("at ", details.stage);
            },
        .onIdentityChange = [this] { transcript.add("identity change"); },
    });

    explicit Harness(Helpers scripts, std::chrono::milliseconds limit = HelperLauncher::usualLimit)
        : helpers(std::move(scripts)), startLimit(limit) {}
    ~Harness() {
        service->stop();
        drain();
        service.reset();
        use.reset();
        atRest.get_future().wait(); // also for starts that were given up
    }

    void refresh(const Candidates& candidates = {"one"}, bool includeActivity = false) {
        AccountService::RefreshCallbacks callbacks;
        callbacks.onSnapshot = [this](auto, const AccountService::SnapshotOutcome& outcome) {
            if (!outcome)
                return transcript.add(rawValue(outcome.error()));
            EXPECT_EQ(outcome->observedAt, now);
            transcript.add(outcome->quota ? outcome->quota->used : -1, "%",
                           whose(outcome->accountHash));
        };
        callbacks.onActivity = [this](auto, const auto& hash, const auto& activity) {
            transcript.add(activity ? activity->lifetime.value_or(0) : -1, " tokens", whose(hash));
        };
        callbacks.onFinished = [this](std::int64_t token) { transcript.add("end ", token); };
        service->refresh(candidates, 7, includeActivity, callbacks);
    }
    void startLogin() {
        service->startLogin(
            {"one"},
            [this](const auto& link) { transcript.add(link ? *link : rawValue(link.error())); },
            [this](bool success) { transcript.add(success ? "signed in" : "not signed in"); });
    }
    /// Waits until all that was asked for is over. A stopped service drops the last task instead of
    /// running it, which breaks the promise and ends the wait just as well.
    void drain() {
        auto over = std::make_shared<std::promise<void>>();
        std::future<void> wait = over->get_future();
        service->validate({}, [over = std::move(over)](bool) {});
        wait.wait();
    }
    std::string take() {
        drain();
        drain(); // an event in mid-request is handled behind the first
        return transcript.take();
    }

  private:
    /// Nothing for the usual account.
    static std::string whose(const std::optional<std::string>& hash) {
        return hash == accountHash("A1|workspace:W9") ? "" : " of " + hash.value_or("nobody");
    }
};

/// Polls every 299 seconds, compares all that happens, and gives what is known in the end.
ConnectionDetails play(const std::string& expected, const Helpers& helpers, int polls = 1,
                       const Candidates& candidates = {"one"}) {
    Harness harness(helpers);
    for (; polls > 0; --polls) {
        harness.refresh(candidates);
        harness.drain();
        harness.now = harness.now + 299;
    }
    EXPECT_EQ(harness.take(), expected);
    EXPECT_TRUE(harness.helpers.empty()) << "a helper was not started: " << expected;
    return harness.details;
}

TEST(AccountService, IsNotHeldUpByAHelperThatDoesNotStart) {
    using namespace std::chrono_literals;
    for (const bool superseded : {false, true}) {
        std::promise<void> share, began, closed;
        const Answer hanging = [&](FakeTransport&) -> Json {
            began.set_value();
            share.get_future().wait();
            return {};
        };
        Harness harness({signedIn().with("launch", {hanging}), signedIn()},
                        superseded ? std::chrono::milliseconds(24h) : 1s);
        harness.transcript.react = [&](const std::string& step) {
            if (step == "close one" && !harness.helpers.empty() == superseded)
                closed.set_value();
        };
        harness.refresh({"one", "two"});
        if (superseded) {
            began.get_future().wait();
            harness.service->reset();
        }
        EXPECT_EQ(harness.take(),
                  superseded ? "launch one" : "launch one, launch two, read, " + again + live);
        share.set_value();
        closed.get_future().wait(); // what has come too late
    }
}

TEST(AccountService, KeepsItsHelperWhileItIsOfUse) {
    play(fresh + live + ", " + again + live, {signedIn()}, 2);
    play(fresh + "throttled, end 7, " + again + live,
         {signedIn().with("account/rateLimits/read", {refuses(429), gives(allowance)})}, 2);
    // What the next one reports first is no change of account.
    for (const auto& [failure, issue] : {std::pair(timesOut, "timeout"),
                                         {fails(BridgeFailure::closed()), "stopped"},
                                         {refuses(-32601), "incompatible"},
                                         {refuses(500), "invalidResponse"}})
        play(fresh + live + ", " + again + "close one, " + issue + ", end 7, " + fresh + live,
             {signedIn().with("account/rateLimits/read", {gives(allowance), failure}), signedIn()},
             3);

    // At most three are tried, and the last failure counts.
    const Candidates four = {"one", "two", "three", "four"};
    const auto broken = signedIn().with("initialize", {timesOut});
    const auto missing = signedIn().with("launch", {fails(std::runtime_error("no such file"))});
    const auto offline = signedIn().with("initialize", {refuses({}, "dns")});
    play("launch one, close one, launch two, launch three, read, " + again + live,
         {broken, missing, signedIn()}, 1, four);
    play("launch one, close one, launch two, launch three, close three, offline, end 7",
         {broken, missing, offline}, 1, four);
    play("missingHelper, end 7", {}, 1, {});
}

TEST(AccountService, ReadsOneAccountAtATime) {
    // Wherever the helper's own report comes, and when it makes none.
    play("launch one, " + again + live, {signedIn({})});
    play("launch one, " + again + live, {signedIn().reportingBefore("initialize")});
    play("launch one, " + again + again + live,
         {signedIn().reportingBefore("account/rateLimits/read")});
    const Answer crossed = givesAfterChange(account);
    play("launch one, read, read, " + again + live,
         {signedIn().with("account/read", {crossed, crossed, gives(account)})});
    play("launch one, read, read, read, close one, stopped, end 7",
         {signedIn().with("account/read", {crossed})});
    play("launch one, " + again + again + again + "close one, stopped, end 7",
         {signedIn({}).with("account/rateLimits/read", {givesAfterChange(allowance)})});
    // A refusal may be of the account before, the end of a helper is of none.
    play(fresh + live, {signedIn().with("account/read", {gives(nobody), gives(account)})});
    play("launch one, read, close one, timeout, end 7",
         {signedIn().with("account/read", {timesOut})});

    const auto noWeek = play(fresh + "-1% of " + accountHash("me@example.com") + ", end 7",
                             {signedIn().with("account/rateLimits/read", {gives(json("[1]"))})});
    EXPECT_EQ(noWeek.category, "weekly allowance unavailable");
}

TEST(AccountService, DeliversNoReadingThatAReportHasOvertaken) {
    // The report is counted between the last answer and the delivery; its event comes later.
    const Answer gets = gives(allowance);
    const Answer getsBehindTheEvent = [](FakeTransport& helper) {
        helper.emit(AccountChanged{"chatgpt"});
        return allowance;
    };
    Harness harness({signedIn().with("account/rateLimits/read",
                                     {gets, getsBehindTheEvent, gets, getsBehindTheEvent, gets})});
    bool overtakes = true;
    harness.onClock = [&] {
        if (std::exchange(overtakes, false))
            harness.launched.at(0)->countReport();
    };
    harness.refresh();
    EXPECT_EQ(harness.take(), fresh + again + live) << "nothing was published that it could end";
    overtakes = true;
    harness.refresh();
    EXPECT_EQ(harness.take(), again + again + "identity change, " + live);
    harness.launched.at(0)->changeAccount();
    EXPECT_EQ(harness.take(), "identity change");
}

TEST(AccountService, RecoversAnExpiredSessionOnce) {
    const auto expired = [](const Mode& mode) {
        return signedIn(mode).with("account/rateLimits/read", {refuses(401), gives(allowance)});
    };
    // A fresh helper reads the saved sign-in; even when the handshake was refused.
    EXPECT_EQ(
        play("launch one, read, close one, " + fresh + live, {signedOut(), signedIn()}).recovery,
        "recovered; five-minute cooldown");
    play("launch one, close one, " + fresh + live,
         {signedIn().with("initialize", {refuses(401)}), signedIn()});

    // Then the token is refreshed, once, when Codex itself manages the session. A fresh helper that
    // reports no mode has that of the old one.
    const std::string reload = fresh + "close one, " + fresh;
    play(reload + "read refreshing, rateLimits/read, " + live,
         {expired("chatgpt"), expired("chatgpt")});
    play(fresh + "close one, launch one, " + again + "read refreshing, rateLimits/read, " + live,
         {expired("chatgpt"), expired({})});
    const auto refused =
        signedIn().with("account/read", {refuses(401), refuses(401), givesAfterChange(account)});
    play("launch one, read, read, close one, launch one, read, read, read refreshing, read, read, "
         "close one, stopped, end 7",
         {refused, refused});
    play(reload + "authentication, end 7", {expired("chatgpt"), expired("apikey")});
    play("launch one, read, close one, launch one, read, read, offline, end 7",
         {signedOut(), signedIn().with("account/read", {refuses({}, "network")})});
    const auto refreshed = play(fresh
                                    + "close one, launch one, read, read refreshing, signedOut, "
                                      "end 7",
                                {expired("chatgpt"), signedOut()});
    EXPECT_EQ(refreshed.recovery, "one managed-session refresh");
    play("launch one, read, read, externalSession, end 7", {signedOut("chatgptAuthTokens")});

    const auto tooSoon = play("launch one, read, close one, launch one, read, signedOut, end 7, "
                              "read, signedOut, end 7",
                              {signedOut(), signedOut()}, 2);
    EXPECT_EQ(tooSoon.recovery, "five-minute cooldown");
}

TEST(AccountService, ReadsTokenActivityOfAnUnchangedAccount) {
    const Json reordered = json(R"({"account":{"email":"Me@Example.com","type":"chatgpt"},"x":1})");
    const auto play = [](const std::string& expected, const std::string& tokens, const char* method,
                         const std::deque<Answer>& answers) {
        Harness harness({signedIn().reportingBefore("initialize").with(method, answers)});
        harness.refresh({"one"}, true);
        EXPECT_EQ(harness.take(),
                  "launch one, " + again + "40%, usage/read, " + expected + ", end 7");
        EXPECT_EQ(harness.details.tokens, tokens) << expected;
    };
    play("read, 9 tokens", "received", "account/read", {gives(account), gives(reordered)});
    play("read, 0 tokens", "not reported", "account/usage/read", {gives(Json::object())});
    play("-1 tokens", "unavailable (incompatible)", "account/usage/read", {refuses(-32601)});
    // Crossed by a change, of which the helper tells by itself.
    play("identity change, -1 tokens", "unavailable (stopped)", "account/usage/read",
         {givesAfterChange(Json::object())});
    for (const Json& other : {json(R"({"account":{"type":"chatgpt"}})"), nobody})
        play("read, identity change, -1 tokens", "unavailable (stopped)", "account/read",
             {gives(account), gives(other)});
}

TEST(AccountService, TellsOfAnotherIdentityOnce) {
    const auto dying = signedIn().with("account/read", {gives(account), gives(account), timesOut});
    Harness harness({signedIn(), dying, signedIn()});
    harness.refresh();
    EXPECT_THAT(harness.take(), EndsWith(live));
    harness.launched.at(0)->changeAccount();
    harness.launched.at(0)->changeAccount();
    EXPECT_EQ(harness.take(), "identity change") << "once for each snapshot";
    harness.launched.at(0)->emit(ExternalRefreshRequested{});
    EXPECT_EQ(harness.take(), "identity change");
    harness.service->reset();
    for (const std::size_t former : {0U, 1U}) {
        harness.refresh(); // fails behind the second, which is given up
        if (former == 1)
            harness.refresh();
        EXPECT_THAT(harness.take(), EndsWith(fresh + live));
        harness.launched.at(former)->changeAccount();
        harness.launched.at(former)->emit(ExternalRefreshRequested{});
        EXPECT_EQ(harness.take(), "") << "nobody listens to a helper of before";
    }
}

// Superseded at each step of a poll in turn, from within that step.
TEST(AccountService, SaysNothingMoreOnceItIsResetOrStopped) {
    const int steps = 16;
    for (int round = 0; round < 2 * steps; ++round) {
        SCOPED_TRACE(round);
        const bool stops = round >= steps;
        Harness harness({signedIn(), signedIn()});
        harness.tellsStages = true;
        std::atomic<int> step = 0;
        harness.transcript.react = [&](const std::string&) {
            if (step++ != round % steps)
                return;
            harness.transcript.take();
            stops ? harness.service->stop() : harness.service->reset();
            EXPECT_EQ(harness.transcript.take(), round % steps > 1 ? "close one" : "")
                << "a helper may hang";
        };
        harness.refresh({"one"}, true);
        EXPECT_THAT(harness.take(), Not(ContainsRegex("at |%|tokens|stopped|end")));
        EXPECT_GT(step, round % steps);
        harness.refresh();
        EXPECT_EQ(harness.take().find("end 7") != std::string::npos, !stops);
    }
}

TEST(AccountService, SignsInThroughTheBrowser) {
    // The helper tells of the end before its answer to the start has been looked at.
    const Answer quick = [](FakeTransport& transport) {
        transport.emit(LoginCompleted{"L1", false});
        return login;
    };
    const Answer crossed = givesAfterChange(login); // which is nothing to a sign-in
    Harness harness({signedIn().with("account/login/start", {quick, crossed})});
    harness.startLogin();
    EXPECT_EQ(harness.take(), "launch one, login/start, https://auth.openai.com/x, not signed in");
    EXPECT_EQ(harness.details.category, "waiting for user");

    harness.startLogin();
    harness.startLogin();
    EXPECT_EQ(harness.take(), "login/start, https://auth.openai.com/x")
        << "the second does nothing";
    for (const auto& event : {LoginCompleted{"L2", false}, {"L1", true}, {"L1", false}})
        harness.launched.at(0)->emit(event);
    EXPECT_EQ(harness.take(), "signed in");
}

TEST(AccountService, RefusesASignInItCannotTrust) {
    const auto start = [](const Answer& answer) {
        Harness harness({signedIn().with("account/login/start", {answer})});
        harness.startLogin();
        return harness.take();
    };
    EXPECT_EQ(start(refuses(429)), "launch one, login/start, throttled");
    EXPECT_EQ(start(timesOut), "launch one, login/start, close one, timeout");
    EXPECT_EQ(start(gives({{"loginId", "L"}})),
              "launch one, login/start, close one, invalidResponse");
}

TEST(AccountService, ASignInEndsWithItsHelper) {
    const std::function<void(Harness&)> ends[] = {
        [](Harness& harness) { harness.service->cancelLogin(); },
        [](Harness& harness) { harness.service->reset(); },
        [](Harness& harness) { harness.refresh(); }, // which fails and gives the helper up
    };
    for (const auto& end : ends) {
        const auto dying = signedIn().with("account/read", {fails(BridgeFailure::closed())});
        Harness harness({dying, signedIn()});
        harness.startLogin();
        harness.drain();
        end(harness);
        harness.startLogin();
        EXPECT_THAT(harness.take(), EndsWith("launch one, login/start, https://auth.openai.com/x"));
        harness.launched.at(0)->emit(LoginCompleted{"L1", true});
        EXPECT_EQ(harness.take(), "");
        harness.launched.at(1)->emit(LoginCompleted{"L1", true});
        EXPECT_EQ(harness.take(), "signed in");
    }
}

TEST(AccountService, ValidatesAHelperBesideThePollingOne) {
    const auto useless = signedIn().with("initialize", {timesOut});
    Harness harness({signedIn(), signedIn(), useless});
    harness.refresh();
    for (const char* name : {"good", "useless"})
        harness.service->validate(
            name, [&](bool valid) { harness.transcript.add(valid ? "valid" : "not valid"); });
    EXPECT_THAT(harness.take(), EndsWith("end 7, launch good, close good, valid, "
                                         "launch useless, close useless, not valid"));
    harness.launched.at(1)->emit(ExternalRefreshRequested{});
    harness.refresh();
    EXPECT_EQ(harness.take(), again + live) << "the polling one stays";
}

} // namespace
} // namespace tallywick::testing
