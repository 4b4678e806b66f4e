#include "install/Uninstallation.h"
#include "install/DesktopAlias.h"
#include "support/SampleBundle.h"

namespace tallywick {
namespace {

namespace fs = std::filesystem;
using testing::runIn;
using testing::TemporaryFolder;

/// Takes in so many items, and then no more; numbers them in their order.
struct FakeTrash final : Trash {
    explicit FakeTrash(fs::path place, int room = 9) : folder(std::move(place)), free(room) {
        fs::create_directories(folder);
    }
    tl::expected<fs::path, std::string> move(const fs::path& item) override {
        if (free == 0 || !fs::exists(fs::symlink_status(item)))
            return tl::unexpected(std::string("The Trash is full."));
        --free;
        fs::path there = folder / (std::to_string(++moved) + ' ' + item.filename().string());
        fs::rename(item, there);
        return there;
    }
    fs::path folder;
    int free;
    int moved = 0;
};

/// What lies in a folder, files, links and folders alike, by their names in order.
std::string listing(const fs::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder))
        names.insert(entry.path().filename());
    std::string list;
    for (const std::string& name : names)
        list += (list.empty() ? "" : ", ") + name;
    return list;
}

const std::string aliasName = "Corvane Tallywick alias.desktop";

TEST(DesktopAlias, ReplacesWhatHasItsName) {
    const struct {
        const char*
            before; ///< makes something at $A; an alias of the copy is "own", of another "other"
        bool resolves;
    } rows[] = {
        {"true", false},         {"cp own \"$A\"", true},        {"cp other \"$A\"", false},
        {"mkdir \"$A\"", false}, {"ln -s ../own \"$A\"", false}, {"ln -s \"$A\" \"$A\"", false},
        {"touch \"$A\"", false}, {"ln -s gone \"$A\"", false},   {"mkfifo \"$A\"", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.before);
        const TemporaryFolder folder;
        const fs::path bundle = folder / "Applications/Corvane Tallywick.app"; // need not exist
        FakeTrash trash(folder / "trash"), full(folder / "full", 0);
        ASSERT_TRUE(DesktopAlias::create(folder / "own", bundle, trash));
        ASSERT_TRUE(
            DesktopAlias::create(folder / "other", folder / "Corvane Tallywick.app", trash));
        fs::create_directory(folder / "Desktop");
        const fs::path alias = DesktopAlias::location(folder / "Desktop");
        runIn(folder.path(), "A='Desktop/" + aliasName + "'; " + row.before);
        const std::string before = listing(folder / "Desktop");
        EXPECT_EQ(DesktopAlias::resolves(alias, bundle), row.resolves);
        if (!before.empty()) {
            EXPECT_EQ(DesktopAlias::create(alias, bundle, full).error(), "The Trash is full.");
        }
        EXPECT_FALSE(DesktopAlias::create(alias, "/\xFF/Corvane Tallywick.app", trash));
        EXPECT_EQ(listing(folder / "Desktop"), before);
        EXPECT_EQ(DesktopAlias::resolves(alias, bundle), row.resolves) << "nothing has changed";

        ASSERT_TRUE(DesktopAlias::create(alias, bundle / ".", trash));
        EXPECT_TRUE(DesktopAlias::resolves(alias, bundle));
        EXPECT_FALSE(DesktopAlias::resolves(alias, folder / "Corvane Tallywick.app"));
        EXPECT_EQ(listing(folder / "trash"), before.empty() ? "" : "1 " + aliasName);
    }
}

TEST(DesktopAlias, SaysWhatWentWrong) {
    const TemporaryFolder folder;
    FakeTrash trash(folder / "trash");
    EXPECT_EQ(DesktopAlias::create(folder / "none/alias", folder / "X.app", trash).error(),
              "The alias could not be written.");
    EXPECT_EQ(DesktopAlias::create(folder / "alias", folder / "X", trash).error(),
              "The alias target could not be verified.");
}

TEST(Uninstallation, MovesItemsUpToTheFirstFailure) {
    const TemporaryFolder folder;
    FakeTrash trash(folder / "trash", 2);
    runIn(folder.path(), "mkdir -p a/full; touch b d; ln -s a c");
    const std::vector<fs::path> items{folder / "a", folder / "c", folder / "b", folder / "d"};
    EXPECT_EQ(Uninstallation::moveToTrash(items, trash).error(), "The Trash is full.");
    EXPECT_EQ(listing(folder.path()), "b, d, trash");
    EXPECT_EQ(listing(folder / "trash"), "1 a, 2 c");
}

TEST(Uninstallation, RemovesTheDataUnlessALinkLeadsThere) {
    const std::string unsafe = "A utility data folder points to another location. It was left "
                               "unchanged for safety.";
    const std::string data = "data/Corvane Tallywick", caches = "caches/com.corvane.tallywick";
    const std::string all = "mkdir -p '" + data + "/full' " + caches + "; ";
    const struct {
        std::string before;
        std::string failure; ///< none when empty
        const char* trashed;
        int room = 9;
    } rows[] = {
        {all, "", "1 Corvane Tallywick, 2 com.corvane.tallywick"},
        {all + "rmdir " + caches, "", "1 Corvane Tallywick"},
        {all + "rm -r data", "", "1 com.corvane.tallywick"},
        {all + "mv '" + data + "' mine; ln -s ../mine '" + data + "'", unsafe, ""},
        {all + "rm -r '" + data + "'; ln -s gone '" + data + "'", unsafe, ""},
        {all + "mv data mine; ln -s mine data", unsafe, ""},
        {all + "mv caches mine; ln -s mine caches", unsafe, "1 Corvane Tallywick"},
        {all, "The Trash is full.", "", 0},
        {all, "The Trash is full.", "1 Corvane Tallywick", 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.before);
        const TemporaryFolder folder;
        ::setenv("XDG_DATA_HOME", (folder / "data").c_str(), 1);
        ::setenv("XDG_CACHE_HOME", (folder / "caches").c_str(), 1);
        const auto folders = Uninstallation::utilityDataFolders();
        EXPECT_EQ(folders, (std::vector<fs::path>{folder / data, folder / caches}));
        FakeTrash trash(folder / "trash", row.room);
        runIn(folder.path(), row.before);
        const auto removed = Uninstallation::removeUtilityData(folders, trash);
        EXPECT_EQ(removed ? "" : removed.error(), row.failure);
        EXPECT_EQ(listing(folder / "trash"), row.trashed);
    }
}

} // namespace
} // namespace tallywick
