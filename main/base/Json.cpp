#include "base/Json.h"

#include <limits>
#include <set>
#include <utility>
#include <vector>

namespace tallywick {

namespace {

/// One look over the bytes for what the parser would let pass: nesting beyond the limit and NUL
/// bytes, at which it would stop as if the text had ended.
bool isSafeToParse(std::string_view text) {
    if (text.find('\0') != std::string_view::npos)
        return false;
    std::size_t depth = 0;
    bool inString = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        switch (text[i]) {
        case '"':
            inString = !inString;
            break;
        case '\\':
            if (inString)
                ++i;
            break;
        case '[':
        case '{':
            if (!inString && ++depth > maximumJsonDepth)
                return false;
            break;
        case ']':
        case '}':
            if (!inString && depth > 0)
                --depth;
            break;
        default:
            break;
        }
    }
    return true;
}

/// Listens to a parse for one number among the members of the outermost object.
class MemberNumberListener final : public nlohmann::json_sax<Json> {
  public:
    explicit MemberNumberListener(std::string_view memberName) : name(memberName) {}

    std::optional<std::string> text;

    bool key(string_t& memberName) override {
        atMember = depth == 1 && memberName == name;
        return true;
    }
    bool number_float(number_float_t, const string_t& written) override { return value(written); }
    bool null() override { return value(std::nullopt); }
    bool boolean(bool) override { return value(std::nullopt); }
    bool number_integer(number_integer_t) override { return value(std::nullopt); }
    bool number_unsigned(number_unsigned_t) override { return value(std::nullopt); }
    bool string(string_t&) override { return value(std::nullopt); }
    bool binary(binary_t&) override { return value(std::nullopt); }
    bool start_object(std::size_t) override { return begin(); }
    bool start_array(std::size_t) override { return begin(); }
    bool end_object() override { return end(); }
    bool end_array() override { return end(); }
    bool parse_error(std::size_t, const std::string&, const Json::exception&) override {
        return false;
    }

  private:
    bool value(std::optional<std::string> written) {
        if (atMember)
            text = std::move(written);
        atMember = false;
        return true;
    }
    bool begin() {
        value(std::nullopt);
        ++depth;
        return true;
    }
    bool end() {
        --depth;
        return true;
    }

    std::string_view name;
    std::size_t depth = 0;
    bool atMember = false;
};

} // namespace

std::optional<Json> parseJson(std::string_view text) {
    if (!isSafeToParse(text))
        return std::nullopt;
    constexpr bool throwOnError = false;
    Json value = Json::parse(text.begin(), text.end(), nullptr, throwOnError);
    if (value.is_discarded())
        return std::nullopt;
    return value;
}

std::string writeJson(const Json& value) { return value.dump(); }

const Json* member(const Json& value, std::string_view name) {
    if (!value.is_object())
        return nullptr;
    const auto found = value.find(name);
    return found == value.end() ? nullptr : &*found;
}

const Json* objectMember(const Json& value, std::string_view name) {
    const Json* found = member(value, name);
    return found && found->is_object() ? found : nullptr;
}

const std::string* stringMember(const Json& value, std::string_view name) {
    const Json* found = member(value, name);
    return found ? found->get_ptr<const std::string*>() : nullptr;
}

std::optional<bool> boolMember(const Json& value, std::string_view name) {
    const Json* found = member(value, name);
    if (!found || !found->is_boolean())
        return std::nullopt;
    return found->get<bool>();
}

std::optional<std::string> memberNumberText(std::string_view text, std::string_view name) {
    MemberNumberListener listener(name);
    if (!Json::sax_parse(text.begin(), text.end(), &listener))
        return std::nullopt;
    return std::move(listener.text);
}

bool repeatsMemberName(std::string_view text) {
    bool repeats = false;
    std::vector<std::set<std::string>> openObjects;
    const auto look = [&](int, Json::parse_event_t event, const Json& parsed) {
        if (event == Json::parse_event_t::object_start)
            openObjects.emplace_back();
        else if (event == Json::parse_event_t::object_end)
            openObjects.pop_back();
        else if (event == Json::parse_event_t::key)
            repeats |= !openObjects.back().insert(parsed.get<std::string>()).second;
        return true;
    };
    constexpr bool throwOnError = false;
    const Json value = Json::parse(text.begin(), text.end(), look, throwOnError);
    return repeats;
}

std::optional<std::int64_t> integerValue(const Json* value) {
    if (!value || !value->is_number_integer())
        return std::nullopt;
    constexpr auto largest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (value->is_number_unsigned() && value->get<std::uint64_t>() > largest)
        return std::nullopt;
    return value->get<std::int64_t>();
}

} // namespace tallywick
