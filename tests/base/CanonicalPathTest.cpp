#include "base/CanonicalPath.h"

#include "support/TemporaryFolder.h"

#include <fstream>

namespace tallywick {
namespace {

namespace fs = std::filesystem;

TEST(CanonicalPath, standardisesTheTextAndCrossesNoLink) {
    const testing::TemporaryFolder folder;
    fs::create_directories(folder / "real");
    std::ofstream(folder / "real/file") << "x";
    fs::create_directory_symlink(folder / "real", folder / "link");
    fs::create_symlink(folder / "nowhere", folder / "dangling");
    const struct {
        const char* name;
        const char* standard;
        bool isCanonical;
    } rows[] = {
        {"real/./file", "real/file", true},
        {"real/", "real", true},
        {"missing/and/below", "missing/and/below", true},
        {"link/../real", "real", true},
        {"link", "link", false},
        {"link/", "link", false},
        {"link/missing", "link/missing", false},
        {"dangling", "dangling", false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(standardisedPath(folder / row.name), folder / row.standard) << row.name;
        EXPECT_EQ(isCanonicalPath(folder / row.name), row.isCanonical) << row.name;
    }
    EXPECT_EQ(standardisedPath(".."), fs::current_path().parent_path());
    EXPECT_EQ(standardisedPath("/../.."), "/");
    EXPECT_FALSE(isCanonicalPath(""));
    EXPECT_FALSE(isCanonicalPath(folder / std::string(300, 'x'))) << "a part nobody can examine";
}

} // namespace
} // namespace tallywick
