#include "base/Json.h"

#include <gtest/gtest.h>

namespace tallywick {
namespace {

using namespace std::string_view_literals;

std::string nested(std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); }

TEST(Json, readsExactlyOneValidValue) {
    const struct {
        const char* what;
        std::string text;
    } rows[] = {
        {"a value of each kind", R"( {"a":[null,true,false,0,-1,1.5e-3,"x"],"":{}} )"},
        {"a byte order mark", "\xEF\xBB\xBF[1]"},
        {"escapes, a surrogate pair and an escaped NUL",
         R"("\"\\\/\b\f\n\r\t\u00e9\ud83d\ude00\u0000")"},
        {"brackets within a string", "\"" + std::string(2 * maximumJsonDepth, '[') + "\\\"[[[\""},
        {"the deepest nesting", nested(maximumJsonDepth)},
        {"many containers side by side", "[" + nested(511) + "," + nested(511) + ",{}]"},
        {"the same member twice", R"({"a":1,"a":2})"},
    };
    for (const auto& row : rows)
        EXPECT_TRUE(parseJson(row.text)) << row.what;
    EXPECT_EQ(parseJson(rows[2].text)->get<std::string>(),
              "\"\\/\b\f\n\r\t\xC3\xA9\xF0\x9F\x98\x80\0"sv);
    EXPECT_EQ(parseJson(rows[6].text), Json({{"a", 2}}));
}

TEST(Json, refusesEverythingElse) {
    const struct {
        const char* what;
        std::string text;
    } rows[] = {
        {"nothing", ""},
        {"two values", "1 2"},
        {"text after the value", "{}x"},
        {"a NUL after the value", std::string("{}\0", 3)},
        {"a NUL within a string", std::string("\"a\0b\"", 5)},
        {"a truncated array", "[1"},
        {"a trailing comma", "[1,]"},
        {"a comment", "[1]//x"},
        {"a leading zero", "01"},
        {"not a number", "NaN"},
        {"a number beyond a double", "1e999"},
        {"a lone high surrogate", R"("\ud83d")"},
        {"a truncated sequence", "\"\xE2\x82\""},
        {"an overlong slash", "\"\xC0\xAF\""},
        {"an encoded surrogate", "\"\xED\xA0\x80\""},
        {"Latin-1", "\"caf\xE9\""},
        {"one level too deep", nested(maximumJsonDepth + 1)},
        {"objects one level too deep",
         [] {
             std::string text;
             for (std::size_t i = 0; i <= maximumJsonDepth; ++i)
                 text += "{\"a\":";
             return text + "1" + std::string(maximumJsonDepth + 1, '}');
         }()},
        {"a hundred thousand opening brackets", std::string(100'000, '[')},
    };
    for (const auto& row : rows)
        EXPECT_FALSE(parseJson(row.text)) << row.what;
}

TEST(Json, integersAreWhatWasWrittenAsSuch) {
    constexpr auto absent = std::nullopt;
    const struct {
        const char* text;
        std::optional<std::int64_t> value;
    } rows[] = {
        {"40", 40},
        {"0", 0},
        {"9223372036854775807", INT64_MAX},
        {"-9223372036854775808", INT64_MIN},
        {"9223372036854775808", absent},
        {"-9223372036854775809", absent},
        {"18446744073709551616", absent},
        {"40.0", absent},
        {"4e1", absent},
        {"true", absent},
        {"\"40\"", absent},
    };
    for (const auto& row : rows) {
        const auto json = parseJson(row.text);
        ASSERT_TRUE(json) << row.text;
        EXPECT_EQ(integerValue(&*json), row.value) << row.text;
    }
    EXPECT_EQ(integerValue(nullptr), absent);
}

TEST(Json, membersAreFoundByNameAndKind) {
    const auto json = parseJson(R"({"o":{"x":1},"s":"t","b":false,"n":null,"i":1})");
    ASSERT_TRUE(json);
    EXPECT_TRUE(objectMember(*json, "o"));
    EXPECT_EQ(*stringMember(*json, "s"), "t");
    EXPECT_EQ(boolMember(*json, "b"), false);
    EXPECT_TRUE(member(*json, "n")->is_null());
    for (const char* name : {"n", "i", "missing"}) {
        EXPECT_FALSE(objectMember(*json, name)) << name;
        EXPECT_FALSE(stringMember(*json, name)) << name;
        EXPECT_FALSE(boolMember(*json, name)) << name;
    }
    EXPECT_FALSE(member(Json::array({"s"}), "s"));
}

TEST(Json, writesCompactSortedText) {
    const Json value{{"b", {1, 2.5, true, nullptr}}, {"a", "\xC3\xA9\n\""}, {"C", Json::object()}};
    EXPECT_EQ(writeJson(value), "{\"C\":{},\"a\":\"\xC3\xA9\\n\\\"\",\"b\":[1,2.5,true,null]}");
    EXPECT_THROW(writeJson("\xE9"), std::exception);
}

} // namespace
} // namespace tallywick
