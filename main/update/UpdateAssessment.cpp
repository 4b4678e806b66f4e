#include "update/UpdateAssessment.h"

#include "update/ReleaseVersion.h"

#include <charconv>
#include <cstdint>
#include <system_error>

namespace tallywick {

namespace {

/// A decimal number with or without a sign.
std::optional<std::int64_t> signedInteger(std::string_view text) {
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-'))
            return std::nullopt;
    }
    std::int64_t value = 0;
    const char* const textEnd = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), textEnd, value);
    if (error != std::errc{} || end != textEnd)
        return std::nullopt;
    return value;
}

} // namespace

tl::expected<UpdateAssessment, UpdateFailure>
assess(const UpdateManifest& manifest, const RunningCopy& copy, const RunningSystem& system) {
    constexpr auto form = ReleaseVersion::Form::threeNumbers;
    const auto running = ReleaseVersion::parse(copy.version.value_or("0.0.0"), form);
    const auto published = ReleaseVersion::parse(manifest.version, form);
    if (!running || !published)
        return tl::unexpected(UpdateFailure::invalidFeed);
    if (*published < *running)
        return UpdateAssessment::newerInstalled;
    if (*published > *running) {
        if (!manifest.isCompatible(system.version, system.architecture))
            return tl::unexpected(UpdateFailure::incompatible);
        return UpdateAssessment::available;
    }
    const auto runningBuild = signedInteger(copy.build.value_or("0"));
    if (!runningBuild || manifest.build > *runningBuild)
        return tl::unexpected(UpdateFailure::invalidFeed);
    return UpdateAssessment::upToDate;
}

} // namespace tallywick
