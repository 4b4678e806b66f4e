#include "codex/HelperProtocol.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tallywick {
namespace {

/// The lengths of the lines in a stream that comes in pieces; -1 where a limit ends it.
std::vector<long> lengths(const std::vector<std::string>& pieces) {
    LineBuffer buffer;
    std::vector<long> found;
    std::string_view line;
    for (const std::string& piece : pieces) {
        buffer.append(piece);
        LineBuffer::Next next = LineBuffer::Next::line;
        while ((next = buffer.next(line)) == LineBuffer::Next::line)
            found.push_back(static_cast<long>(line.size()));
        if (next == LineBuffer::Next::oversized)
            found.push_back(-1);
    }
    return found;
}

TEST(LineBuffer, GivesTheSameLinesWhereverTheStreamIsCut) {
    const std::string stream = "1\n\n333\r\n4444\nunfinished";
    for (std::size_t first = 0; first <= stream.size(); ++first)
        for (std::size_t length = 0; length <= stream.size() - first; ++length)
            ASSERT_EQ(lengths({stream.substr(0, first), stream.substr(first, length),
                               stream.substr(first + length)}),
                      (std::vector<long>{1, 0, 4, 4}))
                << first << ", " << length;
}

TEST(LineBuffer, LimitsTheLengthOfALineAndWhatMayWait) {
    const long limit = 2'097'152;
    const std::string longest(limit, 'x');
    EXPECT_EQ(lengths({longest, "\n"}), std::vector{limit});
    EXPECT_EQ(lengths({"a\n" + longest}), std::vector{1L});
    EXPECT_EQ(lengths({"a\n" + longest, "x"}), (std::vector{1L, -1L}));
    EXPECT_EQ(lengths({"a\n" + longest + "x\n"}), (std::vector{1L, -1L}));
    EXPECT_EQ(lengths({longest + "\n" + longest.substr(1)}), std::vector{limit});
    EXPECT_EQ(lengths({longest + "\n" + longest}), std::vector{-1L});
}

Json json(const std::string& text) { return parseJson(text).value(); }

TEST(HelperProtocol, AllowsSixRequestsAndNoOthers) {
    const std::string longest(128, 'l');
    const auto refusal = [](const std::string& method, const Json& params = Json::object()) {
        try {
            requireAllowed(method, params);
        } catch (const BridgeFailure& failure) {
            return failure.message();
        }
        return std::string();
    };
    for (const char* method :
         {"initialize", "account/read", "account/rateLimits/read", "account/usage/read"})
        EXPECT_EQ(refusal(method), "") << method;
    for (const char* method : {"account/logout", "initialized", ""})
        EXPECT_EQ(refusal(method), "unsupported operation") << method;
    EXPECT_EQ(refusal("account/login/start", {{"type", "chatgpt"}}), "");
    for (const Json& params :
         {Json::object(), Json{{"type", "apikey"}}, Json{{"type", "chatgpt"}, {"more", 1}}})
        EXPECT_EQ(refusal("account/login/start", params),
                  "only explicit managed browser sign-in is supported");
    EXPECT_EQ(refusal("account/login/cancel", {{"loginId", longest}}), "");
    for (const Json& params :
         {Json::object(), Json{{"loginId", ""}}, Json{{"loginId", "l"}, {"more", 1}},
          Json{{"loginId", longest + "l"}}})
        EXPECT_EQ(refusal("account/login/cancel", params), "invalid login identifier");
}

TEST(HelperProtocol, ReadsAnswers) {
    const std::pair<std::string, std::string> rows[] = {
        {R"({"id":1,"result":{"a":1}})", R"({"a":1})"},
        {R"({"error":"x","result":{"a":1}})", R"({"a":1})"},
        {R"({"result":[]})", "Codex response error: missing result"},
        {"{}", "Codex response error: missing result"},
        {R"({"error":{"message":"x"},"result":{}})", "Codex error: x"},
        {R"({"error":{"code":429,"message":"x"}})", "Codex error 429: x"},
        {R"({"error":{"code":429.0,"message":1}})", "Codex error: Request failed"},
        {R"({"error":{"message":"é)" + std::string(1000, 'm') + "\"}}",
         "Codex error: é" + std::string(399, 'm')},
    };
    for (const auto& [response, expected] : rows) {
        const HelperAnswer answer = answerIn(json(response));
        EXPECT_EQ(answer ? writeJson(*answer) : answer.error().description(), expected);
    }

    const auto version = [](const Json& userAgent) {
        return helperVersion({{"userAgent", userAgent}}).value_or("none");
    };
    EXPECT_EQ(version("1.2 0.169. 1..2.3 codex/4.55.6-b"), "4.55.6");
    EXPECT_EQ(version("1.2." + std::string(40, '3')), "1.2." + std::string(28, '3'));
    EXPECT_EQ(version("codex/1.2"), "none");
    EXPECT_EQ(version(1.5), "none");
}

TEST(HelperProtocol, ReadsWhatTheHelperAnnounces) {
    const std::string longest(128, 'l');
    const std::string ofAccount = "account/updated";
    const std::string ofLogin = "account/login/completed";
    const struct {
        std::string method;
        std::string message;
        std::optional<BridgeEvent> event;
    } rows[] = {
        {ofAccount, R"({"params":{"authMode":"chatgpt"}})", AccountChanged{"chatgpt"}},
        {ofAccount, R"({"params":{"authMode":"apikey"}})", AccountChanged{"apikey"}},
        {ofAccount, R"({"params":{"authMode":"other"}})", AccountChanged{}},
        {ofAccount, R"({"params":[]})", AccountChanged{}},
        {ofLogin, R"({"params":{"loginId":"L","success":true}})", LoginCompleted{"L", true}},
        {ofLogin, R"({"params":{"loginId":"L","success":1}})", LoginCompleted{"L", false}},
        {ofLogin, R"({"params":{"loginId":")" + longest + "\"}}", LoginCompleted{longest, false}},
        {ofLogin, R"({"params":{"loginId":"l)" + longest + "\"}}", {}},
        {ofLogin, "{}", {}},
        {"account/chatgptAuthTokens/refresh", "{}", {}}, // no request
        {"configWarning", R"({"params":{}})", {}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(announcementIn(row.method, json(row.message)), row.event) << row.message;
}

TEST(HelperProtocol, RefusesTheHelpersRequestsUnderTheirIds) {
    for (const std::string id : {R"("abc")", R"("")", "-1", "18446744073709551615", "1.50", "1e2",
                                 "123456789012345678901234567890"}) {
        const std::string line = R"({"id":)" + id + R"(,"method":"execCommandApproval"})";
        EXPECT_EQ(refusalOf(json(line)["id"], line),
                  R"({"id":)" + id
                      + R"(,"error":{"code":-32601,"message":"This utility does not provide )"
                        R"(tokens or execute server requests."}})");
    }
}

} // namespace
} // namespace tallywick
