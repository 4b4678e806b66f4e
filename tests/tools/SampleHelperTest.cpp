#include "sample-helper/Scenario.h"

#include <gmock/gmock.h>

#include <fstream>
#include <iterator>

namespace tallywick::sample {
namespace {

TEST(SampleHelper, ListsItsScenariosWhereTheyAreLookedFor) {
    std::ifstream file(SAMPLE_HELPER_README);
    const std::string readme(std::istreambuf_iterator<char>(file), {});
    ASSERT_FALSE(scenarios().empty());
    for (const Scenario& scenario : scenarios())
        EXPECT_THAT(readme, ::testing::HasSubstr("| `" + std::string(scenario.name) + "` | "
                                                 + std::string(scenario.summary) + " |\n"));
}

} // namespace
} // namespace tallywick::sample
