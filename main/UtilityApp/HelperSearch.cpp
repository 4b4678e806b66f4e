#include "UtilityApp/HelperSearch.h"

#include <utility>

namespace tallywick {

HelperSearch::HelperSearch(std::optional<std::filesystem::path> named)
    : locator(systemHelperPlaces()), namedHelper(std::move(named)) {}

std::vector<std::filesystem::path>
HelperSearch::candidates(const std::optional<std::filesystem::path>& preferred) const {
    if (!namedHelper)
        return locator.candidates(preferred);
    const auto helper = locator.resolve(*namedHelper);
    return helper ? std::vector{*helper} : std::vector<std::filesystem::path>();
}

} // namespace tallywick
