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

/// Deepest nesting of dictionaries that is read; ours have two levels.
inline constexpr std::size_t maximumPropertyListDepth = 16;

/// Reads an XML property list whose top level is a dictionary, as a JSON object. Strings, booleans
/// and dictionaries are kept; the program reads no other kinds, and so a key whose value is of
/// another kind has null. Of equal keys the last one counts.
///
/// Absent when the text is no such list, is beyond one of the two limits, or holds a NUL byte or a
/// string that is not valid UTF-8. The binary form is not read: its objects may be shared, and a
/// short list can unfold until memory ends.
std::optional<Json> parsePropertyList(std::string_view text);

/// The XML form of an object whose values are strings, booleans and such objects; other values are
/// left out. Equal objects give equal texts.
std::string writePropertyList(const Json& dictionary);

} // namespace tallywick
