#include "codex/AccountService.h"

#include "codex/AccountIdentity.h"
#include "codex/FakeTransport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <vector>

namespace tallywick::testing {
namespace {

using Outcome = AccountService::SnapshotOutcome;

Json json(std::string_view text) { return parseJson(text).value(); }

const Json account = json(R"({"account":{"type":"chatgpt","email":"Me@Example.com"}})");
const Json otherAccount = json(R"({"account":{"type":"chatgpt","email":"you@example.com"}})");
const Json nobody = json(R"({"account":null,"requiresOpenaiAuth":true})");
const Json login = json(R"({"loginId":"L1","authUrl":"https://auth.openai.com/x"})");
const Json allowance = json(R"({"accountId":"A1","workspaceId":"W9","rateLimits":{"primary":{
    "windowDurationMins":10080,"usedPercent":40,"resetsAt":1800000000}}})");

FakeHelper signedIn(const std::optional<std::string>& mode = "chatgpt") {
    return {mode,
            {{"account/read", {gives(account)}},
             {"account/rateLimits/read", {gives(allowance)}},
             {"account/usage/read", {gives(json(R"({"summary":{"lifetimeTokens":9}})"))}},
             {"account/login/start", {gives(login)}}}};
}
FakeHelper signedOut(const std::optional<std::string>& mode = "chatgpt") {
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

/// A service among fake helpers, and all that it does.
struct Harness {
    Transcript transcript;
    std::deque<FakeHelper> helpers; ///< started in this order
    std::vector<std::shared_ptr<FakeTransport>> launched;
    std::atomic<double> now = 1000;
    ConnectionDetails details;
    bool everyStage = false; ///< a line for each change of the details, not of the stage alone
    std::shared_ptr<AccountService> service = AccountService::create({
        .factory = [this](const auto& path, const auto& onEvent) { return launch(path, onEvent); },
        .clock = [this] { return now.load(); },
        .homeFolder = "/home/me",
        .onDetails = [this](const ConnectionDetails& changed) { record(changed); },
        .onIdentityChange = [this] { transcript.add("identity change"); },
    });

    explicit Harness(std::deque<FakeHelper> scripts) : helpers(std::move(scripts)) {}
    ~Harness() {
        transcript.react = nullptr;
        service->stop();
        drain();
    }

    void refresh(const AccountService::Candidates& candidates = {"/usr/local/bin/one"},
                 bool activity = false) {
        AccountService::RefreshCallbacks callbacks;
        callbacks.onSnapshot = [this](std::int64_t token, const Outcome& outcome) {
            transcript.add("snapshot " + std::to_string(token) + ": " + text(outcome));
        };
        callbacks.onActivity = [this](std::int64_t token, const auto& hash, const auto& outcome) {
            transcript.add("activity " + std::to_string(token) + ", " + whose(hash) + ": "
                           + (outcome ? std::to_string(outcome->lifetime.value_or(-1))
                                      : std::string(rawValue(outcome.error()))));
        };
        callbacks.onFinished = [this](std::int64_t token) {
            transcript.add("finished " + std::to_string(token));
        };
        service->refresh(candidates, 7, activity, callbacks);
    }
    void startLogin() {
        service->startLogin(
            {"/usr/local/bin/one"},
            [this](const AccountService::LinkOutcome& outcome) {
                transcript.add("open "
                               + (outcome ? *outcome : std::string(rawValue(outcome.error()))));
            },
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
    std::shared_ptr<AccountTransport> launch(const std::filesystem::path& executable,
                                             const BridgeEventHandler& onEvent) {
        if (executable.empty())
            throw std::runtime_error("only drained");
        const FakeHelper helper = helpers.at(0);
        helpers.pop_front();
        return launched.emplace_back(std::make_shared<FakeTransport>(executable.filename().string(),
                                                                     helper, transcript, onEvent));
    }
    /// Stages change all the time; a line is due when anything else does.
    void record(const ConnectionDetails& changed) {
        const ConnectionDetails before = std::exchange(details, changed);
        if (everyStage || changed.category != before.category || changed.recovery != before.recovery
            || changed.tokens != before.tokens)
            transcript.add("details " + changed.stage + ": " + changed.category + "; "
                           + changed.recovery + "; " + changed.tokens);
    }
    static std::string whose(const std::optional<std::string>& hash) {
        return hash == accountHash("A1|workspace:W9") ? "A1|workspace:W9" : hash.value_or("nobody");
    }
    static std::string text(const Outcome& outcome) {
        if (!outcome)
            return std::string(rawValue(outcome.error()));
        return (outcome->quota ? std::to_string(std::lround(outcome->quota->used)) : "-") + "%, "
               + whose(outcome->accountHash) + ", at "
               + std::to_string(std::lround(outcome->observedAt));
    }
};

// Parts of transcripts.
std::string start(const std::string& name) {
    return "launch " + name + "\ninitialize " + name + "\n";
}
std::string details(const std::string& stage, const std::string& category,
                    const std::string& recovery = "not needed",
                    const std::string& tokens = "not yet requested") {
    return "details " + stage + ": " + category + "; " + recovery + "; " + tokens + "\n";
}
/// How a poll fails that replaces its helper or keeps it.
std::string fail(const std::string& issue, bool replaces = false) {
    return (replaces ? "close one\n" : "") + ("snapshot 7: " + issue) + "\nfinished 7\n";
}
const std::string one = start("one");
const std::string readAccount = "account/read {\"refreshToken\":false}\n";
const std::string readLimits = "account/rateLimits/read {}\n";
const std::string readUsage = "account/usage/read {}\n";
const std::string read = readAccount + readLimits;
const std::string snapshot = "snapshot 7: 40%, A1|workspace:W9, at 1000\n";
const std::string finished = "finished 7\n";
const std::string live = details("allowance received", "live") + snapshot;

/// Polls once at each of the times and compares all that happens.
void expectPolls(const char* name, const std::deque<FakeHelper>& helpers,
                 const std::string& expected, const std::vector<double>& times = {1000},
                 const AccountService::Candidates& candidates = {"one"}, bool activity = false) {
    Harness harness(helpers);
    for (const double time : times) {
        harness.now = time;
        harness.refresh(candidates, activity);
        harness.drain();
    }
    EXPECT_EQ(harness.take(), expected) << name;
    EXPECT_TRUE(harness.helpers.empty()) << name << ": a helper was not started";
}

TEST(AccountService, polls) {
    const auto broken = signedIn().with("initialize", {fails(BridgeFailure::timeout())});
    const auto missing = signedIn().with("launch", {fails(std::runtime_error("no such file"))});
    const auto offline = signedIn().with("initialize", {refuses({}, "dns")});
    const AccountService::Candidates four = {"one", "two", "three", "four"};
    const std::string twoFail = one + "close one\nlaunch two\n";
    expectPolls("the helper stays for the next poll", {signedIn()},
                one + read + live + finished + read + snapshot + finished, {1000, 1000});
    expectPolls("nothing to start", {},
                details("discovery", "missingHelper") + fail("missingHelper"), {1000}, {});
    expectPolls("the first that starts is used", {broken, missing, signedIn()},
                twoFail + start("three") + read + live + finished, {1000}, four);
    expectPolls("three are tried, and the last failure counts", {broken, missing, offline},
                twoFail + start("three") + "close three\n"
                    + details("initialize / initialized", "offline") + fail("offline"),
                {1000}, four);
    expectPolls("no weekly allowance and no account id",
                {signedIn().with("account/rateLimits/read", {gives(json("[1]"))})},
                one + read + details("allowance received", "weekly allowance unavailable")
                    + "snapshot 7: -%, " + accountHash("me@example.com") + ", at 1000\n"
                    + finished);
    expectPolls("a denied read keeps the helper",
                {signedIn().with("account/read", {refuses(403, "me@example.com")})},
                one + readAccount + details("account read", "forbidden") + fail("forbidden"));
    expectPolls(
        "a hung read replaces the helper",
        {signedIn().with("account/rateLimits/read", {fails(BridgeFailure::timeout())}), signedIn()},
        one + read + details("weekly allowance", "timeout") + fail("timeout", true)
            + details("helper startup", "connecting") + one + read + live + finished,
        {1000, 1000});
    expectPolls("the account changes while it is read",
                {signedIn().with("account/read", {givesAfterChange(account)})},
                one + readAccount + details("account read", "stopped") + fail("stopped", true));
    expectPolls("the account changes while its allowance is read",
                {signedIn().with("account/rateLimits/read", {givesAfterChange(allowance)})},
                one + read + details("weekly allowance", "stopped") + fail("stopped", true));
}

TEST(AccountService, recoversAnExpiredSessionOnce) {
    const auto expired = [](const std::optional<std::string>& mode) {
        return signedIn(mode).with("account/rateLimits/read", {refuses(401), gives(allowance)});
    };
    const std::string reloading = "reloading utility-owned helper";
    const std::string refreshing = "one managed-session refresh";
    const std::string reload =
        "close one\n" + details("helper startup", "connecting", reloading) + one;
    const std::string refresh = details("account read", "connecting", refreshing)
                                + "account/read {\"refreshToken\":true}\n";
    const std::string recovered =
        details("allowance received", "live", "recovered; five-minute cooldown") + snapshot
        + finished;
    expectPolls("a fresh helper reads the saved sign-in", {signedOut(), signedIn()},
                one + readAccount + reload + read + recovered);
    expectPolls("a fresh helper that reports no mode has that of the old one",
                {signedOut(), expired({})},
                one + readAccount + reload + read + refresh + readLimits + recovered);
    expectPolls("a session of another mode is not refreshed", {signedOut(), expired("apikey")},
                one + readAccount + reload + read
                    + details("weekly allowance", "authentication", reloading)
                    + fail("authentication"));
    expectPolls("the refresh fails", {signedOut(), signedOut()},
                one + readAccount + reload + readAccount + refresh
                    + details("account read", "signedOut", refreshing) + fail("signedOut"));
    expectPolls("a fresh helper fails otherwise",
                {signedOut(), signedIn().with("account/read", {refuses({}, "network")})},
                one + readAccount + reload + readAccount
                    + details("account read", "offline", reloading) + fail("offline"));
    expectPolls("even the handshake is refused",
                {signedIn().with("initialize", {refuses(401)}), signedIn()},
                one + reload + read + recovered);
    expectPolls("another client's session is left to it", {signedOut("chatgptAuthTokens")},
                one + readAccount + details("account read", "externalSession")
                    + fail("externalSession"));
    expectPolls(
        "there is no second recovery within five minutes", {signedOut(), signedOut("apikey")},
        one + readAccount + reload + readAccount + details("account read", "signedOut", reloading)
            + fail("signedOut") + readAccount
            + details("account read", "signedOut", "five-minute cooldown") + fail("signedOut"),
        {1000, 1299});
}

TEST(AccountService, readsTokenActivityOfAnUnchangedAccount) {
    const Json reordered = json(R"({"account":{"email":"Me@Example.com","type":"chatgpt"},"x":1})");
    const auto expect = [](const char* name, const FakeHelper& helper, const std::string& requests,
                           const std::string& outcome, const std::string& tokens) {
        expectPolls(name, {helper},
                    one + read + live + requests + "activity 7, A1|workspace:W9: " + outcome + "\n"
                        + details("allowance received", "live", "not needed", tokens) + finished,
                    {1000}, {"one"}, true);
    };
    expect("reported", signedIn().with("account/read", {gives(account), gives(reordered)}),
           readUsage + readAccount, "9", "received");
    expect("not reported", signedIn().with("account/usage/read", {gives(Json::object())}),
           readUsage + readAccount, "-1", "not reported");
    expect("unknown to the helper", signedIn().with("account/usage/read", {refuses(-32601)}),
           readUsage, "incompatible", "unavailable (incompatible)");
    expect("crossed by a change, of which the helper tells by itself",
           signedIn().with("account/usage/read", {givesAfterChange(Json::object())}),
           readUsage + "identity change\n", "stopped", "unavailable (stopped)");
    expect("of another account",
           signedIn().with("account/read", {gives(account), gives(otherAccount)}),
           readUsage + readAccount + "identity change\n", "stopped", "unavailable (stopped)");
    expect("of nobody", signedIn().with("account/read", {gives(account), gives(nobody)}),
           readUsage + readAccount + "identity change\n", "stopped", "unavailable (stopped)");
}

TEST(AccountService, tellsWhoIsSignedIn) {
    const struct {
        const char* result;
        const char* issue;
    } accounts[] = {
        {R"({"account":{"type":"apikey"}})", "unsupportedAccount"},
        {R"({"account":{"type":["chatgpt"]},"requiresOpenaiAuth":true})", "unsupportedAccount"},
        {R"({"account":null,"requiresOpenaiAuth":false})", "unsupportedAccount"},
        {R"({"account":"chatgpt","requiresOpenaiAuth":0})", "signedOut"},
        {R"({"requiresOpenaiAuth":true})", "signedOut"},
        {"5", "signedOut"},
    };
    for (const auto& row : accounts) {
        const auto helper = signedIn("apikey").with("account/read", {gives(json(row.result))});
        Harness harness({helper, helper});
        harness.refresh();
        EXPECT_TRUE(harness.take().ends_with(fail(row.issue))) << row.result;
    }

    const struct {
        const char* account;
        const char* allowance;
        std::optional<std::string> expected;
    } identities[] = {
        {R"({"email":"me@x"})", R"({"accountId":"A1","workspaceId":"W9"})", "A1|workspace:W9"},
        {R"({"email":"ME@Ä.example"})", R"({"accountId":"","workspaceId":""})", "me@ä.example"},
        {R"({"email":"ME@x"})", R"({"accountId":1,"workspaceId":"w"})", "me@x|workspace:w"},
        {R"({"email":""})", R"({"workspaceId":"W9"})", {}},
        {"{}", "[]", {}},
    };
    for (const auto& row : identities)
        EXPECT_EQ(accountIdentity(json(row.account), json(row.allowance)), row.expected);
    EXPECT_EQ(accountHash("A1|workspace:W9"),
              "b4a6cae284a62278a92f47c96d6101281f426d801b7bcdbc729e15323219e5a8");
}

TEST(AccountService, publishesWhereItStands) {
    Harness harness({signedIn()});
    harness.refresh({"/usr/local/bin/one"}, true);
    harness.drain();
    EXPECT_EQ(harness.details,
              (ConnectionDetails{"0.169.0", "/usr/local/…/codex", "allowance received", "live",
                                 "chatgpt", "not needed", "received"}));
}

TEST(AccountService, tellsOnceThatTheAccountChanged) {
    Harness harness({signedIn(), signedIn()});
    harness.refresh();
    EXPECT_NE(harness.take(), "");
    FakeTransport& helper = *harness.launched.at(0);
    helper.changeAccount();
    helper.changeAccount();
    EXPECT_EQ(harness.take(), "identity change\n") << "once for each snapshot";
    helper.emit(ExternalRefreshRequested{});
    EXPECT_EQ(harness.take(), "identity change\n");
    harness.service->reset();
    harness.refresh();
    EXPECT_NE(harness.take(), "");
    helper.changeAccount();
    helper.emit(ExternalRefreshRequested{});
    EXPECT_EQ(harness.take(), "") << "a helper of an older epoch is not listened to";
}

// Superseded at each step of a poll in turn, from within that step.
TEST(AccountService, saysNothingMoreOnceItIsResetOrStopped) {
    int steps = 0;
    for (bool walked = false; !walked; ++steps) {
        for (const bool stop : {false, true}) {
            Harness harness({signedIn(), signedIn()});
            int stepsLeft = steps;
            std::string after;
            harness.transcript.react = [&](const std::string& line) {
                if (stepsLeft-- == 0)
                    stop ? harness.service->stop() : harness.service->reset();
                else if (stepsLeft < 0)
                    after += line + "\n";
            };
            harness.everyStage = true;
            harness.refresh({"one"}, true);
            harness.drain();
            harness.transcript.react = nullptr;
            walked = stepsLeft >= 0;
            if (walked)
                break;
            for (const char* callback : {"details", "snapshot", "activity", "finished"})
                EXPECT_EQ(after.find(callback), std::string::npos) << steps << "\n" << after;
            harness.transcript.take();
            harness.refresh();
            EXPECT_EQ(harness.take().ends_with(snapshot + finished), !stop) << steps;
        }
    }
    EXPECT_EQ(steps, 16) << "the lines of a whole poll, and one";
}

TEST(AccountService, aResetEndsARequestThatHangs) {
    std::promise<void> asked;
    const Answer hangs = [&asked](FakeTransport& transport) -> Json {
        asked.set_value();
        transport.waitUntilClosed();
        throw BridgeFailure::closed();
    };
    Harness harness({signedIn().with("account/read", {hangs})});
    harness.refresh();
    asked.get_future().wait();
    harness.service->reset();
    EXPECT_EQ(harness.take(), one + readAccount + "close one\n");
}

const std::string loginRequest = "account/login/start {\"type\":\"chatgpt\"}\n";
const std::string openLink = "open https://auth.openai.com/x\n";
const std::string waiting = details("browser sign-in", "waiting for user");

TEST(AccountService, signsInThroughTheBrowser) {
    // The helper tells of the end before its answer to the start has been looked at.
    const Answer quick = [](FakeTransport& transport) {
        transport.emit(LoginCompleted{"L1", false});
        return login;
    };
    Harness harness({signedIn().with("account/login/start", {quick, gives(login)})});
    harness.startLogin();
    EXPECT_EQ(harness.take(), one + loginRequest + waiting + openLink + "not signed in\n");

    harness.startLogin();
    harness.startLogin();
    EXPECT_EQ(harness.take(), loginRequest + openLink) << "the second start does nothing";
    for (const char* id : {"L2", "L1", "L1"})
        harness.launched.at(0)->emit(LoginCompleted{id, true});
    EXPECT_EQ(harness.take(), "signed in\n");
}

TEST(AccountService, refusesASignInItCannotTrust) {
    const std::string link = R"("authUrl":"https://auth.openai.com/x"})";
    for (const std::string& answer :
         {"{" + link, R"({"loginId":"",)" + link, R"({"loginId":1,)" + link,
          R"({"loginId":")" + std::string(129, 'x') + "\"," + link,
          std::string(R"({"loginId":"L1"})"), std::string(R"({"loginId":"L1","authUrl":"x"})")}) {
        Harness harness({signedIn().with("account/login/start", {gives(json(answer))})});
        harness.startLogin();
        EXPECT_EQ(harness.take(), one + loginRequest + "close one\nopen invalidResponse\n")
            << answer;
    }
    Harness harness({signedIn().with("account/login/start", {refuses(429)})});
    harness.startLogin();
    EXPECT_EQ(harness.take(), one + loginRequest + "open throttled\n");
}

TEST(AccountService, aSignInEndsWithItsHelper) {
    const struct {
        const char* name;
        std::function<void(Harness&)> end;
    } rows[] = {
        {"cancelled", [](Harness& harness) { harness.service->cancelLogin(); }},
        {"reset", [](Harness& harness) { harness.service->reset(); }},
        {"given up with a failed poll", [](Harness& harness) { harness.refresh(); }},
    };
    for (const auto& row : rows) {
        Harness harness(
            {signedIn().with("account/read", {fails(BridgeFailure::closed())}), signedIn()});
        harness.startLogin();
        EXPECT_TRUE(harness.take().ends_with(openLink)) << row.name;
        row.end(harness);
        EXPECT_NE(harness.take().find("close one\n"), std::string::npos) << row.name;
        harness.startLogin();
        EXPECT_TRUE(harness.take().ends_with(openLink)) << row.name;
        harness.launched.at(1)->emit(LoginCompleted{"L1", true});
        EXPECT_EQ(harness.take(), "signed in\n") << row.name << ": only the new sign-in";
    }
}

TEST(AccountService, validatesAHelperBesideThePollingOne) {
    const auto useless = signedIn().with("initialize", {fails(BridgeFailure::timeout())});
    Harness harness({signedIn(), signedIn(), useless});
    harness.refresh();
    EXPECT_EQ(harness.take(), one + read + live + finished);
    for (const char* name : {"good", "useless"}) {
        harness.service->validate(
            name, [&](bool valid) { harness.transcript.add(valid ? "valid" : "not valid"); });
    }
    EXPECT_EQ(harness.take(), start("good") + "close good\nvalid\n" + start("useless")
                                  + "close useless\nnot valid\n");
    harness.launched.at(1)->emit(ExternalRefreshRequested{});
    harness.refresh();
    EXPECT_EQ(harness.take(), read + snapshot + finished) << "the polling helper is still there";
}

} // namespace
} // namespace tallywick::testing
