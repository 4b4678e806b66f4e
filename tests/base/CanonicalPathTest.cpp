#include "base/CanonicalPath.h"

#include "support/TemporaryFolder.h"

#include <fstream>

namespace tallywick {
namespace {

namespace fs = std::filesystem;
using testing::TemporaryFolder;

TEST(CanonicalPath, standardisesTheTextAlone) {
    const fs::path here = fs::current_path();
    const struct {
        const char* text;
        fs::path standard;
    } rows[] = {
        {"/", "/"},
        {"/a/b/", "/a/b"},
        {"/a/./b/.", "/a/b"},
        {"/a/b/../c", "/a/c"},
        {"/../..", "/"},
        {"..", here.parent_path()},
        {"", ""},
    };
    for (const auto& row : rows)
        EXPECT_EQ(standardisedPath(row.text), row.standard) << row.text;
}

TEST(CanonicalPath, isWhatCrossesNoLink) {
    const TemporaryFolder folder;
    fs::create_directories(folder / "real");
    std::ofstream(folder / "real/file") << "x";
    fs::create_directory_symlink(folder / "real", folder / "link");
    fs::create_symlink(folder / "nowhere", folder / "dangling");
    fs::create_hard_link(folder / "real/file", folder / "hard");
    const struct {
        const char* name;
        bool canonical;
    } rows[] = {
        {"real/file", true},
        {"real/", true},
        {"hard", true},
        {"missing/and/below", true},
        {"real/file/below", true},
        {"link/../real/file", true},
        {"link", false},
        {"link/", false},
        {"link/file", false},
        {"link/missing", false},
        {"dangling", false},
        {"dangling/below", false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(isCanonicalPath(folder / row.name), row.canonical) << row.name;
    EXPECT_FALSE(isCanonicalPath(""));
    EXPECT_FALSE(isCanonicalPath(folder / std::string(300, 'x'))) << "a part nobody can examine";
}

} // namespace
} // namespace tallywick
