#pragma once

#include "platform/bundle/ApplicationBundle.h"

#include <filesystem>
#include <optional>
#include <span>
#include <string>

/// What a copy of the utility that has just been started decides about itself. Pure functions.
namespace tallywick::LaunchRule {

/// The process id of the copy that has installed and started this one. Absent unless the arguments,
/// the program's name included, are exactly three, the second is `Product::finishInstallArgument`
/// and the third is a decimal integer of 32 bits.
std::optional<int> finishInstallProcess(std::span<const std::string> arguments);

/// The copy that was just started.
struct ThisCopy {
    int processId = 0;
    std::filesystem::path bundle;
    bool isInstalled = false;
    std::optional<int> installedBy; ///< `finishInstallProcess`
};

/// The copy that was running before, to be activated while this one ends. Absent when this copy is
/// to go on: no other one runs but the one that has installed it, or this copy is not the installed
/// one and the other lies elsewhere. `running` are the applications with our identifier.
std::optional<RunningApplication> copyToActivate(std::span<const RunningApplication> running,
                                                 const ThisCopy& thisCopy);

} // namespace tallywick::LaunchRule
