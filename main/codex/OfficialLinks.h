#pragma once

#include <string_view>

/// Pages of the maker's website.
namespace tallywick::OfficialLinks {

inline constexpr std::string_view site = "https://corvane.example/";
/// The product family that this program belongs to.
inline constexpr std::string_view productFamily = "https://corvane.example/toolyard/";

} // namespace tallywick::OfficialLinks
