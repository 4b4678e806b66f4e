#pragma once

#include "platform/bundle/ApplicationBundle.h"

namespace tallywick {

/// `runningApplications` by a folder of processes that is laid out like "/proc".
std::vector<RunningApplication>
runningApplicationsIn(const std::filesystem::path& processes,
                      const std::vector<std::string>& bundleIdentifiers);

} // namespace tallywick
