#pragma once

#include "state/UtilityFields.h"

#include <optional>
#include <string_view>

namespace tallywick {

/// What the window shows of a made-up account on a made-up machine, at twenty to ten on a Saturday
/// morning, for pictures: "live" (an ordinary week), "stale" (an older reading and why),
/// "searching" (the first second), "signed-out" (no reading at all), "installing", "managed" (by a
/// package manager), or "crowded" (everything as long and as much as it gets). Absent for another
/// name.
std::optional<UtilityFields> scenario(std::string_view name);

} // namespace tallywick
