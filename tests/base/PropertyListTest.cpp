#include "base/PropertyList.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace tallywick {
namespace {

using namespace std::string_literals;

std::string document(const std::string& content) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">" + content
           + "</plist>\n";
}

std::string nested(std::size_t depth) {
    std::string start;
    std::string end;
    for (std::size_t i = 1; i < depth; ++i) {
        start += "<dict><key>k</key>";
        end += "</dict>";
    }
    return document(start + "<dict/>" + end);
}

TEST(PropertyList, readsWhatTheProgramNeedsAndRefusesWhatIsNoDictionaryOfText) {
    const struct {
        const char* name;
        std::string text;
        std::optional<Json> expected;
    } rows[] = {
        {"strings, booleans and dictionaries",
         document("<dict><key>a</key><string>x &amp; y</string><key>b</key><true/><key>c</key>"
                  "<dict><key>d</key><false/></dict></dict>"),
         Json{{"a", "x & y"}, {"b", true}, {"c", {{"d", false}}}}},
        {"other kinds as null",
         document("<dict><key>a</key><integer>1</integer><key>b</key><array><string>x</string>"
                  "</array><key>c</key><data>eA==</data><key>d</key><real>1</real></dict>"),
         Json{{"a", nullptr}, {"b", nullptr}, {"c", nullptr}, {"d", nullptr}}},
        {"the last of equal keys",
         document("<dict><key>a</key><string>1</string><key>a</key><true/></dict>"),
         Json{{"a", true}}},
        {"an empty dictionary", document("<dict/>"), Json::object()},
        {"an array at the top", document("<array/>"), {}},
        {"no bytes", "", {}},
        {"a text that breaks off", document("<dict><key>a</key><string>x").substr(0, 90), {}},
        {"a value without a key", document("<dict><string>x</string></dict>"), {}},
        {"an unknown element", document("<dict><key>a</key><blob/></dict>"), {}},
        {"an entity of its own",
         "<!DOCTYPE plist [<!ENTITY e \"x\">]>"
             + document("<dict><key>a</key><string>&e;</string></dict>"),
         {}},
        {"a NUL byte", document("<dict><key>a</key><string>x\0y</string></dict>"s), {}},
        {"a string that is not UTF-8",
         document("<dict><key>a</key><string>\xff</string></dict>"),
         {}},
        {"a key that is not UTF-8", document("<dict><key>\xc0\x80</key><true/></dict>"), {}},
        {"half a surrogate pair",
         document("<dict><key>a</key><string>&#xD800;</string></dict>"),
         {}},
        {"the binary form", "bplist00\xd0\x08"s + std::string(6, '\0') + "\1\1"s, {}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(parsePropertyList(row.text), row.expected) << row.name;
}

TEST(PropertyList, keepsItsLimits) {
    EXPECT_TRUE(parsePropertyList(nested(maximumPropertyListDepth)));
    EXPECT_FALSE(parsePropertyList(nested(maximumPropertyListDepth + 1)));

    const std::string shortest = document("<dict/>");
    const std::string padding(maximumPropertyListBytes - shortest.size(), ' ');
    EXPECT_TRUE(parsePropertyList(shortest + padding));
    EXPECT_FALSE(parsePropertyList(shortest + padding + " "));

    const std::string deepest = nested(2600); // what fits into the bytes
    ASSERT_LE(deepest.size(), maximumPropertyListBytes);
    EXPECT_FALSE(parsePropertyList(deepest));
}

TEST(PropertyList, readsBackWhatItWrites) {
    const Json dictionary{{"text", "a <b> & \"c\" – ü\n"},
                          {"yes", true},
                          {"no", false},
                          {"inner", {{"k", "v"}, {"empty", Json::object()}}},
                          {"", ""}};
    EXPECT_EQ(parsePropertyList(writePropertyList(dictionary)), dictionary);
}

} // namespace
} // namespace tallywick
