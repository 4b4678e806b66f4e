#pragma once

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tallywick {

/// A JSON value (RFC 8259). Booleans, integers and numbers with a fraction or exponent stay apart;
/// an object keeps its members in ascending order of their names.
using Json = nlohmann::json;

/// Deepest nesting of arrays and objects that is read: writing and comparing a value recurse.
inline constexpr std::size_t maximumJsonDepth = 512;

/// Reads one JSON text. Absent when it is not exactly one valid JSON value: invalid UTF-8, a NUL
/// byte, bytes after the value, a number beyond the range of a double, or nesting deeper than
/// `maximumJsonDepth`. Of equal member names the last one counts. A byte order mark before the
/// value is skipped.
std::optional<Json> parseJson(std::string_view text);

/// The value on one line without white space, members in ascending order of their names; doubles
/// are written so that they read back exactly. Throws when a string is not valid UTF-8.
std::string writeJson(const Json& value);

/// The member of an object, or null when `value` is no object or has no such member.
const Json* member(const Json& value, std::string_view name);

/// The member when it is an object, else null.
const Json* objectMember(const Json& value, std::string_view name);

/// The member when it is a string, else null. The text lives as long as `value`.
const std::string* stringMember(const Json& value, std::string_view name);

/// The member when it is a boolean.
std::optional<bool> boolMember(const Json& value, std::string_view name);

/// A number among the members of the JSON object `text` as it is written there, for those that a
/// value does not keep to the digit: numbers with a fraction or exponent, and integers beyond 64
/// bits. Absent when the member is anything else. `text` must be one that `parseJson` accepts.
std::optional<std::string> memberNumberText(std::string_view text, std::string_view name);

/// Whether an object anywhere in the JSON value `text` has two members of the same name once
/// escapes are read, of which a value keeps the last alone. `text` must be one that `parseJson`
/// accepts.
bool repeatsMemberName(std::string_view text);

/// The strict reading of an integer: a number written without fraction or exponent that fits a
/// signed 64-bit integer. Null, booleans, strings and 40.0 or 4e1 are not integers.
std::optional<std::int64_t> integerValue(const Json* value);

} // namespace tallywick
