#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tallywick {

// What the program says of itself on the command line. The manual is made of the same pieces.

/// What "--help" prints: at most 80 columns, and a line feed at its end.
std::string helpText();

/// What "--version" prints: one line.
std::string versionText();

/// The ways to call it, a list of words each, an option with its value being one word.
std::vector<std::vector<std::string>> synopses();

struct Explained {
    std::string_view name, text;
};

/// What it is, in one sentence without a full stop.
inline constexpr std::string_view programSummary = "the weekly Codex allowance in a small window";

std::span<const Explained> exitStatuses();
std::span<const Explained> programFiles();

} // namespace tallywick
