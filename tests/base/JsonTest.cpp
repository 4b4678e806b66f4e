#include "base/Json.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <random>

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
        {"a value that is no container", "\"x\""},
        {"a byte order mark", "\xEF\xBB\xBF[1]"},
        {"escapes, a surrogate pair and an escaped NUL",
         R"("\"\\\/\b\f\n\r\t\u00e9\ud83d\ude00\u0000")"},
        {"the last code point and U+2028", "\"\xF4\x8F\xBF\xBF\xE2\x80\xA8\""},
        {"brackets within a string", "\"" + std::string(2 * maximumJsonDepth, '[') + "\\\"[[[\""},
        {"the deepest nesting", nested(maximumJsonDepth)},
        {"many containers side by side", "[" + nested(511) + "," + nested(511) + ",{}]"},
        {"a number that vanishes", "1e-999"},
        {"the largest double", "1.7976931348623157e308"},
        {"the same member twice", R"({"a":1,"a":2})"},
    };
    for (const auto& row : rows)
        EXPECT_TRUE(parseJson(row.text)) << row.what;
    EXPECT_EQ(parseJson(rows[3].text)->get<std::string>(),
              "\"\\/\b\f\n\r\t\xC3\xA9\xF0\x9F\x98\x80\0"sv);
    EXPECT_EQ(parseJson(rows[10].text), Json({{"a", 2}}));
}

TEST(Json, refusesEverythingElse) {
    const struct {
        const char* what;
        std::string text;
    } rows[] = {
        {"nothing", ""},
        {"white space only", " \n"},
        {"a value of another case", "True"},
        {"two values", "1 2"},
        {"text after the value", "{}x"},
        {"a NUL after the value", std::string("{}\0", 3)},
        {"a NUL within a string", std::string("\"a\0b\"", 5)},
        {"a second byte order mark", "\xEF\xBB\xBF\xEF\xBB\xBF[1]"},
        {"half a byte order mark", "\xEF\xBB[1]"},
        {"UTF-16", std::string("[\0]\0", 4)},
        {"a truncated array", "[1"},
        {"a truncated string", "\"a"},
        {"an array closed as an object", "[1}"},
        {"a closing bracket too many", "[]]"},
        {"a trailing comma", "[1,]"},
        {"a missing comma", "[1 2]"},
        {"a name that is no string", "{a:1}"},
        {"a member without value", R"({"a"})"},
        {"a comment", "[1]//x"},
        {"single quotes", "'a'"},
        {"a leading zero", "01"},
        {"a negative leading zero", "-01"},
        {"a plus sign", "+1"},
        {"a fraction without digits", "1."},
        {"a fraction without whole part", ".5"},
        {"an exponent without digits", "1e"},
        {"a hexadecimal number", "0x1"},
        {"not a number", "NaN"},
        {"infinity", "-Infinity"},
        {"a number beyond a double", "1e999"},
        {"an integer beyond a double", std::string(400, '9')},
        {"a line feed within a string", "\"a\nb\""},
        {"an unknown escape", R"("\x41")"},
        {"a short code point escape", R"("\u12")"},
        {"a lone high surrogate", R"("\ud83d")"},
        {"a lone low surrogate", R"("\ude00")"},
        {"a high surrogate before a letter", R"("\ud83d\u0041")"},
        {"a lone continuation byte", "\"\x80\""},
        {"a truncated sequence", "\"\xE2\x82\""},
        {"an overlong slash", "\"\xC0\xAF\""},
        {"an overlong NUL of three bytes", "\"\xE0\x80\x80\""},
        {"an encoded surrogate", "\"\xED\xA0\x80\""},
        {"a code point beyond the last", "\"\xF4\x90\x80\x80\""},
        {"a sequence of five bytes", "\"\xF8\x88\x80\x80\x80\""},
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
        {"-0", 0},
        {"9223372036854775807", INT64_MAX},
        {"-9223372036854775808", INT64_MIN},
        {"9223372036854775808", absent},
        {"-9223372036854775809", absent},
        {"18446744073709551615", absent},
        {"18446744073709551616", absent},
        {"40.0", absent},
        {"4e1", absent},
        {"4E+1", absent},
        {"true", absent},
        {"null", absent},
        {"\"40\"", absent},
        {"[40]", absent},
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

TEST(Json, doublesReadBackExactly) {
    std::mt19937_64 random(20'260'101); // NOLINT: the same numbers every time
    int compared = 0;
    for (int i = 0; i < 20'000; ++i) {
        const double value = std::bit_cast<double>(random());
        if (!std::isfinite(value))
            continue;
        const auto read = parseJson(writeJson(value));
        ASSERT_TRUE(read);
        EXPECT_EQ(std::bit_cast<std::uint64_t>(read->get<double>()),
                  std::bit_cast<std::uint64_t>(value));
        EXPECT_TRUE(read->is_number_float()) << value;
        ++compared;
    }
    EXPECT_GT(compared, 15'000);
    EXPECT_EQ(writeJson(-0.0), "-0.0");
}

} // namespace
} // namespace tallywick
