#include "update/UpdateFeed.h"
#include "base/Json.h"

#include <gtest/gtest.h>

namespace tallywick {
namespace {

using namespace std::string_literals;

TEST(ReleaseVersion, isStrictAboutItsText) {
    constexpr auto release = ReleaseVersion::Form::threeNumbers;
    constexpr auto system = ReleaseVersion::Form::twoOrThreeNumbers;
    for (const char* text : {"0.0.0", "999999.0.1", "999999.999999.999999"}) {
        EXPECT_TRUE(ReleaseVersion::parse(text, release)) << text;
        EXPECT_TRUE(ReleaseVersion::parse(text, system)) << text;
    }
    EXPECT_FALSE(ReleaseVersion::parse("1.2", release));
    EXPECT_TRUE(ReleaseVersion::parse("1.2", system));
    for (const std::string& text :
         {"1"s, ""s, "1.2.3.4"s, "1..3"s, "1.2."s, ".1.2"s, "01.2.3"s, "1.00.3"s, "1.2.-3"s,
          "1.+2.3"s, "1.2.3 "s, "1.2.3\n"s, "1000000.0.0"s, "1.2.3\0"s, "1.2.\u0663"s,
          "99999999999999999999.0.0"s, "0.0." + std::string(40, '0')}) {
        EXPECT_FALSE(ReleaseVersion::parse(text, release)) << text;
        EXPECT_FALSE(ReleaseVersion::parse(text, system)) << text;
    }
    EXPECT_LT(ReleaseVersion::parse("1.9.9", system), ReleaseVersion::parse("1.10.0", system));
    EXPECT_LT(ReleaseVersion::parse("1.9.10", system), ReleaseVersion::parse("2.0.0", system));
    EXPECT_EQ(ReleaseVersion::parse("14.0", system), ReleaseVersion::parse("14.0.0", system));
}

TEST(UpdateFailure, hasANameAndASentenceForEachCase) {
    using enum UpdateFailure;
    EXPECT_EQ(name(invalidFeed), "invalidFeed");
    EXPECT_EQ(name(invalidBundle), "invalidBundle");
    const std::pair<UpdateFailure, const char*> sentences[] = {
        {invalidFeed, "The Mac update feed is missing or invalid. No update was installed."},
        {incompatible, "The available update requires a different macOS version or processor."},
        {redirect, "The update server redirected to another location. Download blocked."},
        {server, "The Mac update feed is not available on the website yet, or the server returned "
                 "an error."},
        {offline, "Unable to contact the update server. Check your connection and retry."},
        {oversized, "The update exceeded the allowed download size."},
        {corrupt, "The update's size or SHA-256 does not match. The download was rejected."},
        {unsafeArchive, "This update contains an unsafe or unsupported archive layout."},
        {cancelled, "Update cancelled."},
        {disk, "Cannot prepare the update cache. Check free space and folder permissions."},
        {invalidBundle, "The downloaded app's identity, version, or signature is invalid."},
    };
    for (const auto& [failure, sentence] : sentences)
        EXPECT_EQ(message(failure), sentence);
}

/// A feed that is accepted, as the maker publishes it.
Json sampleFeed() {
    return parseJson(R"({"schemaVersion": 1, "platform": "macos",
        "bundleIdentifier": "com.corvane.tallywick", "version": "0.7.0", "build": 42,
        "minimumSystemVersion": "6.1", "architectures": ["x86_64", "arm64"],
        "url": "https://corvane.example/toolyard/tallywick/downloads/Corvane-Tallywick-Mac-0.7.0-App-Only.zip",
        "bytes": 1234567, "signing": "ad-hoc", "notarized": false, "releaseNotes": "",
        "sha256": "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef"})")
        .value();
}

TEST(UpdateManifest, keepsWhatTheFeedTells) {
    Json feed = sampleFeed();
    feed["releaseNotes"] = "Faster.\nQuieter – and “smaller”.";
    const auto manifest = UpdateManifest::parse(writeJson(feed));
    ASSERT_TRUE(manifest);
    const UpdateManifest expected{.version = "0.7.0",
                                  .build = 42,
                                  .minimumSystemVersion = "6.1",
                                  .architectures = {"x86_64", "arm64"},
                                  .url = feed["url"],
                                  .bytes = 1'234'567,
                                  .sha256 = feed["sha256"],
                                  .releaseNotes = "Faster.\nQuieter – and “smaller”."};
    EXPECT_EQ(*manifest, expected);
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
    const auto padded = [&](std::size_t size) {
        return body + std::string(size - body.size(), ' ');
    };
    const struct {
        const char* what;
        std::string body;
        bool isAccepted;
    } rows[] = {
        {"as it is", body, true},
        {"members that nobody knows", open + R"(,"x":{"a":[{"a":1},{"a":2}],"b":"a"}})", true},
        {"as long as allowed", padded(16'384), true},
        {"one byte longer", padded(16'385), false},
        {"a member twice, with one value", open + R"(,"build":42})", false},
        {"a member twice, once escaped", open + R"(,"\u0062uild":42})", false},
        {"a member twice in an inner object", open + R"(,"x":[[{"a":1,"b":{},"a":1}]]})", false},
        {"a NUL behind the object", body + '\0', false},
        {"a NUL and a second object", body + '\0' + body, false},
        {"a NUL in white space", " \0 "s + body, false},
        {"a second value", body + "1", false},
        {"cut", open, false},
        {"empty", "", false},
        {"no object", "[" + body + "]", false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(isAccepted(row.body), row.isAccepted) << row.what;
}

TEST(UpdateManifest, isCompatibleWithItsMinimumAndItsProcessors) {
    UpdateManifest manifest;
    manifest.minimumSystemVersion = "6.1";
    manifest.architectures = {"arm64"};
    EXPECT_TRUE(manifest.isCompatible("6.1.0", "arm64"));
    EXPECT_TRUE(manifest.isCompatible("6.10", "arm64"));
    for (const char* version : {"6.0.99", "5.15.0", "6", "", "6.1.0-37-amd64"})
        EXPECT_FALSE(manifest.isCompatible(version, "arm64")) << version;
    for (const char* architecture : {"x86_64", "ARM64", ""})
        EXPECT_FALSE(manifest.isCompatible("6.1.0", architecture)) << architecture;
    manifest.minimumSystemVersion = "";
    EXPECT_FALSE(manifest.isCompatible("6.1.0", "arm64"));
}

TEST(UpdateAssessment, comparesVersionsFirstAndBuildsOfTheSameVersion) {
    UpdateManifest manifest;
    manifest.version = "1.3.9";
    manifest.build = 42;
    manifest.minimumSystemVersion = "6.1";
    manifest.architectures = {"x86_64"};
    const RunningSystem fitting{"6.1.0", "x86_64"};
    const auto outcome = [&](const RunningCopy& copy, const RunningSystem& system) -> std::string {
        const auto result = assess(manifest, copy, system);
        const char* const texts[] = {"available", "up to date", "newer installed"};
        return result ? texts[static_cast<int>(*result)] : std::string(name(result.error()));
    };
    const std::pair<RunningCopy, const char*> rows[] = {
        {{"1.3.8", "99"}, "available"},
        {{std::nullopt, "42"}, "available"},
        {{"1.4.0", "1"}, "newer installed"},
        {{"1.10.0", std::nullopt}, "newer installed"},
        {{"1.3.9", "42"}, "up to date"},
        {{"1.3.9", "+0043"}, "up to date"},
        {{"1.3.9", "41"}, "invalidFeed"},
        {{"1.3.9", "-42"}, "invalidFeed"},
        {{"1.3.9", "+-43"}, "invalidFeed"},
        {{"1.3.9", "43 "}, "invalidFeed"},
        {{"1.3.9", ""}, "invalidFeed"},
        {{"1.3.9", std::nullopt}, "invalidFeed"},
        {{"1.3.9", "9223372036854775808"}, "invalidFeed"},
        {{"1.3", "42"}, "invalidFeed"},
        {{"", "42"}, "invalidFeed"},
    };
    for (const auto& [copy, expected] : rows)
        EXPECT_EQ(outcome(copy, fitting), expected)
            << copy.version.value_or("none") << " " << copy.build.value_or("none");
    EXPECT_EQ(outcome({"1.3.8", "1"}, {"6.0.9", "x86_64"}), "incompatible");
    EXPECT_EQ(outcome({"1.3.8", "1"}, {"6.1.0", "arm64"}), "incompatible");
    EXPECT_EQ(outcome({"1.3.9", "42"}, {"6.0.9", "arm64"}), "up to date");
}

TEST(RunningSystem, isTheKernelsVersionAndTheProgramsProcessor) {
    EXPECT_EQ(kernelVersion("6.1.0-37-amd64"), "6.1.0");
    EXPECT_EQ(kernelVersion("6.6.87.2-microsoft-standard-WSL2"), "6.6.87");
    EXPECT_EQ(kernelVersion("6.12-rc1"), "6.12.0");
    EXPECT_EQ(kernelVersion(""), "0.0.0");
    const RunningSystem system = runningSystem();
    EXPECT_TRUE(ReleaseVersion::parse(system.version, ReleaseVersion::Form::threeNumbers))
        << system.version;
    EXPECT_GT(system.version, "0.0.0");
    EXPECT_TRUE(system.architecture == "x86_64" || system.architecture == "arm64");
}

} // namespace
} // namespace tallywick
