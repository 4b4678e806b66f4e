#include "codex/CodexBridge.h"

#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <fstream>
#include <future>

namespace tallywick {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::StartsWith;
using testing::TemporaryFolder;
using Seconds = AccountTransport::Seconds;
using Lines = std::vector<std::string>;

constexpr Seconds atOnce{0.02};
constexpr std::chrono::seconds patience{60};
const std::string closedText = BridgeFailure::closed().description();
const std::string timeoutText = BridgeFailure::timeout().description();
const std::string oversizedText = BridgeFailure::oversizedResponse().description();
const std::string right = R"({"right":true})";

// Steps of a helper.
const std::string answer = R"(send '{"id":$ID,"result":{"right":true}}')";
const std::string ready =
    R"(send '{"method":"account/login/completed","params":{"loginId":"ready"}}')";

/// A helper that is ready to be started: see misbehaving-helper.sh for its steps.
struct ScriptedHelper {
    TemporaryFolder folder;

    explicit ScriptedHelper(const Lines& steps) {
        std::filesystem::create_symlink(MISBEHAVING_HELPER, path());
        std::ofstream script(folder / "codex.script");
        for (const std::string& step : steps)
            script << step << '\n';
    }
    std::filesystem::path path() const { return folder / "codex"; }
};

/// A bridge to a helper that follows a script.
struct Session {
    ScriptedHelper helper;
    std::string events; ///< look at them behind an answer
    std::promise<void> ready;
    std::shared_ptr<CodexBridge> bridge;

    explicit Session(const Lines& steps, const CodexBridge::Options& options = {})
        : helper(steps),
          bridge(CodexBridge::launch(
              helper.path(), false, [this](const BridgeEvent& event) { take(event); }, options)) {}
    ~Session() { end(); }

    void take(const BridgeEvent& event) {
        if (const auto* changed = std::get_if<AccountChanged>(&event))
            events += "account " + changed->mode.value_or("-") + "\n";
        else if (std::holds_alternative<ExternalRefreshRequested>(event))
            events += "external refresh\n";
        else
            ready.set_value();
    }
    /// The result of a request as JSON text, or the description of its failure.
    std::string ask(const std::string& method = "account/read", const Json& params = Json::object(),
                    Seconds timeout = patience) const {
        try {
            return writeJson(bridge->request(method, params, timeout));
        } catch (const BridgeFailure& failure) {
            return failure.description();
        }
    }
    /// Closes the bridge and returns every line that the helper read.
    Lines end() const {
        bridge->close();
        EXPECT_TRUE(waitForChildProcesses(patience));
        Lines received;
        std::ifstream file(helper.folder / "codex.received");
        for (std::string line; std::getline(file, line);)
            received.push_back(line);
        return received;
    }
};

TEST(CodexBridge, AnswersARequestWhateverElseTheHelperDoes) {
    const struct {
        Lines steps; ///< after the request was read
        std::string outcome;
    } rows[] = {
        {{"bytewise" + answer.substr(4)}, right},
        {{"say '\xEF\xBB\xBF{\"id\":$ID,\"result\":{\"right\":true}}\\r\\n'"}, right},
        // Behind lines that are no messages, answers to nobody,
        {{R"(say '\n\r\njunk\n[1]\n"text"\n{"id":$ID,"result"\n\0\n{"id":$ID,"result":{}}\0x\n')",
          "say '{\"id\":$ID,\"result\":{\"a\":\"\xC3\x28\"}}\\n'",
          R"(send '{"id":99,"result":{}}\n{"id":"$ID","result":{}}\n{"id":$ID.0,"result":{}}')",
          answer, R"(send '{"id":$ID,"result":{}}')"},
         right},
        // and messages of the helper's own, even without end and without reading the replies.
        {{R"(yes '{"method":"item/tool/call","id":1,"params":{}}' | head -n 25000)", answer},
         right},
        {{"flood 1000000 >&2", "exec 0<&-", answer, "hang"}, right},
        {{answer, "exit 0"}, right},
        {{"kill -SEGV $$"}, closedText},
        {{"exec 1>&-", "hang"}, closedText},
        {{"grandchild", R"(say '{"id":$ID,"result":{"right"')", "exit 0"}, closedText},
        {{R"(send '{"error":{"code":429,"message":"x"},"id":$ID}')"}, "Codex error 429: x"},
        {{"answer-of 2097153"}, oversizedText},
        {{"flood 3000000", "send", answer}, oversizedText},
    };
    for (const auto& row : rows) {
        Lines steps{"expect account/read"};
        steps.insert(steps.end(), row.steps.begin(), row.steps.end());
        EXPECT_EQ(Session(steps).ask(), row.outcome) << row.steps.front();
    }
    EXPECT_GT(Session({"expect account/read", "answer-of 2097152"}).ask().size(), 2'097'000U)
        << "the longest line";
}

TEST(CodexBridge, WritesItsMessagesByteForByte) {
    Session session({"expect initialize",
                     R"(send '{"id":$ID,"result":{"userAgent":"codex/4.55.6-b"}}')",
                     "expect initialized", "expect account/login/cancel", answer});
    session.bridge->initialize();
    EXPECT_EQ(session.bridge->version(), "4.55.6");
    // What may not be sent is refused here, and does not stay pending.
    for (std::size_t i = 0; i <= CodexBridge::maximumPending; ++i) {
        EXPECT_EQ(session.ask("account/logout"), "Codex response error: unsupported operation");
        EXPECT_EQ(session.ask("account/read", {{"padding", std::string(2'097'152, 'x')}}),
                  oversizedText);
        EXPECT_THROW(session.bridge->request("account/read", {{"text", "\xFF"}}), Json::type_error);
    }
    EXPECT_EQ(session.ask("account/login/cancel", {{"loginId", "é\"\n"}}), right);
    EXPECT_THAT(
        session.end(),
        ElementsAre(
            R"({"id":1,"method":"initialize","params":{"clientInfo":{"name":"corvane_tallywick_mac",)"
            R"("title":"Corvane Tallywick","version":"0.6.0"}}})",
            R"({"method":"initialized","params":{}})",
            AllOf(StartsWith(R"({"id":)"),
                  EndsWith(R"(,"method":"account/login/cancel","params":{"loginId":"é\"\n"}})"))));
}

TEST(CodexBridge, TellsWhatTheHelperSaysByItselfAndRefusesItsRequests) {
    const std::string ids[] = {R"("abc")", "18446744073709551615", "1.50"};
    const std::string refresh = R"({"method":"account/chatgptAuthTokens/refresh")";
    Lines steps{R"(send '{"method":"account/updated","params":{"authMode":"chatgpt"}}')",
                R"(send '{"method":"account/updated","id":null,"params":{"authMode":"apikey"}}')",
                "send '" + refresh + "}'"}; // a notification, and no request
    for (const std::string& id : ids)
        steps.insert(steps.end(), {"send '" + refresh + ",\"id\":" + id + "}'", "hear"});
    steps.push_back(ready);
    Session session(steps);
    session.ready.get_future().wait();
    EXPECT_EQ(session.bridge->mode(), "chatgptAuthTokens");
    EXPECT_EQ(session.bridge->revision(), 2);
    Lines replies;
    for (const std::string& id : ids)
        replies.push_back(R"({"id":)" + id + R"(,"error":{"code":-32601,"message":"This utility )"
                          + R"(does not provide tokens or execute server requests."}})");
    EXPECT_EQ(session.end(), replies);
    EXPECT_EQ(session.events, "account chatgpt\naccount apikey\nexternal refresh\n"
                              "external refresh\nexternal refresh\n");
}

TEST(CodexBridge, TimesOutAndDropsTheLateAnswer) {
    const Session session({"expect account/read", "expect account/usage/read",
                           R"(send '{"id":1,"result":{"late":true}}')", answer});
    EXPECT_EQ(session.ask("account/read", Json::object(), atOnce), timeoutText);
    EXPECT_EQ(session.ask("account/usage/read"), right);
    session.end();

    const Session deaf({"hang"});
    const Json large{{"padding", std::string(1'900'000, 'x')}};
    for (int i = 0; i < 8; ++i) // more than may lie unread
        EXPECT_EQ(deaf.ask("account/read", large, atOnce), timeoutText);
}

TEST(CodexBridge, RefusesAFifthRequestAndFailsAllWhenClosed) {
    Lines steps(4, "expect account/read");
    steps.push_back(ready);
    Session session(steps);
    std::vector<std::future<std::string>> waiting;
    for (int i = 0; i < 4; ++i)
        waiting.push_back(std::async(std::launch::async, [&] { return session.ask(); }));
    session.ready.get_future().wait();
    EXPECT_EQ(session.ask(), closedText);
    session.bridge->close();
    for (auto& outcome : waiting)
        EXPECT_EQ(outcome.get(), closedText);
    EXPECT_EQ(session.ask(), closedText);
    EXPECT_EQ(session.end().size(), 4U);
}

TEST(CodexBridge, EndsAHelperThatDoesNotWantTo) {
    const CodexBridge::Options options{.killGrace = std::chrono::milliseconds(20)};
    const Session flooding({"trap '' TERM", "grandchild", "flood 2097153", "hang"}, options);
    EXPECT_TRUE(waitForChildProcesses(patience)) << "the oversized line alone is its end";
    Session deaf({"trap '' TERM", "grandchild", ready, "kill -STOP $$"}, options);
    deaf.ready.get_future().wait();
    deaf.end();
    const ScriptedHelper silent({"hang"});
    EXPECT_THROW(CodexBridge::launch(silent.path(), true, {}, {.initializeTimeout = atOnce}),
                 BridgeFailure);
    EXPECT_TRUE(waitForChildProcesses(patience)) << "a handshake that fails ends it";
}

TEST(CodexBridge, MayBeClosedAndDestroyedByItsOwnEvent) {
    const ScriptedHelper helper({R"(send '{"method":"account/updated"}')", "hang"});
    std::promise<std::shared_ptr<CodexBridge>> launched;
    std::promise<void> destroyed;
    const auto destroy = [&](const BridgeEvent&) {
        std::shared_ptr<CodexBridge> onlyOwner = launched.get_future().get();
        onlyOwner->close();
        onlyOwner.reset();
        destroyed.set_value();
    };
    launched.set_value(CodexBridge::launch(helper.path(), false, destroy, {}));
    destroyed.get_future().wait();
}

} // namespace
} // namespace tallywick
