#include "base/Json.h"

#include <gtest/gtest.h>

namespace tallywick {
namespace {

using namespace std::string_literals;

std::string nestedArrays(std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
}

TEST(Json, isExactlyOneValidValue) {
    const struct {
        const char* what;
        std::string text;
        bool isValid;
    } rows[] = {
        {"a value of each kind", R"( {"a":[null,true,false,0,-1,1.5e-3,"x"],"":{}} )", true},
        {"a byte order mark", "\xEF\xBB\xBF[1]", true},
        {"an escaped NUL and a surrogate pair", R"("\u0000\ud83d\ude00")", true},
        {"brackets within a string", "\"\\\"" + std::string(1000, '[') + "\\\\\"", true},
        {"the deepest nesting, twice", "[" + nestedArrays(511) + "," + nestedArrays(511) + ",{}]",
         true},
        {"one level too deep", nestedArrays(maximumJsonDepth + 1), false},
        {"one level too deep in an object", "{\"a\":" + nestedArrays(maximumJsonDepth) + "}",
         false},
        {"one level too deep behind a string", R"(["\\",)" + nestedArrays(maximumJsonDepth) + "]",
         false},
        {"a hundred thousand opening brackets", std::string(100'000, '['), false},
        {"nothing", "", false},
        {"two values", "1 2", false},
        {"a NUL after the value", "{}\0"s, false},
        {"a comment", "[1]//x", false},
        {"a number beyond a double", "1e999", false},
        {"a lone surrogate", R"("\ud83d")", false},
        {"text that is not UTF-8", "\"caf\xE9\"", false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(parseJson(row.text).has_value(), row.isValid) << row.what;
}

TEST(Json, findsMembersAndIntegersByKind) {
    const Json json = parseJson(R"({"o":{},"s":"t","b":true,"b":false,"n":null,"i":1})").value();
    EXPECT_TRUE(objectMember(json, "o"));
    EXPECT_EQ(*stringMember(json, "s"), "t");
    EXPECT_EQ(boolMember(json, "b"), false) << "the last of equal names";
    for (const char* name : {"n", "i", "missing"})
        EXPECT_FALSE(objectMember(json, name) || stringMember(json, name) || boolMember(json, name))
            << name;
    EXPECT_FALSE(member(Json::array({"s"}), "s"));

    const auto integer = [](const char* text) {
        const Json value = parseJson(text).value();
        return integerValue(&value);
    };
    EXPECT_EQ(integer("9223372036854775807"), INT64_MAX);
    EXPECT_EQ(integer("-9223372036854775808"), INT64_MIN);
    for (const char* text :
         {"9223372036854775808", "-9223372036854775809", "40.0", "4e1", "true", "\"40\""})
        EXPECT_EQ(integer(text), std::nullopt) << text;
    EXPECT_EQ(integerValue(nullptr), std::nullopt);
}

} // namespace
} // namespace tallywick
