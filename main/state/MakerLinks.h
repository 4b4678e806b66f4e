#pragma once

#include <string_view>

/// The website of the utility's maker.
namespace tallywick::MakerLinks {

inline constexpr std::string_view host = "corvane.example";
inline constexpr std::string_view homePage = "https://corvane.example/";
/// The utility's own public page.
inline constexpr std::string_view productPage = "https://corvane.example/toolyard/tallywick/";
inline constexpr std::string_view mailSubject = "Tallywick";

} // namespace tallywick::MakerLinks
