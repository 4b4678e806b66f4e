#include "codex/CodexBridge.h"

#include "support/ScriptedHelper.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <array>
#include <fstream>
#include <system_error>
#include <thread>

namespace tallywick {
namespace {

using ::testing::ElementsAre;
using testing::ScriptedHelper;
using testing::TemporaryFolder;

using Seconds = AccountTransport::Seconds;
using Steps = std::vector<std::string>;

constexpr Seconds longEnough{60};
constexpr Seconds atOnce{0.02};
constexpr auto childEnd = std::chrono::seconds(20);

const std::string closedText = BridgeFailure::closed().description();
const std::string timeoutText = BridgeFailure::timeout().description();
const std::string oversizedText = BridgeFailure::oversizedResponse().description();

std::string toText(const BridgeEvent& event) {
    if (const auto* changed = std::get_if<AccountChanged>(&event))
        return "account " + changed->mode.value_or("-");
    if (const auto* login = std::get_if<LoginCompleted>(&event))
        return "login " + login->loginId + (login->success ? " yes" : " no");
    return "external refresh";
}

/// A bridge to a helper that follows a script.
class Session {
  public:
    explicit Session(const Steps& steps, const CodexBridge::Options& options = {})
        : helper(steps),
          bridge(CodexBridge::launch(
              helper.path(), false, [this](const BridgeEvent& event) { addEvent(toText(event)); },
              options)) {}
    ~Session() { end(); }

    /// The result of a request as JSON text, or the description of its failure.
    std::string ask(const std::string& method, const Json& params = Json::object(),
                    Seconds timeout = longEnough) const {
        try {
            return writeJson(bridge->request(method, params, timeout));
        } catch (const BridgeFailure& failure) {
            return failure.description();
        }
    }

    /// Waits until so many events have come and returns them all.
    std::vector<std::string> waitForEvents(std::size_t count) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        MutexLock lock(mutex);
        while (events.size() < count && changed.waitUntil(mutex, deadline)) {
        }
        return events;
    }

    /// Closes the bridge and returns every line that the helper read.
    std::vector<std::string> end() {
        bridge->close();
        EXPECT_TRUE(waitForChildProcesses(childEnd));
        return helper.received();
    }

  private:
    void addEvent(std::string event) {
        MutexLock lock(mutex);
        events.push_back(std::move(event));
        changed.notifyAll();
    }

    ScriptedHelper helper;
    Mutex mutex;
    Condition changed;
    std::vector<std::string> events GUARDED_BY(mutex);

  public:
    std::shared_ptr<CodexBridge> bridge;
};

TEST(CodexBridge, AnswersARequestWhateverElseTheHelperDoes) {
    const std::string answer = R"(send {"id":$ID,"result":{"right":true}})";
    const std::string right = R"({"right":true})";
    const std::string missingResult = "Codex response error: missing result";
    struct Case {
        const char* name;
        Steps steps; // after the request was read
        std::string outcome;
    };
    const Case cases[] = {
        {"a plain answer", {answer}, right},
        {"an answer byte by byte", {"bytewise " + answer.substr(5)}, right},
        {"an answer that another one follows", {answer, R"(send {"id":$ID,"result":{}})"}, right},
        {"lines that are no messages",
         {R"(raw \n\r\njunk\n[1]\n"text"\n{"id":$ID,"result"\n\0\n{"id":$ID,"result":{}}\0x\n)",
          answer},
         right},
        {"invalid UTF-8 in a message",
         {"raw {\"id\":$ID,\"result\":{\"a\":\"\xC3\x28\"}}\\n", answer},
         right},
        {"a byte order mark and a carriage return",
         {"raw \xEF\xBB\xBF{\"id\":$ID,\"result\":{\"right\":true}}\\r\\n"},
         right},
        {"answers to nobody",
         {R"(send {"id":99,"result":{}})", R"(send {"id":"$ID","result":{}})",
          R"(send {"id":$ID.0,"result":{}})", R"(send {"id":99999999999999999999,"result":{}})",
          R"(send {"id":null,"result":{}})", R"(send {"result":{}})", answer},
         right},
        {"notifications and requests of its own in between",
         {R"(send {"method":"configWarning","params":{}})",
          R"(send {"method":"item/tool/call","id":$ID,"params":{}})",
          R"(send {"method":"account/updated"})", answer},
         right},
        {"many requests of its own whose replies it never reads",
         {"ask-often 25000", answer},
         right},
        {"a flooded standard error", {"flood-errors 1000000", answer}, right},
        {"an input that it closes before the answer", {"close-input", answer, "hang"}, right},
        {"an answer with its last breath", {answer, "exit 0"}, right},
        {"a crash behind the answer", {answer, "die-of 11"}, right},
        {"an exit without an answer", {"exit 3"}, closedText},
        {"a crash", {"die-of 11"}, closedText},
        {"an exit that leaves a grandchild with the pipes", {"grandchild", "exit 0"}, closedText},
        {"an output that it closes", {"close-output", "hang"}, closedText},
        {"half an answer", {R"(raw {"id":$ID,"result":{"right")", "exit 0"}, closedText},
        {"a result that is an array", {R"(send {"id":$ID,"result":[]})"}, missingResult},
        {"neither result nor error", {R"(send {"id":$ID})"}, missingResult},
        {"an error that is no object, and a result",
         {R"(send {"id":$ID,"error":"x","result":{"right":true}})"},
         right},
        {"an error with a message alone",
         {R"(send {"error":{"message":"x"},"id":$ID})"},
         "Codex error: x"},
        {"an error with a code",
         {R"(send {"id":$ID,"error":{"code":429,"message":"x"}})"},
         "Codex error 429: x"},
        {"an error whose members are of the wrong type",
         {R"(send {"id":$ID,"error":{"code":429.0,"message":1}})"},
         "Codex error: Request failed"},
        {"a long error message, cut between characters",
         {R"(send {"id":$ID,"error":{"message":"é)" + std::string(1000, 'm') + "\"}}"},
         "Codex error: é" + std::string(399, 'm')},
        {"too long a line", {"answer-of 2097153"}, oversizedText},
        {"too many bytes without a line feed", {"flood 2097153"}, oversizedText},
        {"more after too long a line", {"flood 3000000", "raw \\n", answer}, oversizedText},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.name);
        Steps steps{"expect account/read"};
        steps.insert(steps.end(), row.steps.begin(), row.steps.end());
        const Session session(steps);
        EXPECT_EQ(session.ask("account/read"), row.outcome);
    }
}

TEST(CodexBridge, TakesTheLongestLine) {
    const Session session({"expect account/read", "answer-of 2097152"});
    EXPECT_GT(session.ask("account/read").size(), 2'097'000U);
}

TEST(CodexBridge, WritesItsMessagesByteForByte) {
    Session session({"expect initialize", R"(send {"id":$ID,"result":{}})", "expect initialized",
                     R"(send {"method":"account/updated"})", "expect account/read",
                     R"(send {"id":$ID,"result":{}})", "expect account/login/cancel",
                     R"(send {"id":$ID,"result":{}})"});
    session.bridge->initialize();
    session.ask("account/read", {{"refreshToken", false}});
    session.ask("account/login/cancel", {{"loginId", "é\"\n"}});
    EXPECT_THAT(
        session.end(),
        ElementsAre(
            R"({"id":1,"method":"initialize","params":{"clientInfo":{"name":"corvane_tallywick_mac",)"
            R"("title":"Corvane Tallywick","version":"0.6.0"}}})",
            R"({"method":"initialized","params":{}})",
            R"({"id":2,"method":"account/read","params":{"refreshToken":false}})",
            R"({"id":3,"method":"account/login/cancel","params":{"loginId":"é\"\n"}})"));
}

TEST(CodexBridge, RefusesTheHelpersOwnRequestsUnderTheirIds) {
    const Steps ids{"\"abc\"",
                    "\"\"",
                    "7",
                    "-1",
                    "18446744073709551615",
                    "1.50",
                    "1e2",
                    "123456789012345678901234567890"};
    Steps steps;
    std::vector<std::string> replies;
    for (const std::string& id : ids) {
        steps.push_back(R"(send {"id":)" + id + R"(,"method":"execCommandApproval"})");
        steps.emplace_back("read-reply");
        replies.push_back(
            R"({"id":)" + id
            + R"(,"error":{"code":-32601,"message":"This utility does not provide tokens or )"
              R"(execute server requests."}})");
    }
    steps.emplace_back(R"(send {"method":"account/login/completed","params":{"loginId":"end"}})");
    Session session(steps);
    EXPECT_THAT(session.waitForEvents(1), ElementsAre("login end no"));
    EXPECT_EQ(session.end(), replies);
}

TEST(CodexBridge, ReportsWhatTheHelperAnnounces) {
    struct Case {
        const char* name;
        const char* message;
        std::vector<std::string> events;
        std::optional<std::string> mode;
        std::int64_t revision;
    };
    const std::string longId(128, 'l');
    const std::string longLogin =
        R"({"method":"account/login/completed","params":{"loginId":")" + longId + "\"}}";
    const std::string tooLongLogin =
        R"({"method":"account/login/completed","params":{"loginId":")" + longId + "l\"}}";
    const Case cases[] = {
        {"a known mode",
         R"({"method":"account/updated","params":{"authMode":"chatgpt"}})",
         {"account chatgpt"},
         "chatgpt",
         1},
        {"an unknown mode",
         R"({"method":"account/updated","params":{"authMode":"other"}})",
         {"account -"},
         std::nullopt,
         1},
        {"a mode of the wrong type",
         R"({"method":"account/updated","params":{"authMode":1}})",
         {"account -"},
         std::nullopt,
         1},
        {"a notification, since its id is no string and no number",
         R"({"method":"account/updated","id":null,"params":{"authMode":"apikey"}})",
         {"account apikey"},
         "apikey",
         1},
        {"no parameters",
         R"({"method":"account/updated","params":[],"more":1})",
         {"account -"},
         std::nullopt,
         1},
        {"a completed sign-in",
         R"({"method":"account/login/completed","params":{"loginId":"L","success":true}})",
         {"login L yes"},
         std::nullopt,
         0},
        {"a sign-in whose success is no boolean",
         R"({"method":"account/login/completed","params":{"loginId":"L","success":1}})",
         {"login L no"},
         std::nullopt,
         0},
        {"the longest login id", longLogin.c_str(), {"login " + longId + " no"}, std::nullopt, 0},
        {"too long a login id", tooLongLogin.c_str(), {}, std::nullopt, 0},
        {"no login id", R"({"method":"account/login/completed"})", {}, std::nullopt, 0},
        {"a request for tokens",
         R"({"method":"account/chatgptAuthTokens/refresh","id":"abc"})",
         {"external refresh"},
         "chatgptAuthTokens",
         0},
        {"a notification that only looks like a request for tokens",
         R"({"method":"account/chatgptAuthTokens/refresh"})",
         {},
         std::nullopt,
         0},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.name);
        // After the request: a refusal of ours may not come between them.
        Session session({"expect account/read", std::string("send ") + row.message,
                         R"(send {"id":$ID,"result":{}})"});
        EXPECT_EQ(session.ask("account/read"), "{}");
        EXPECT_EQ(session.waitForEvents(row.events.size()), row.events);
        EXPECT_EQ(session.bridge->mode(), row.mode);
        EXPECT_EQ(session.bridge->revision(), row.revision);
    }
}

TEST(CodexBridge, LearnsTheVersionFromTheHandshake) {
    struct Case {
        const char* userAgent;
        const char* version;
    };
    const Case cases[] = {
        {R"("helper/1.22.3-beta [Debian 12.0.0]")", "1.22.3"},
        {R"("1.2 33.44.55.66")", "33.44.55"},
        {R"("1.2.x 1..2.3 4.5.6.")", "4.5.6"},
        {R"("0.169.")", "not reported"},
        {R"("1234567890123456789012345.67890.12345")", "1234567890123456789012345.67890."},
        {"7", "not reported"},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.userAgent);
        CodexBridge::Options options;
        options.announcementWait = atOnce;
        const Session session(
            {"expect initialize",
             std::string(R"(send {"id":$ID,"result":{"userAgent":)") + row.userAgent + "}}",
             "expect initialized"},
            options);
        session.bridge->initialize();
        EXPECT_EQ(session.bridge->version(), row.version);
    }
}

TEST(CodexBridge, WaitsForTheFirstReportOfTheMode) {
    CodexBridge::Options patient;
    patient.announcementWait = Seconds(10'000);
    const std::string answer = R"(send {"id":$ID,"result":{}})";
    const std::string report =
        R"(send {"method":"account/updated","params":{"authMode":"chatgpt"}})";
    for (const Steps& steps : {Steps{"expect initialize", answer, "expect initialized", report},
                               Steps{"expect initialize", report, answer, "expect initialized"}}) {
        const Session session(steps, patient);
        session.bridge->initialize();
        EXPECT_EQ(session.bridge->mode(), "chatgpt");
        EXPECT_EQ(session.bridge->revision(), 1);
    }
    const Session ended({"expect initialize", answer, "expect initialized", "exit 0"}, patient);
    ended.bridge->initialize(); // nobody is left to report anything
    EXPECT_EQ(ended.ask("account/read"), closedText);
}

TEST(CodexBridge, FailsTheHandshakeOfAHelperThatDoes) {
    CodexBridge::Options options;
    options.initializeTimeout = atOnce;
    const ScriptedHelper silent({"hang"});
    EXPECT_THROW(CodexBridge::launch(
                     silent.path(), true, [](const BridgeEvent&) {}, options),
                 BridgeFailure);
    EXPECT_TRUE(waitForChildProcesses(childEnd)); // closed with the failure
}

TEST(CodexBridge, SendsOnlyWhatItMay) {
    const std::string unsupported = "Codex response error: unsupported operation";
    const std::string onlyManaged =
        "Codex response error: only explicit managed browser sign-in is supported";
    const std::string invalidLogin = "Codex response error: invalid login identifier";
    struct Case {
        std::string method;
        Json params;
        std::string outcome;
    };
    const Case cases[] = {
        {"account/logout", Json::object(), unsupported},
        {"", Json::object(), unsupported},
        {"initialized", Json::object(), unsupported},
        {"account/login/start", {{"type", "apikey"}}, onlyManaged},
        {"account/login/start", Json::object(), onlyManaged},
        {"account/login/start", {{"type", "chatgpt"}, {"more", 1}}, onlyManaged},
        {"account/login/cancel", Json::object(), invalidLogin},
        {"account/login/cancel", {{"loginId", ""}}, invalidLogin},
        {"account/login/cancel", {{"loginId", 7}}, invalidLogin},
        {"account/login/cancel", {{"loginId", std::string(129, 'l')}}, invalidLogin},
        {"account/login/cancel", {{"loginId", "l"}, {"more", 1}}, invalidLogin},
        {"account/read", {{"padding", std::string(2'097'152, 'x')}}, oversizedText},
    };
    Session session({"expect account/login/start", R"(send {"id":$ID,"result":{}})"});
    for (const Case& row : cases)
        EXPECT_EQ(session.ask(row.method, row.params), row.outcome) << row.method;
    EXPECT_THROW(session.bridge->request("account/read", {{"text", "\xFF"}}), Json::type_error);
    EXPECT_EQ(session.ask("account/login/start", {{"type", "chatgpt"}}), "{}");
    EXPECT_EQ(session.end().size(), 1U);
}

TEST(CodexBridge, TimesOutAndDropsTheLateAnswer) {
    const Session session({"expect account/read", "expect account/usage/read",
                           R"(send {"id":1,"result":{"late":true}})",
                           R"(send {"id":2,"result":{"right":true}})"});
    EXPECT_EQ(session.ask("account/read", Json::object(), atOnce), timeoutText);
    EXPECT_EQ(session.ask("account/usage/read"), R"({"right":true})");
}

TEST(CodexBridge, DoesNotWaitForAHelperThatNeverReads) {
    const Session session({"hang"});
    const Json large{{"padding", std::string(1'900'000, 'x')}};
    for (int i = 0; i < 8; ++i) // more than may lie unread
        EXPECT_EQ(session.ask("account/read", large, atOnce), timeoutText);
}

TEST(CodexBridge, MatchesAnswersOutOfOrder) {
    const std::string readOne =
        R"(send {"method":"account/login/completed","params":{"loginId":"read"}})";
    Session session({"expect account/read", readOne, "expect account/usage/read",
                     R"(send {"id":2,"result":{"answer":2}})",
                     R"(send {"id":1,"result":{"answer":1}})"});
    std::string first;
    std::thread thread([&] { first = session.ask("account/read"); });
    session.waitForEvents(1);
    EXPECT_EQ(session.ask("account/usage/read"), R"({"answer":2})");
    thread.join();
    EXPECT_EQ(first, R"({"answer":1})");
}

TEST(CodexBridge, RefusesAFifthRequestAndFailsAllWhenClosed) {
    Steps steps(4, "expect account/read");
    steps.emplace_back(R"(send {"method":"account/login/completed","params":{"loginId":"four"}})");
    Session session(steps);
    std::array<std::string, 4> outcomes;
    std::vector<std::thread> threads;
    threads.reserve(outcomes.size());
    for (std::string& outcome : outcomes)
        threads.emplace_back([&] { outcome = session.ask("account/read"); });
    session.waitForEvents(1);
    EXPECT_EQ(session.ask("account/read"), closedText);
    session.bridge->close();
    session.bridge->close();
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_THAT(outcomes, ::testing::Each(closedText));
    EXPECT_EQ(session.ask("account/read"), closedText);
    EXPECT_EQ(session.end().size(), 4U);
}

TEST(CodexBridge, EndsADeafHelperAndItsChildren) {
    CodexBridge::Options options;
    options.killGrace = std::chrono::milliseconds(20);
    const std::string ready =
        R"(send {"method":"account/login/completed","params":{"loginId":"ready"}})";
    for (const Steps& steps : {Steps{"deaf-to-sigterm", "grandchild", ready, "hang"},
                               Steps{"deaf-to-sigterm", ready, "stop"},
                               Steps{"deaf-to-sigterm", "flood 2097153", ready, "hang"}}) {
        Session session(steps, options);
        if (steps.back() != "hang" || steps[1] == "grandchild")
            session.waitForEvents(1);
        else
            session.ask("account/read"); // ended by the oversized line alone
    }                                    // the session waits for the end
}

TEST(CodexBridge, MayBeClosedAndDestroyedByItsOwnEvent) {
    const ScriptedHelper helper({R"(send {"method":"account/updated"})", "hang"});
    Mutex mutex;
    Condition changed;
    bool destroyed = false;
    std::shared_ptr<CodexBridge> bridge;
    {
        MutexLock lock(mutex); // holds the event back until `bridge` is set
        bridge = CodexBridge::launch(helper.path(), false,
                                     [&](const BridgeEvent&) {
                                         MutexLock eventLock(mutex);
                                         bridge->close();
                                         bridge.reset();
                                         destroyed = true;
                                         changed.notifyAll();
                                     },
                                     {});
    }
    MutexLock lock(mutex);
    while (!destroyed)
        changed.wait(mutex);
    EXPECT_EQ(bridge, nullptr);
}

TEST(CodexBridge, DoesNotStartWhatIsNoExecutable) {
    const TemporaryFolder folder;
    std::ofstream(folder / "plain") << "text";
    std::ofstream(folder / "script") << "neither a program nor a script\n";
    ::chmod((folder / "script").c_str(), 0700);
    const auto launch = [](const std::filesystem::path& path) {
        CodexBridge::launch(path, false, [](const BridgeEvent&) {}, {});
    };
    for (const auto& path : {folder / "missing", folder / "plain", folder.path()}) {
        try {
            launch(path);
            ADD_FAILURE() << path;
        } catch (const BridgeFailure& failure) {
            EXPECT_EQ(failure, BridgeFailure::invalidExecutable());
        }
    }
    EXPECT_THROW(launch(folder / "script"), std::system_error);
}

} // namespace
} // namespace tallywick
