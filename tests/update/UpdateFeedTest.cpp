#include "update/UpdateFeed.h"
#include "update/SampleRelease.h"

#include <gtest/gtest.h>

namespace tallywick {
namespace {

using namespace std::string_literals;
using testing::sampleFeed;

bool isAccepted(const std::string& body) {
    const auto manifest = UpdateManifest::parse(body);
    EXPECT_TRUE(manifest || manifest.error() == UpdateFailure::invalidFeed) << body;
    return manifest.has_value();
}

TEST(UpdateManifest, rejectsAFeedInWhichOneMemberIsWrong) {
    const std::string digits(63, 'a');
    const std::string url = sampleFeed()["url"];
    const struct {
        std::string key;
        std::vector<Json> rejected;
        std::vector<Json> accepted = {};
    } rows[] = {
        {"schemaVersion", {0, 2, 1.0, true, "1", nullptr}},
        {"platform", {"linux", "macOS", "macos ", 1}},
        {"bundleIdentifier", {"com.corvane.other", "com.corvane.Tallywick", nullptr}},
        {"version", {"1.2", "0.7.0 ", "v0.7.0", 1, "0.7.1"}},
        {"build", {0, -1, 1'000'000, 42.0, "42", true, Json::parse("1e1")}, {1, 999'999}},
        {"minimumSystemVersion",
         {"1", "1.2.3.4", "1..3", "1.2.", ".1.2", "01.2.3", "1.00.3", "1.2.-3", "1.+2.3", "1.2.3 ",
          "1.2.3\n", "1000000.0.0", "1.2.3\0"s, "1.2.\u0663", "99999999999999999999.0.0", "", 6.1},
         {"14.0", "0.0.0", "999999.999999.999999"}},
        {"architectures",
         {Json::array(), {"arm64", "arm64"}, {"arm64", "aarch64"}, {"arm64", 1}, "arm64", nullptr},
         {{"arm64"}, {"x86_64"}, {"arm64", "x86_64"}}},
        {"url",
         {"http" + url.substr(5), "https://corvane.example.com" + url.substr(23), url + "?x",
          url + "#", "https://u@corvane.example" + url.substr(23), 7}},
        {"bytes",
         {0, -1, 33'554'433, 1.0, "7", Json::parse("99999999999999999999")},
         {1, 33'554'432}},
        {"sha256",
         {digits, digits + "aa", digits + "A", digits + "g", digits + " ", 7},
         {digits + "0"}},
        {"signing", {"Ad-hoc", "developer", false}},
        {"notarized", {true, 0, "false", nullptr}},
        {"releaseNotes",
         {"a\tb", "a\rb", "\0"s, "\u007f", "\u0085", "\u200b", "\u202e", "\ufeff", "\U000e0041",
          std::string(2001, 'x'), std::string(1999, 'x') + "é", 7, nullptr},
         {"", "a\nb\n", std::string(2000, 'x'), "é–\u2028🙂"}},
    };
    for (const auto& row : rows) {
        Json feed = sampleFeed();
        const auto isAcceptedWith = [&](const Json& value) {
            feed[row.key] = value;
            return isAccepted(writeJson(feed));
        };
        for (const Json& value : row.rejected)
            EXPECT_FALSE(isAcceptedWith(value)) << row.key << " " << value;
        for (const Json& value : row.accepted)
            EXPECT_TRUE(isAcceptedWith(value)) << row.key << " " << value;
        EXPECT_EQ(feed.erase(row.key), 1U);
        EXPECT_FALSE(isAccepted(writeJson(feed))) << row.key << " missing";
    }
    EXPECT_EQ(std::size(rows), sampleFeed().size()) << "every member has its row";
}

TEST(UpdateManifest, rejectsABodyOfWhichSomethingWouldBeOverlooked) {
    const std::string body = writeJson(sampleFeed());
    const std::string open = body.substr(0, body.size() - 1);
    const std::string longest = body + std::string(16'384 - body.size(), ' ');
    const struct {
        const char* what;
        std::string body;
        bool isAccepted = false;
    } rows[] = {
        {"as long as it may be", longest, true},
        {"one byte longer", longest + ' '},
        {"nobody's members", open + R"(,"x":{"a":[{"a":1},{"a":2}],"b":"a"}})", true},
        {"a member twice, with one value", open + R"(,"build":42})"},
        {"a member twice, once escaped", open + R"(,"\u0062uild":42})"},
        {"a member twice in an inner object", open + R"(,"x":[[{"a":1,"b":{},"a":1}]]})"},
        {"a NUL behind the object", body + '\0'},
        {"a NUL in white space", " \0 "s + body},
        {"a second value", body + "1"},
        {"no object", "[" + body + "]"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(isAccepted(row.body), row.isAccepted) << row.what;
}

TEST(UpdateAssessment, comparesVersionsFirstAndBuildsOfTheSameVersion) {
    Json feed = sampleFeed();
    feed["minimumSystemVersion"] = "6.1";
    const UpdateManifest manifest = UpdateManifest::parse(writeJson(feed)).value();
    const RunningSystem fitting{"6.1.0", "x86_64"}, older{"6.0.99", "x86_64"},
        stranger{"6.1.0", "riscv64"};
    const struct {
        RunningCopy copy;
        RunningSystem system;
        const char* outcome;
    } rows[] = {
        {{"0.6.10", "99"}, fitting, "available"},
        {{std::nullopt, "42"}, {"6.10", "arm64"}, "available"},
        {{"0.6.0", "1"}, older, "incompatible"},
        {{"0.6.0", "1"}, {"6", "x86_64"}, "incompatible"},
        {{"0.6.0", "1"}, stranger, "incompatible"},
        {{"0.6.0", "1"}, {"6.1.0", "X86_64"}, "incompatible"},
        {{"0.8.0", "1"}, older, "newer installed"},
        {{"0.10.0", std::nullopt}, stranger, "newer installed"},
        {{"0.7.0", "42"}, stranger, "up to date"},
        {{"0.7.0", "+0043"}, fitting, "up to date"},
        {{"0.7.0", "41"}, fitting, "invalidFeed"},
        {{"0.7.0", "+-43"}, fitting, "invalidFeed"},
        {{"0.7.0", "43 "}, fitting, "invalidFeed"},
        {{"0.7.0", std::nullopt}, fitting, "invalidFeed"},
        {{"0.7.0", "9223372036854775808"}, fitting, "invalidFeed"},
        {{"0.7", "42"}, fitting, "invalidFeed"},
        {{"", "42"}, fitting, "invalidFeed"},
    };
    for (const auto& row : rows) {
        const auto result = assess(manifest, row.copy, row.system);
        const char* const texts[] = {"available", "up to date", "newer installed"};
        EXPECT_EQ(result ? texts[static_cast<int>(*result)] : name(result.error()), row.outcome)
            << row.copy.version.value_or("none") << " " << row.copy.build.value_or("none");
    }
}

TEST(RunningSystem, isTheKernelsVersionAndTheProgramsProcessor) {
    EXPECT_EQ(kernelVersion("6.1.0-37-amd64"), "6.1.0");
    EXPECT_EQ(kernelVersion("6.12-rc1"), "6.12.0");
    EXPECT_EQ(kernelVersion(""), "0.0.0");
    const std::string processor = runningSystem().architecture;
    EXPECT_TRUE(processor == "x86_64" || processor == "arm64");
}

} // namespace
} // namespace tallywick
