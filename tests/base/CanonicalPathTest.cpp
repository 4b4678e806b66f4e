#include "base/CanonicalPath.h"

#include "support/TemporaryFolder.h"

namespace tallywick {
namespace {

TEST(CanonicalPath, standardisesTheTextAndCrossesNoLink) {
    const testing::TemporaryFolder folder;
    testing::runIn(folder.path(), "mkdir real; touch real/file; ln -s real link");
    const struct {
        const char* name;
        const char* standard;
        bool isCanonical;
    } rows[] = {
        {"real/./file", "real/file", true},
        {"real/", "real", true},
        {"missing/and/below", "missing/and/below", true},
        {"link/../real", "real", true},
        {"link/", "link", false},
        {"link/missing", "link/missing", false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(standardisedPath(folder / row.name), folder / row.standard) << row.name;
        EXPECT_EQ(isCanonicalPath(folder / row.name), row.isCanonical) << row.name;
    }
    EXPECT_EQ(standardisedPath(".."), std::filesystem::current_path().parent_path());
    EXPECT_EQ(standardisedPath("/../.."), "/");
    EXPECT_FALSE(isCanonicalPath(""));
    EXPECT_FALSE(isCanonicalPath(folder / std::string(300, 'x'))) << "a part nobody can examine";
}

} // namespace
} // namespace tallywick
