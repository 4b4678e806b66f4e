// The readers of bytes from outside: a text counts as a whole or not at all.

#include "base/ExecutableFormats.h"
#include "base/Json.h"
#include "base/PropertyList.h"

#include <gtest/gtest.h>

#include <utility>

namespace tallywick {
namespace {

using namespace std::string_literals;
using Names = std::set<std::string>;

std::string nested(std::size_t depth, const std::string& begin, const std::string& end) {
    return depth == 0 ? "" : begin + nested(depth - 1, begin, end) + end;
}
std::string nestedArrays(std::size_t depth) { return nested(depth, "[", "]"); }

TEST(Json, isExactlyOneValidValue) {
    const struct {
        const char* what;
        std::string text;
        bool isValid;
    } rows[] = {
        {"a value of each kind", R"( {"a":[null,true,0,-1,1.5e-3,"\u0000"],"":{}} )", true},
        {"brackets within a string", "\"\\\"" + std::string(1000, '[') + "\\\\\"", true},
        {"the deepest nesting, twice", "[" + nestedArrays(511) + "," + nestedArrays(511) + "]",
         true},
        {"one level too deep", nestedArrays(maximumJsonDepth + 1), false},
        {"so in an object", "{\"a\":" + nestedArrays(maximumJsonDepth) + "}", false},
        {"two values", "1 2", false},
        {"a NUL after the value", "{}\0"s, false},
        {"a number beyond a double", "1e999", false},
        {"text that is not UTF-8", "\"caf\xE9\"", false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(parseJson(row.text).has_value(), row.isValid) << row.what;
}

TEST(Json, hasIntegersThatFitAndTheLastOfEqualMembers) {
    const auto integer = [](const char* text) {
        const Json value = parseJson(text).value();
        return integerValue(&value);
    };
    EXPECT_EQ(integer("9223372036854775807"), INT64_MAX);
    EXPECT_EQ(integer("-9223372036854775808"), INT64_MIN);
    for (const char* text : {"9223372036854775808", "-9223372036854775809", "40.0", "true"})
        EXPECT_EQ(integer(text), std::nullopt) << text;
    EXPECT_EQ(integerValue(nullptr), std::nullopt);
    EXPECT_EQ(boolMember(parseJson(R"({"b":true,"b":false})").value(), "b"), false);
}

std::string document(const std::string& content, const std::string& doctype = "") {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>" + doctype + "<plist version=\"1.0\">"
           + content + "</plist>";
}

TEST(PropertyList, readsBackWhatItWrites) {
    const Json dictionary{{"text", "a <b> & \"c\" – ü\n"},
                          {"yes", true},
                          {"no", false},
                          {"inner", {{"k", "v"}, {"empty", Json::object()}}},
                          {"", ""}};
    EXPECT_EQ(parsePropertyList(writePropertyList(dictionary)), dictionary);
    EXPECT_EQ(parsePropertyList(document("<!-- a --> <dict><key>a</key><integer>1</integer>"
                                         "<key>b</key><array><dict/><date>x</date></array>"
                                         "<key>c</key><string>1<!-- 2 --><![CDATA[<]]></string>"
                                         "</dict>",
                                         "<!DOCTYPE plist PUBLIC \"-//Any//EN\" \"any.dtd\">")
                                + " <!-- the end -->\n"),
              Json({{"a", nullptr}, {"b", nullptr}, {"c", "1<"}}))
        << "other kinds as null";
}

TEST(PropertyList, refusesWhatIsNoDictionaryOfText) {
    const auto valued = [](const std::string& value) {
        return document("<dict><key>a</key>" + value + "</dict>");
    };
    const std::string entity = "<!DOCTYPE plist [<!ENTITY e \"x\">]>";
    const std::string refused[] = {
        document("<array/>"),
        document("<dict/><dict/>"),
        "<dict/>",
        document("<dict/>") + "x",
        valued("<true/><key>b</key>"),
        valued("<true/><key>a</key><false/>"),
        valued("<true>x</true>"),
        valued("<string>x<b/></string>"),
        valued("<array><key>b</key></array>"),
        document("<dict><string>x</string><true/></dict>"),
        valued("<string>x\0y</string>"s),
        valued("<string>\xFF</string>"),
        document("<dict/>", entity),
        document("<dict>&e;</dict>", "<!DOCTYPE plist SYSTEM \"x\">"),
    };
    for (const std::string& text : refused)
        EXPECT_EQ(parsePropertyList(text), std::nullopt) << text;

    const std::string whole = valued("<dict><key>b</key><string>x</string></dict>");
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_EQ(parsePropertyList(whole.substr(0, length)), std::nullopt) << length;
    EXPECT_TRUE(parsePropertyList(whole));
}

TEST(PropertyList, keepsItsLimits) {
    const auto ofDepth = [](std::size_t depth) {
        return document("<dict>" + nested(depth - 1, "<key>k</key><dict>", "</dict>") + "</dict>");
    };
    EXPECT_TRUE(parsePropertyList(ofDepth(maximumPropertyListDepth)));
    EXPECT_FALSE(parsePropertyList(ofDepth(maximumPropertyListDepth + 1)));

    std::string text = document("<dict/>");
    text.resize(maximumPropertyListBytes, ' ');
    EXPECT_TRUE(parsePropertyList(text));
    EXPECT_FALSE(parsePropertyList(text + " "));
}

TEST(ElfArchitectures, areThoseOfAWholeHeaderWithTheRightFields) {
    // 64-bit, little-endian; a position-independent program for x86_64.
    const std::string header = "\177ELF\2\1\1\0\0\0\0\0\0\0\0\0\3\0\x3E\0\1"s
                               + std::string(31, '\0') + "\x40" + std::string(11, '\0');
    const auto with = [&](std::size_t offset, int value) {
        std::string changed = header + "more";
        changed[offset] = static_cast<char>(value);
        return elfArchitectures(changed);
    };
    EXPECT_EQ(elfArchitectures(header), Names{"x86_64"});
    EXPECT_EQ(with(18, 183), Names{"arm64"});
    EXPECT_EQ(with(16, 2), Names{"x86_64"}) << "a program at a fixed address";
    EXPECT_EQ(with(16, 1), Names{}) << "an object file";
    for (std::size_t offset = 0; offset < 64; ++offset) {
        EXPECT_EQ(elfArchitectures(header.substr(0, offset)), Names{});
        const bool decides = offset <= 6 || (offset >= 16 && offset <= 23) || offset / 2 == 26;
        EXPECT_EQ(with(offset, header[offset] ^ 0x40).empty(), decides) << offset;
    }
}

} // namespace
} // namespace tallywick
