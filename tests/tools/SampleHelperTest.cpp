#include "codex/CodexBridge.h"
#include "codex/ConnectionIssue.h"
#include "codex/Quota.h"
#include "codex/SignInLink.h"
#include "codex/TokenActivity.h"
#include "sample-helper/Scenario.h"

#include <gmock/gmock.h>

#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace tallywick::sample {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::Gt;
using ::testing::HasSubstr;
using ::testing::Lt;
using ::testing::SizeIs;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;
using Seconds = AccountTransport::Seconds;

constexpr auto patience = std::chrono::seconds(20);

/// A night: the allowance stands still while a test runs. The first account's turn has just begun.
constexpr Second night = 1'794'969'000; ///< 2026-11-18 02:30 UTC
static_assert(night % accountTurn == 0 && night / accountTurn % 2 == 0);

void chooseScenario(std::string_view scenario, double now = night) {
    ::setenv("TALLYWICK_SAMPLE", std::string(scenario).c_str(), 1);
    ::setenv("TALLYWICK_SAMPLE_NOW", std::to_string(now).c_str(), 1);
}

/// Events or lines of a helper, collected on its thread.
class Collector {
  public:
    void add(std::string text) {
        MutexLock lock(mutex);
        texts.push_back(std::move(text));
        changed.notifyAll();
    }

    std::vector<std::string> waitFor(std::size_t count) {
        const auto deadline = std::chrono::steady_clock::now() + patience;
        MutexLock lock(mutex);
        while (texts.size() < count && changed.waitUntil(mutex, deadline)) {
        }
        return texts;
    }

  private:
    Mutex mutex;
    Condition changed;
    std::vector<std::string> texts GUARDED_BY(mutex);
};

/// The sample helper of the chosen scenario, behind the transport that the utility uses.
class Helper {
  public:
    Helper()
        : bridge(CodexBridge::launch(SAMPLE_HELPER, true,
                                     [this](const BridgeEvent& event) { addEvent(event); },
                                     {.killGrace = std::chrono::milliseconds(50)})) {}
    Json request(const char* method, const Json& params = Json::object()) const {
        return bridge->request(method, params, patience);
    }

    /// What the utility would make of the method's answer, in one word.
    std::string outcome(const char* method, Seconds limit = patience) const {
        try {
            return summary(method, bridge->request(method, Json::object(), limit));
        } catch (...) {
            return std::string(rawValue(classify(std::current_exception())));
        }
    }

    std::string mode() const { return bridge->mode().value_or("none"); }

    Collector events;

  private:
    void addEvent(const BridgeEvent& event) {
        if (const auto* login = std::get_if<LoginCompleted>(&event))
            events.add(login->loginId + (login->success ? " succeeded" : " failed"));
        else if (const auto* change = std::get_if<AccountChanged>(&event))
            events.add("account " + change->mode.value_or("unknown"));
    }

    static std::string summary(std::string_view method, const Json& result) {
        if (method == "account/read") {
            const Json* account = objectMember(result, "account");
            return account ? account->at("type").get<std::string>() : "nobody";
        }
        if (method == "account/usage/read") {
            const TokenActivity activity = tokenActivityFromUsage(result);
            return activity.lifetime ? activity.latestDay.value_or("no day") : "no tokens";
        }
        const std::optional<Quota> quota = quotaFromRateLimits(result);
        if (!quota)
            return "no week";
        const AllowanceWindow week = weeklyWindow(firstSampleAccount(), night);
        EXPECT_EQ(static_cast<Second>(quota->reset), week.resetsAt);
        if (quota->used == 100)
            return "nothing left";
        if (stringMember(result, "workspaceId"))
            return "a workspace's week";
        return quota->used == week.usedPercent ? "week" : "another week";
    }

    std::shared_ptr<CodexBridge> bridge;
};

/// What the utility gets from the helper of one scenario.
struct Answers {
    const char* scenario;
    const char* mode;
    const char* account;
    const char* allowance;
    const char* activity;
};

void PrintTo(const Answers& row, std::ostream* stream) { *stream << row.scenario; }

constexpr Answers answers[] = {
    {"default", "chatgpt", "chatgpt", "week", "2026-11-18"},
    {"week-as-secondary", "chatgpt", "chatgpt", "week", "2026-11-18"},
    {"no-weekly-window", "chatgpt", "chatgpt", "no week", "2026-11-18"},
    {"null-numbers", "chatgpt", "chatgpt", "no week", "2026-11-18"},
    {"used-up", "chatgpt", "chatgpt", "nothing left", "2026-11-18"},
    {"long-history", "chatgpt", "chatgpt", "week", "2026-11-18"},
    {"workspace", "chatgpt", "chatgpt", "a workspace's week", "2026-11-18"},
    {"account-switch", "chatgpt", "chatgpt", "week", "2026-11-18"},
    {"signed-out", "none", "nobody", "invalidResponse", "invalidResponse"},
    {"sign-in-completes", "none", "nobody", "invalidResponse", "invalidResponse"},
    {"sign-in-fails", "none", "nobody", "invalidResponse", "invalidResponse"},
    {"expired-session", "chatgpt", "chatgpt", "week", "2026-11-18"},
    {"needs-token-refresh", "chatgpt", "chatgpt", "authentication", "authentication"},
    {"external-session", "chatgptAuthTokens", "chatgpt", "authentication", "2026-11-18"},
    {"api-key", "apikey", "apiKey", "invalidResponse", "invalidResponse"},
    {"throttled", "chatgpt", "chatgpt", "throttled", "throttled"},
    {"forbidden", "chatgpt", "chatgpt", "forbidden", "forbidden"},
    {"offline", "chatgpt", "offline", "offline", "offline"},
    {"long-errors", "chatgpt", "chatgpt", "invalidResponse", "invalidResponse"},
    {"old-helper", "chatgpt", "chatgpt", "week", "incompatible"},
    {"incompatible", "chatgpt", "incompatible", "week", "2026-11-18"},
    {"slow", "chatgpt", "timeout", "timeout", "timeout"},
    {"hanging", "chatgpt", "chatgpt", "timeout", "2026-11-18"},
    {"crash", "chatgpt", "chatgpt", "stopped", "stopped"},
};

/// An answer that takes seconds or never comes is not waited for.
Seconds limitFor(std::string_view outcome) {
    return outcome == "timeout" ? Seconds(0.5) : Seconds(patience);
}

class SampleHelperScenario : public ::testing::TestWithParam<Answers> {};

TEST_P(SampleHelperScenario, AnswersAsItsNameSays) {
    const Answers& row = GetParam();
    chooseScenario(row.scenario);
    const Helper helper;
    EXPECT_EQ(helper.mode(), row.mode);
    EXPECT_EQ(helper.outcome("account/read", limitFor(row.account)), row.account);
    EXPECT_EQ(helper.outcome("account/rateLimits/read", limitFor(row.allowance)), row.allowance);
    EXPECT_EQ(helper.outcome("account/usage/read", limitFor(row.activity)), row.activity);
}

INSTANTIATE_TEST_SUITE_P(, SampleHelperScenario, ::testing::ValuesIn(answers), [](const auto& row) {
    std::string name = row.param.scenario;
    std::ranges::replace(name, '-', '_');
    return name;
});

TEST(SampleHelper, HasARowInTheTableAndInTheReadmeForEachScenario) {
    std::ifstream file(SAMPLE_HELPER_README);
    const std::string readme(std::istreambuf_iterator<char>(file), {});
    ASSERT_FALSE(scenarios().empty());
    ASSERT_EQ(std::size(answers), scenarios().size());
    for (std::size_t i = 0; i < scenarios().size(); ++i) {
        const Scenario& scenario = scenarios()[i];
        EXPECT_EQ(answers[i].scenario, scenario.name);
        EXPECT_THAT(readme, HasSubstr("| `" + std::string(scenario.name) + "` | "
                                      + std::string(scenario.summary) + " |\n"));
    }
}

TEST(SampleHelper, ExpiresUntilItIsStartedAnew) {
    chooseScenario("expired-session");
    for (int start = 0; start < 2; ++start) {
        const Helper helper;
        for (const char* outcome : {"week", "authentication", "authentication"})
            EXPECT_EQ(helper.outcome("account/rateLimits/read"), outcome);
    }
}

TEST(SampleHelper, WorksAfterATokenRefresh) {
    chooseScenario("needs-token-refresh");
    const Helper helper;
    for (const bool refreshes : {false, true}) {
        helper.request("account/read", {{"refreshToken", refreshes}});
        EXPECT_EQ(helper.outcome("account/rateLimits/read"), refreshes ? "week" : "authentication");
    }
}

TEST(SampleHelper, SwitchesTheAccountAtTheEndOfATurn) {
    chooseScenario("account-switch", night + accountTurn - 0.01);
    Helper helper;
    EXPECT_THAT(helper.events.waitFor(2), ElementsAre("account chatgpt", "account chatgpt"));
    EXPECT_EQ(helper.request("account/read").at("account").at("email"),
              secondSampleAccount().email);
    EXPECT_EQ(helper.request("account/rateLimits/read").at("accountId"),
              secondSampleAccount().accountId);
}

// One wait for both scenarios: their sign-ins end seconds after they were started.
TEST(SampleHelper, EndsABrowserSignIn) {
    chooseScenario("sign-in-completes");
    Helper completing;
    chooseScenario("sign-in-fails");
    Helper failing;
    for (const Helper* helper : {&completing, &failing}) {
        for (const char* loginId : {"sample-login-1", "sample-login-2"}) {
            const Json login = helper->request("account/login/start", {{"type", "chatgpt"}});
            EXPECT_EQ(login.at("loginId"), loginId);
            EXPECT_TRUE(signInLink(login.at("authUrl").get<std::string>()));
        }
    }
    EXPECT_THAT(
        completing.events.waitFor(3),
        ElementsAre("sample-login-1 failed", "sample-login-2 succeeded", "account chatgpt"));
    EXPECT_EQ(completing.outcome("account/read"), "chatgpt");
    EXPECT_THAT(failing.events.waitFor(2),
                ElementsAre("sample-login-1 failed", "sample-login-2 failed"));
    EXPECT_EQ(failing.outcome("account/read"), "nobody");
}

TEST(SampleHelper, CancelsABrowserSignIn) {
    chooseScenario("signed-out");
    Helper helper;
    helper.request("account/login/start", {{"type", "chatgpt"}});
    for (const char* status : {"canceled", "notFound"})
        EXPECT_EQ(
            helper.request("account/login/cancel", {{"loginId", "sample-login-1"}}).at("status"),
            status);
    EXPECT_THAT(helper.events.waitFor(1), ElementsAre("sample-login-1 failed"));
}

/// Sends the lines to a helper, waits for `count` lines of its output, asks it to end and returns
/// them once it has ended by itself.
std::vector<std::string> converse(std::string_view input, std::size_t count) {
    Collector lines;
    std::string unfinished;
    const auto takeOutput = [&](std::string_view piece) {
        unfinished += piece;
        for (std::size_t end; (end = unfinished.find('\n')) != std::string::npos;) {
            lines.add(unfinished.substr(0, end));
            unfinished.erase(0, end + 1);
        }
    };
    const auto child =
        ChildProcess::launch({.executable = SAMPLE_HELPER,
                              .arguments = {"app-server"},
                              .currentFolder = "/",
                              .killGrace = 2 * patience},
                             {.output = takeOutput, .inputBroken = [] {}, .terminated = [] {}});
    EXPECT_EQ(child->write(input, input.size()), ChildProcess::WriteOutcome::accepted);
    auto result = lines.waitFor(count);
    child->terminate();
    EXPECT_TRUE(waitForChildProcesses(patience)) << "it was left to be killed";
    return result;
}

/// A message in a few words: what is announced, or what is answered to which request.
std::string inBrief(const std::string& line) {
    const Json message = parseJson(line).value_or(Json("no JSON"));
    if (const std::string* method = stringMember(message, "method")) {
        EXPECT_TRUE(message.contains("emittedAt")) << line;
        return *method;
    }
    const Json* error = objectMember(message, "error");
    return writeJson(message.at("id")) + ": "
           + (error ? writeJson(error->at("code")) + " " + error->at("message").get<std::string>()
                    : writeJson(message.at("result")));
}

TEST(SampleHelper, ShakesHandsAndAnswersAsTheyBecomeReady) {
    chooseScenario("signed-out");
    const std::string input = R"({"id":"early","method":"account/read"}
junk
[]
{"id":1,"method":"initialize"}
{"id":2,"method":"initialize","params":{"clientInfo":{"name":"client","version":"1.2.3"}}}
{"id":3,"method":"initialize","params":{"clientInfo":{"name":"client","version":"1.2.3"}}}
{"method":"initialized","params":{}}
{"id":4,"method":"account/rateLimits/read","params":{}}
{"id":5,"method":"account/read","params":{}}
{"id":1,"error":{}}
{"id":6,"method":"account/login/start","params":{"type":"apikey"}}
{"id":7,"method":"account/login/cancel"}
{"id":8,"method":"account/logout"}
)";
    std::vector<std::string> told = converse(input, 11);
    std::ranges::transform(told, told.begin(), inBrief);
    const std::string welcome =
        R"(2: {"codexHome":"/home/sample/.codex","platformFamily":"unix","platformOs":"linux",)"
        R"-("userAgent":"client/0.169.0 (Debian 12.0.0; x86_64) unknown (client; 1.2.3)"})-";
    const std::string account = R"(5: {"account":null,"requiresOpenaiAuth":true,"userId":null})";
    const std::string allowance = "4: -32600 this reading needs a ChatGPT sign-in";
    EXPECT_THAT(told,
                UnorderedElementsAre(
                    "\"early\": -32600 Not initialized",
                    "1: -32600 Invalid request: clientInfo is missing", welcome, "configWarning",
                    "remoteControl/status/changed", "3: -32600 Already initialized", allowance,
                    account, "6: -32600 Invalid request: unknown type of sign-in",
                    "7: -32600 Invalid request: loginId is missing",
                    AllOf(StartsWith("8: -32601 "), SizeIs(AllOf(Gt(4000), Lt(5000))))));
    const auto place = [&](const std::string& answer) {
        return std::ranges::find(told, answer) - told.begin();
    };
    EXPECT_EQ(place("configWarning"), place(welcome) + 1);
    EXPECT_EQ(place("remoteControl/status/changed"), place(welcome) + 2);
    EXPECT_LT(place(account), place(allowance)) << "the faster answer waited for the slower one";
}

TEST(SampleHelper, EndsWithAStatusThatSaysWhy) {
    struct Case {
        const char* name;
        std::string command; // the helper is $HELPER
        int status;
        const char* output;
    };
    const Case cases[] = {
        {"a listing", "$HELPER --list-scenarios", 0, "signed-out           nobody is signed in\n"},
        {"the end of its input", "$HELPER app-server </dev/null 2>&1", 0,
         "\x1b[1;33mSample helper"},
        {"no argument", "$HELPER 2>&1", 2, "usage: codex app-server"},
        {"a scenario that is not there",
         "TALLYWICK_SAMPLE=other $HELPER app-server </dev/null 2>&1", 2,
         "TALLYWICK_SAMPLE names no scenario; there are:\ndefault "},
        {"a moment that is none", "TALLYWICK_SAMPLE_NOW=1e300 $HELPER app-server </dev/null 2>&1",
         2, "TALLYWICK_SAMPLE_NOW is no second"},
        {"a line without end", "head -c 2097154 /dev/zero | $HELPER app-server 2>&1", 1,
         "a line of the input is too long"},
    };
    ::setenv("HELPER", SAMPLE_HELPER, 1);
    ::unsetenv("TALLYWICK_SAMPLE");
    for (const Case& row : cases) {
        SCOPED_TRACE(row.name);
        std::FILE* pipe = ::popen(row.command.c_str(), "r");
        ASSERT_NE(pipe, nullptr);
        std::string output;
        std::array<char, 4096> bytes{};
        for (std::size_t count; (count = std::fread(bytes.data(), 1, bytes.size(), pipe)) > 0;)
            output.append(bytes.data(), count);
        const int status = ::pclose(pipe);
        EXPECT_TRUE(WIFEXITED(status));
        EXPECT_EQ(WEXITSTATUS(status), row.status);
        EXPECT_THAT(output, HasSubstr(row.output));
    }
}

} // namespace
} // namespace tallywick::sample
