#include "sample-helper/Scenario.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

namespace tallywick::sample {
namespace {

TEST(SampleHelper, ListsItsScenariosWhereTheyAreLookedFor) {
    const std::string readme = testing::readAll(SAMPLE_HELPER_README);
    ASSERT_FALSE(scenarios().empty());
    for (const Scenario& scenario : scenarios())
        EXPECT_THAT(readme, ::testing::HasSubstr("| `" + std::string(scenario.name) + "` | "
                                                 + std::string(scenario.summary) + " |\n"));
}

} // namespace
} // namespace tallywick::sample
