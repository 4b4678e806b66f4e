#pragma once

#include "base/Json.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tallywick {

/// Largest property list that is read: an Info.plist takes 1 to 15 kB, a seal about 120 bytes a
/// file.
inline constexpr std::size_t maximumPropertyListBytes = 65'536;

/// Deepest nesting of dictionaries and arrays that is read; ours have two levels.
inline constexpr std::size_t maximumPropertyListDepth = 16;

/// Reads an XML property list whose top level is a dictionary, as a JSON object. Strings, booleans
/// and dictionaries are kept; the program reads no other kinds, and so a key whose value is an
/// array, a number, a date or data has null.
///
/// Absent when the text is not exactly one whole list of that form: when it is cut or goes on, when
/// a dictionary has a key twice, or when it declares entities of its own; also when it is beyond
/// one of the two limits, holds a NUL byte or is not valid UTF-8. The binary form is not read.
std::optional<Json> parsePropertyList(std::string_view text);

/// The XML form of an object whose values are strings, booleans and such objects; other values are
/// left out. Equal objects give equal texts.
std::string writePropertyList(const Json& dictionary);

} // namespace tallywick
