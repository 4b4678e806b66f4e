#include "base/PropertyList.h"

#include <gtest/gtest.h>

namespace tallywick {
namespace {

using namespace std::string_literals;

std::string document(const std::string& content) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\">" + content
           + "</plist>";
}

std::string nested(std::size_t depth) {
    return depth == 0 ? "<true/>" : "<dict><key>k</key>" + nested(depth - 1) + "</dict>";
}

TEST(PropertyList, readsBackWhatItWrites) {
    const Json dictionary{{"text", "a <b> & \"c\" – ü\n"},
                          {"yes", true},
                          {"no", false},
                          {"inner", {{"k", "v"}, {"empty", Json::object()}}},
                          {"", ""}};
    EXPECT_EQ(parsePropertyList(writePropertyList(dictionary)), dictionary);
    EXPECT_EQ(parsePropertyList(document("<dict><key>a</key><integer>1</integer><key>b</key>"
                                         "<string>1</string><key>b</key><true/></dict>")),
              Json({{"a", nullptr}, {"b", true}}))
        << "other kinds as null, and the last of equal keys";
}

TEST(PropertyList, refusesWhatIsNoDictionaryOfText) {
    const auto valued = [](const std::string& value) {
        return document("<dict><key>a</key>" + value + "</dict>");
    };
    ASSERT_TRUE(parsePropertyList(valued("<string>x</string>")));
    for (const std::string& text : {
             ""s, valued("<string>x</string>").substr(0, 90), document("<array/>"),
             document("<dict><string>x</string></dict>"),
             document("<dict><key>\xC0\x80</key><true/></dict>"), valued("<blob/>"),
             valued("<string>x\0y</string>"s), valued("<string>\xFF</string>"),
             valued("<string>&#xD800;</string>"),
             "<!DOCTYPE plist [<!ENTITY e \"x\">]>" + valued("<string>&e;</string>"),
             "bplist00\xd0\x08"s + std::string(6, '\0') + "\1\1", // the binary form
         })
        EXPECT_EQ(parsePropertyList(text), std::nullopt) << text;
}

TEST(PropertyList, keepsItsLimits) {
    EXPECT_TRUE(parsePropertyList(document(nested(maximumPropertyListDepth))));
    EXPECT_FALSE(parsePropertyList(document(nested(maximumPropertyListDepth + 1))));
    EXPECT_FALSE(parsePropertyList(document(nested(2000)))) << "what fits into the bytes";

    std::string text = document("<dict/>");
    text.resize(maximumPropertyListBytes, ' ');
    EXPECT_TRUE(parsePropertyList(text));
    EXPECT_FALSE(parsePropertyList(text + " "));
}

} // namespace
} // namespace tallywick
