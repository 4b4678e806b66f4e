#include "update/UpdateFeed.h"
#include "base/Json.h"

#include <gtest/gtest.h>

namespace tallywick {
namespace {

using namespace std::string_literals;

TEST(ReleaseVersion, isStrictAboutItsText) {
    constexpr auto release = ReleaseVersion::Form::threeNumbers;
    constexpr auto system = ReleaseVersion::Form::twoOrThreeNumbers;
    for (const char* text : {"0.0.0", "999999.999999.999999"})
        EXPECT_TRUE(ReleaseVersion::parse(text, release)) << text;
    EXPECT_FALSE(ReleaseVersion::parse("1.2", release));
    EXPECT_TRUE(ReleaseVersion::parse("1.2", system));
    for (const std::string& text :
         {"1"s, ""s, "1.2.3.4"s, "1..3"s, "1.2."s, ".1.2"s, "01.2.3"s, "1.00.3"s, "1.2.-3"s,
          "1.+2.3"s, "1.2.3 "s, "1.2.3\n"s, "1000000.0.0"s, "1.2.3\0"s, "1.2.\u0663"s,
          "99999999999999999999.0.0"s, "0.0." + std::string(40, '0')})
        EXPECT_FALSE(ReleaseVersion::parse(text, system)) << text;
}

/// A feed that is accepted, as the maker publishes it.
Json sampleFeed() {
    return parseJson(R"({"schemaVersion": 1, "platform": "macos",
        "bundleIdentifier": "com.corvane.tallywick", "version": "0.7.0", "build": 42,
        "minimumSystemVersion": "6.1", "architectures": ["x86_64", "arm64"],
        "url": "https://corvane.example/toolyard/tallywick/downloads/Corvane-Tallywick-Mac-0.7.0-App-Only.zip",
        "bytes": 1234567, "signing": "ad-hoc", "notarized": false, "releaseNotes": "Faster.\n“Quieter”.",
        "sha256": "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef"})")
        .value();
}

TEST(UpdateManifest, keepsWhatTheFeedTells) {
    const Json feed = sampleFeed();
    const UpdateManifest expected{.version = "0.7.0",
                                  .build = 42,
                                  .minimumSystemVersion = "6.1",
                                  .architectures = {"x86_64", "arm64"},
                                  .url = feed["url"],
                                  .bytes = 1'234'567,
                                  .sha256 = feed["sha256"],
                                  .releaseNotes = "Faster.\n“Quieter”."};
    EXPECT_EQ(UpdateManifest::parse(writeJson(feed)), expected);
}

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
        std::vector<Json> accepted;
    } rows[] = {
        {"schemaVersion", {0, 2, 1.0, true, "1", nullptr}, {}},
        {"platform", {"linux", "macOS", "macos ", 1}, {}},
        {"bundleIdentifier", {"com.corvane.other", "com.corvane.Tallywick", nullptr}, {}},
        {"version", {"1.2", "0.7.0 ", "v0.7.0", 1, "0.7.1"}, {}},
        {"build", {0, -1, 1'000'000, 42.0, "42", true, Json::parse("1e1")}, {1, 999'999}},
        {"minimumSystemVersion", {"14", "6.1.0.0", 6.1, "", nullptr}, {"14.0", "6.1.0"}},
        {"architectures",
         {Json::array(), {"arm64", "arm64"}, {"arm64", "aarch64"}, {"arm64", 1}, "arm64", nullptr},
         {{"arm64"}, {"x86_64"}, {"arm64", "x86_64"}}},
        {"url",
         {"http" + url.substr(5), "https://corvane.example.com" + url.substr(23), url + "?x",
          url + "#", "https://u@corvane.example" + url.substr(23), 7},
         {}},
        {"bytes",
         {0, -1, 33'554'433, 1.0, "7", Json::parse("99999999999999999999")},
         {1, 33'554'432}},
        {"sha256",
         {digits, digits + "aa", digits + "A", digits + "g", digits + " ", 7},
         {digits + "0"}},
        {"signing", {"Ad-hoc", "developer", false}, {}},
        {"notarized", {true, 0, "false", nullptr}, {}},
        {"releaseNotes",
         {"a\tb", "a\rb", "\0"s, "\u007f", "\u0085", "\u200b", "\u202e", "\ufeff", "\U000e0041",
          std::string(2001, 'x'), std::string(1999, 'x') + "é", 7, nullptr},
         {"", "a\nb\n", std::string(2000, 'x'), "é–\u2028🙂"}},
    };
    for (const auto& row : rows) {
        Json feed = sampleFeed();
        ASSERT_TRUE(feed.contains(row.key));
        for (const Json& value : row.rejected) {
            feed[row.key] = value;
            EXPECT_FALSE(isAccepted(writeJson(feed))) << row.key << " " << value;
        }
        for (const Json& value : row.accepted) {
            feed[row.key] = value;
            EXPECT_TRUE(isAccepted(writeJson(feed))) << row.key << " " << value;
        }
        feed.erase(row.key);
        EXPECT_FALSE(isAccepted(writeJson(feed))) << row.key << " missing";
    }
    EXPECT_EQ(std::size(rows), sampleFeed().size()) << "every member has its row";
}

TEST(UpdateManifest, rejectsABodyOfWhichSomethingWouldBeOverlooked) {
    const std::string body = writeJson(sampleFeed());
    const std::string open = body.substr(0, body.size() - 1);
    const std::string padding(16'384 - body.size(), ' ');
    EXPECT_TRUE(isAccepted(body + padding));
    EXPECT_TRUE(isAccepted(open + R"(,"x":{"a":[{"a":1},{"a":2}],"b":"a"}})"))
        << "nobody's members";
    const std::pair<const char*, std::string> rows[] = {
        {"one byte too long", body + padding + ' '},
        {"a member twice, with one value", open + R"(,"build":42})"},
        {"a member twice, once escaped", open + R"(,"\u0062uild":42})"},
        {"a member twice in an inner object", open + R"(,"x":[[{"a":1,"b":{},"a":1}]]})"},
        {"a NUL behind the object", body + '\0'},
        {"a NUL in white space", " \0 "s + body},
        {"a second value", body + "1"},
        {"no object", "[" + body + "]"},
    };
    for (const auto& [what, rejected] : rows)
        EXPECT_FALSE(isAccepted(rejected)) << what;
}

TEST(UpdateAssessment, comparesVersionsFirstAndBuildsOfTheSameVersion) {
    const UpdateManifest manifest = UpdateManifest::parse(writeJson(sampleFeed())).value();
    const RunningSystem fitting{"6.1.0", "x86_64"};
    const struct {
        RunningCopy copy;
        RunningSystem system;
        const char* outcome;
    } rows[] = {
        {{"0.6.10", "99"}, fitting, "available"},
        {{std::nullopt, "42"}, {"6.10", "arm64"}, "available"},
        {{"0.6.0", "1"}, {"6.0.99", "x86_64"}, "incompatible"},
        {{"0.6.0", "1"}, {"5.15.0", "x86_64"}, "incompatible"},
        {{"0.6.0", "1"}, {"6", "x86_64"}, "incompatible"},
        {{"0.6.0", "1"}, {"6.1.0", "riscv64"}, "incompatible"},
        {{"0.8.0", "1"}, fitting, "newer installed"},
        {{"0.10.0", std::nullopt}, fitting, "newer installed"},
        {{"0.7.0", "42"}, {"6.0.99", "riscv64"}, "up to date"},
        {{"0.7.0", "+0043"}, fitting, "up to date"},
        {{"0.7.0", "41"}, fitting, "invalidFeed"},
        {{"0.7.0", "-42"}, fitting, "invalidFeed"},
        {{"0.7.0", "+-43"}, fitting, "invalidFeed"},
        {{"0.7.0", "43 "}, fitting, "invalidFeed"},
        {{"0.7.0", ""}, fitting, "invalidFeed"},
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
    const RunningSystem system = runningSystem();
    EXPECT_TRUE(ReleaseVersion::parse(system.version, ReleaseVersion::Form::threeNumbers))
        << system.version;
    EXPECT_TRUE(system.architecture == "x86_64" || system.architecture == "arm64");
}

} // namespace
} // namespace tallywick
