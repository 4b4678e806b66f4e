#include "codex/AccountService.h"

#include "codex/AccountAnswers.h"
#include "codex/FakeTransport.h"

#include <gmock/gmock.h>

#include <semaphore>
#include <stdexcept>
#include <vector>

namespace tallywick::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::ContainsRegex;
using ::testing::EndsWith;
using ::testing::Not;
using Candidates = AccountService::Candidates;
using Helpers = std::deque<FakeHelper>;
using Mode = std::optional<std::string>;

const Json account{{"type", "chatgpt"}, {"email", "Me@Example.com"}};
const Json isAccount{{"account", account}};
const Json isNobody{{"account", nullptr}, {"requiresOpenaiAuth", true}};
const Json week{{"windowDurationMins", 10080}, {"usedPercent", 40}, {"resetsAt", 1'800'000'000}};
const Json allowance{
    {"accountId", "A1"}, {"workspaceId", "W9"}, {"rateLimits", {{"primary", week}}}};
const std::string hash = accountHash("A1|workspace:W9");
const Json login{{"loginId", "L1"}, {"authUrl", "https://auth.openai.com/x"}};

const std::string read = "account/read";
const std::string readLimits = "account/rateLimits/read";
const std::string readUsage = "account/usage/read";
const std::string loginStart = "account/login/start";

FakeHelper signedIn(const Mode& mode = "chatgpt") {
    return {mode,
            {{read, {gives(isAccount)}},
             {readLimits, {gives(allowance)}},
             {readUsage, {gives({{"summary", {{"lifetimeTokens", 9}}}})}},
             {loginStart, {gives(login)}}}};
}
FakeHelper signedOut(const Mode& mode = {}) { return signedIn(mode).with(read, {gives(isNobody)}); }
Answer refuses(std::optional<std::int64_t> code, const std::string& message = "") {
    return fails(BridgeFailure::rpcError(code, message));
}
/// The helper reports its account, then answers.
Answer reportsAndGives(const Json& result) {
    return [result](FakeTransport& transport) {
        transport.changeAccount();
        return result;
    };
}
const Answer timesOut = fails(BridgeFailure::timeout());

// What is asked for one reading of the account; a fresh helper's own report has it read twice.
const std::string again = "read, rateLimits/read, ";
const std::string fresh = "launch one, read, " + again;
const std::string live = "40%, usage/read, read, 9 tokens, end 7";

/// A service among fake helpers, and all that happens: what is asked of them, what is told.
struct Harness {
    Transcript transcript;
    Helpers helpers; ///< started in this order
    std::vector<std::shared_ptr<FakeTransport>> launched;
    std::atomic<double> now = 1000;
    std::function<void()> onClock = [] {}; ///< whenever the service asks for the time
    std::function<void()> onDetails = [] {};
    ConnectionDetails details;
    std::promise<void> atRest;
    /// Shared with the service and with each start that is under way.
    std::shared_ptr<void> use{this, [](Harness* harness) { harness->atRest.set_value(); }};
    std::shared_ptr<AccountService> service;

    explicit Harness(Helpers scripts, std::chrono::milliseconds limit = HelperLauncher::usualLimit)
        : helpers(std::move(scripts)) {
        const auto launch = [this, use = use](const std::filesystem::path& executable,
                                              const auto& onEvent) {
            if (executable.empty())
                throw std::runtime_error("only drained");
            const FakeHelper helper = helpers.at(0);
            helpers.pop_front();
            return launched.emplace_back(
                std::make_shared<FakeTransport>(executable, helper, transcript, onEvent));
        };
        service = AccountService::create({
            .launcher = std::make_shared<HelperLauncher>(launch, limit),
            .clock = [this] { return onClock(), now.load(); },
            .homeFolder = "/home/me",
            .onDetails = [this](const auto& changed) { details = changed, onDetails(); },
            .onIdentityChange = [this] { transcript.add("identity change"); },
        });
    }
    ~Harness() {
        service->stop();
        drain();
        service.reset();
        use.reset();
        atRest.get_future().wait(); // also for starts that were given up
    }

    void refresh(const Candidates& candidates = {"one"}) {
        const auto tell = [this](const auto& outcome, const auto& figure, const char* unit) {
            outcome ? transcript.add(figure(*outcome), unit)
                    : transcript.add(rawValue(outcome.error()));
        };
        AccountService::RefreshCallbacks callbacks;
        callbacks.onSnapshot = [=, this](auto, const AccountService::SnapshotOutcome& outcome) {
            EXPECT_TRUE(!outcome || (outcome->observedAt == now && outcome->accountHash == hash));
            tell(
                outcome, [](const auto& snapshot) { return snapshot.quota->used; }, "%");
        };
        callbacks.onActivity = [=](auto, const auto& accountHash, const auto& outcome) {
            EXPECT_EQ(accountHash, hash);
            tell(
                outcome, [](const auto& found) { return found.lifetime.value_or(0); }, " tokens");
        };
        callbacks.onFinished = [this](std::int64_t token) { transcript.add("end ", token); };
        service->refresh(candidates, 7, true, callbacks);
    }
    void validate(const char* executable) {
        service->validate(executable,
                          [this](bool valid) { transcript.add(valid ? "valid" : "not valid"); });
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
    std::promise<void> share;
    const auto answered = share.get_future().share();
    std::counting_semaphore<> began{0}, closed{0};
    const Answer hangs = [&](FakeTransport&) { return began.release(), answered.wait(), Json(); };
    const auto hanging = signedIn().with("launch", {hangs});
    Harness superseded({hanging}, 24h);
    superseded.refresh();
    began.acquire();
    superseded.service->reset();
    EXPECT_EQ(superseded.take(), "launch one");

    Harness harness({hanging, signedIn(), signedIn()}, 1s);
    harness.transcript.react = [&](const std::string& step) {
        closed.release(step == "close one");
    };
    harness.refresh({"one", "two"});
    harness.validate("one");
    EXPECT_EQ(harness.take(), "launch one, launch two, read, " + again + live + ", not valid")
        << "touched a second time";
    share.set_value();
    closed.acquire(); // what comes late
    harness.validate("one");
    EXPECT_EQ(harness.take(), "close one, launch one, close one, valid");
}

TEST(AccountService, KeepsItsHelperWhileItIsOfUse) {
    play(fresh + live + ", " + again + live, {signedIn()}, 2);
    play(fresh + "throttled, end 7, " + again + live,
         {signedIn().with(readLimits, {refuses(429), gives(allowance)})}, 2);
    // What the next one reports first is no change of account.
    for (const auto& [failure, issue] : {std::pair(timesOut, "timeout"),
                                         {fails(BridgeFailure::closed()), "stopped"},
                                         {refuses(-32601), "incompatible"},
                                         {refuses(500), "invalidResponse"}})
        play(fresh + live + ", " + again + "close one, " + issue + ", end 7, " + fresh + live,
             {signedIn().with(readLimits, {gives(allowance), failure}), signedIn()}, 3);

    // At most three are tried, and the last failure counts.
    play("launch one, close one, launch two, launch three, close three, offline, end 7",
         {signedIn().with("initialize", {timesOut}),
          signedIn().with("launch", {fails(std::runtime_error("no such file"))}),
          signedIn().with("initialize", {refuses({}, "dns")})},
         1, {"one", "two", "three", "four"});
    play("missingHelper, end 7", {}, 1, {});
}

TEST(AccountService, ReadsOneAccountAtATime) {
    play("launch one, " + again + live, {signedIn({})});
    play("launch one, read, read, read, close one, stopped, end 7",
         {signedIn().with(read, {reportsAndGives(isAccount)})});
    play("launch one, " + again + again + again + "close one, stopped, end 7",
         {signedIn({}).with(readLimits, {reportsAndGives(allowance)})});
    // A refusal may be of the account before, the end of a helper is of none.
    play(fresh + live, {signedIn().with(read, {gives(isNobody), gives(isAccount)})});
    play("launch one, read, close one, timeout, end 7", {signedIn().with(read, {timesOut})});
}

TEST(AccountService, RecoversAnExpiredSessionOnce) {
    const auto expired = [](const Mode& mode) {
        return signedIn(mode).with(readLimits, {refuses(401), gives(allowance)});
    };
    // A fresh helper reads the saved sign-in; even when the handshake was refused.
    EXPECT_EQ(
        play("launch one, read, close one, " + fresh + live, {signedOut(), signedIn()}).recovery,
        "recovered; five-minute cooldown");
    play("launch one, close one, " + fresh + live,
         {signedIn().with("initialize", {refuses(401)}), signedIn()});

    // Then the token is refreshed, once, when Codex itself manages the session. A fresh helper that
    // reports no mode has that of the old one.
    play(fresh + "close one, launch one, " + again + "read refreshing, rateLimits/read, " + live,
         {expired("chatgpt"), expired({})});
    const auto refused =
        signedIn().with(read, {refuses(401), refuses(401), reportsAndGives(isAccount)});
    const auto refreshed = play("launch one, read, read, close one, launch one, read, read, "
                                "read refreshing, read, read, close one, stopped, end 7",
                                {refused, refused});
    EXPECT_EQ(refreshed.recovery, "one managed-session refresh");
    play(fresh + "close one, " + fresh + "authentication, end 7",
         {expired("chatgpt"), expired("apikey")});
    play("launch one, read, close one, launch one, read, read, offline, end 7",
         {signedOut(), signedIn().with(read, {refuses({}, "network")})});
    play("launch one, read, read, externalSession, end 7", {signedOut("chatgptAuthTokens")});

    const auto tooSoon = play("launch one, read, close one, launch one, read, signedOut, end 7, "
                              "read, signedOut, end 7",
                              {signedOut(), signedOut()}, 2);
    EXPECT_EQ(tooSoon.recovery, "five-minute cooldown");
}

TEST(AccountService, ReadsTokenActivityOfAnUnchangedAccount) {
    const Json another{{"account", {{"type", "chatgpt"}}}};
    const std::string changed = "identity change, stopped";
    const struct {
        std::string method;
        std::deque<Answer> answers;
        std::string outcome;
        std::string details;
    } rows[] = {
        {readUsage, {gives({{"summary", {{"lifetimeTokens", 9}}}})}, "read, 9 tokens", "received"},
        {readUsage, {gives(Json::object())}, "read, 0 tokens", "not reported"},
        {readUsage, {refuses(-32601)}, "incompatible", "unavailable (incompatible)"},
        // Crossed by a change, of which the helper tells by itself.
        {readUsage, {reportsAndGives(Json::object())}, changed, "unavailable (stopped)"},
        {read, {gives(isAccount), gives(another)}, "read, " + changed, "unavailable (stopped)"},
    };
    for (const auto& [method, answers, outcome, details] : rows)
        EXPECT_EQ(play("launch one, " + again + "40%, usage/read, " + outcome + ", end 7",
                       {signedIn({}).with(method, answers)})
                      .tokens,
                  details);
}

TEST(AccountService, TellsOfAnotherIdentityOnce) {
    const Answer gets = gives(allowance);
    const Answer getsBehindTheEvent = [](FakeTransport& helper) {
        helper.emit(AccountChanged{"chatgpt"});
        return allowance;
    };
    const Answer lives = gives(isAccount);
    const auto dying = signedIn().with(read, {lives, lives, lives, timesOut});
    Harness harness(
        {signedIn().with(readLimits, {gets, getsBehindTheEvent, gets, getsBehindTheEvent, gets}),
         dying, signedIn()});
    // A report is counted between the last answer and the delivery; its event comes later.
    bool overtakes = false;
    harness.onClock = [&] {
        if (std::exchange(overtakes, false))
            harness.launched.at(0)->countReport();
    };
    for (const std::string& steps : {fresh + again, again + again + "identity change, "}) {
        overtakes = true;
        harness.refresh();
        EXPECT_EQ(harness.take(), steps + live) << "only what was published can end";
    }
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
        harness.onDetails = [&] { harness.transcript.add("at ", harness.details.stage); };
        std::atomic<int> step = 0;
        std::binary_semaphore superseded{0};
        harness.transcript.react = [&](const std::string&) {
            if (step++ != round % steps)
                return;
            harness.transcript.take();
            stops ? harness.service->stop() : harness.service->reset();
            EXPECT_EQ(harness.transcript.take(), round % steps > 1 ? "close one" : "")
                << "a helper may hang";
            superseded.release();
        };
        harness.refresh();
        EXPECT_THAT(harness.take(), Not(ContainsRegex("at |%|tokens|stopped|end")));
        ASSERT_GT(step, round % steps);
        superseded.acquire(); // by a start that nobody waits for any more
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
    const Answer crossed = reportsAndGives(login); // which is nothing to a sign-in
    const Answer untrusted = gives({{"loginId", "L"}});
    Harness harness({signedIn().with(loginStart, {quick, crossed, refuses(429), untrusted})});
    harness.startLogin();
    EXPECT_EQ(harness.take(), "launch one, login/start, https://auth.openai.com/x, not signed in");

    harness.startLogin();
    harness.startLogin();
    EXPECT_EQ(harness.take(), "login/start, https://auth.openai.com/x")
        << "the second does nothing";
    for (const auto& event : {LoginCompleted{"L2", false}, {"L1", true}, {"L1", false}})
        harness.launched.at(0)->emit(event);
    EXPECT_EQ(harness.take(), "signed in");

    harness.startLogin();
    harness.startLogin();
    EXPECT_EQ(harness.take(), "login/start, throttled, login/start, close one, invalidResponse");
}

TEST(AccountService, ASignInEndsWithItsHelper) {
    const std::function<void(Harness&)> ends[] = {
        [](Harness& harness) { harness.service->cancelLogin(); },
        [](Harness& harness) { harness.service->reset(); },
        [](Harness& harness) { harness.refresh(); }, // which fails and gives the helper up
    };
    for (const auto& end : ends) {
        Harness harness({signedIn().with(read, {timesOut}), signedIn()});
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
    Harness harness({signedIn(), signedIn(), signedIn().with("initialize", {timesOut})});
    harness.refresh();
    harness.validate("good");
    harness.validate("useless");
    EXPECT_THAT(harness.take(), EndsWith("end 7, launch good, close good, valid, "
                                         "launch useless, close useless, not valid"));
    harness.launched.at(1)->emit(ExternalRefreshRequested{});
    harness.refresh();
    EXPECT_EQ(harness.take(), again + live) << "the polling one stays";
}

} // namespace
} // namespace tallywick::testing
