#include "base/PropertyList.h"

#include <gtest/gtest.h>

namespace tallywick {
namespace {

using namespace std::string_literals;

std::string document(const std::string& content, const std::string& doctype = "") {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>" + doctype + "<plist version=\"1.0\">"
           + content + "</plist>";
}

std::string nestedDictionaries(std::size_t depth) {
    return depth == 0 ? "<true/>"
                      : "<dict><key>k</key>" + nestedDictionaries(depth - 1) + "</dict>";
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

TEST(PropertyList, refusesAListThatIsCutAnywhere) {
    const std::string text = writePropertyList({{"a", "x"}, {"b", {{"c", true}}}});
    const std::size_t end = text.rfind('>');
    for (std::size_t length = 0; length <= end; ++length)
        EXPECT_EQ(parsePropertyList(text.substr(0, length)), std::nullopt) << length;
    EXPECT_TRUE(parsePropertyList(text.substr(0, end + 1)));
}

TEST(PropertyList, refusesWhatIsNoDictionaryOfText) {
    const auto valued = [](const std::string& value) {
        return document("<dict><key>a</key>" + value + "</dict>");
    };
    ASSERT_TRUE(parsePropertyList(valued("<string>x</string>")));
    const std::string refused[] = {
        document("<array/>"),
        document(""),
        document("<dict/><dict/>"),
        "<dict/>"s,
        document("<dict/>") + "x",
        document("<dict/>") + document("<dict/>"),
        valued("<true/><key>b</key>"),
        valued("<true/><key>a</key><false/>"),
        valued("<dict><key>b</key><true/><key>b</key><true/></dict>"),
        valued("<true/>x"),
        valued("<true>x</true>"),
        valued("<string>x<b/></string>"),
        valued("<array>x</array>"),
        valued("<array><key>b</key></array>"),
        document("<dict><string>x</string></dict>"),
        document("<dict><key>\xC0\x80</key><true/></dict>"),
        valued("<blob/>"),
        valued("<string>x\0y</string>"s),
        valued("<string>\xFF</string>"),
        valued("<string>&#xD800;</string>"),
        document("<dict><key>a</key><string>&e;</string></dict>",
                 "<!DOCTYPE plist [<!ENTITY e \"x\">]>"),
        document("<dict/>", "<!DOCTYPE plist [<!ENTITY e \"x\">]>"),
        document("<dict><key>a</key><string>&e;</string></dict>", "<!DOCTYPE plist SYSTEM \"x\">"),
        "bplist00\xd0\x08"s + std::string(6, '\0') + "\1\1", // the binary form
    };
    for (const std::string& text : refused)
        EXPECT_EQ(parsePropertyList(text), std::nullopt) << text;
}

TEST(PropertyList, keepsItsLimits) {
    EXPECT_TRUE(parsePropertyList(document(nestedDictionaries(maximumPropertyListDepth))));
    EXPECT_FALSE(parsePropertyList(document(nestedDictionaries(maximumPropertyListDepth + 1))));
    EXPECT_FALSE(parsePropertyList(document(nestedDictionaries(2000))))
        << "what fits into the bytes";

    std::string text = document("<dict/>");
    text.resize(maximumPropertyListBytes, ' ');
    EXPECT_TRUE(parsePropertyList(text));
    EXPECT_FALSE(parsePropertyList(text + " "));
}

} // namespace
} // namespace tallywick
