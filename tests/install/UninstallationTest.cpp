#include "install/Uninstallation.h"
#include "install/DesktopAlias.h"
#include "support/SampleBundle.h"

#include <gmock/gmock.h>

namespace tallywick {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using testing::runIn;

const std::string aliasName = "Corvane Tallywick alias.desktop";

/// A user's folders, in which a command has been run, and the Trash among them.
struct Home {
    explicit Home(const std::string& command) {
        ::setenv("XDG_DATA_HOME", (folder / "data").c_str(), 1);
        ::setenv("XDG_CACHE_HOME", (folder / "caches").c_str(), 1);
        dataFolders =
            Uninstallation::utilityDataFolders(); // links that come later are not followed
        runIn(folder.path(), "mkdir data Desktop; " + command);
    }
    /// What lies in a folder, files, links and folders alike, by their names in order.
    std::string listing(const std::string& name) const {
        std::set<std::string> names;
        if (fs::exists(folder / name))
            for (const auto& entry : fs::directory_iterator(folder / name))
                names.insert(entry.path().filename());
        std::string list;
        for (const std::string& found : names)
            list += (list.empty() ? "" : ", ") + found;
        return list;
    }
    std::string trashed() const { return listing("data/Trash/files"); }

    const testing::TemporaryFolder folder;
    std::vector<fs::path> dataFolders;
    const std::unique_ptr<Trash> trash = desktopTrash();
};

TEST(DesktopAlias, ReplacesWhatHasItsName) {
    const std::pair<const char*, bool> rows[] = {
        // What makes something at $A; an alias of the copy is "own", one of another "other".
        {"true", false},         {"cp own \"$A\"", true},        {"cp other \"$A\"", false},
        {"mkdir \"$A\"", false}, {"ln -s ../own \"$A\"", false}, {"ln -s \"$A\" \"$A\"", false},
        {"touch \"$A\"", false}, {"ln -s gone \"$A\"", false},   {"mkfifo \"$A\"", false},
    };
    for (const auto& [before, resolves] : rows) {
        SCOPED_TRACE(before);
        const Home home("touch data/Trash");
        const fs::path bundle =
            home.folder / "Applications/Corvane Tallywick.app"; // need not exist
        const fs::path another = home.folder / "Corvane Tallywick.app";
        const fs::path alias = DesktopAlias::location(home.folder / "Desktop");
        const auto create = [&](const fs::path& place, const fs::path& copy) {
            const auto created = DesktopAlias::create(place, copy, *home.trash);
            return created ? "" : created.error();
        };
        ASSERT_EQ(create(home.folder / "own", bundle) + create(home.folder / "other", another), "");
        runIn(home.folder.path(), "A='Desktop/" + aliasName + "'; " + before);
        const std::string there = home.listing("Desktop");
        EXPECT_EQ(DesktopAlias::resolves(alias, bundle), resolves);
        EXPECT_NE(create(alias, "/\xFF/Corvane Tallywick.app"), "");
        if (!there.empty()) {
            EXPECT_THAT(create(alias, bundle), HasSubstr("could not be moved to the Trash"));
        }
        EXPECT_EQ(home.listing("Desktop"), there);
        EXPECT_EQ(DesktopAlias::resolves(alias, bundle), resolves) << "nothing has changed";

        fs::remove(home.folder / "data/Trash");
        ASSERT_EQ(create(alias, bundle / "."), "");
        EXPECT_TRUE(DesktopAlias::resolves(alias, bundle));
        EXPECT_FALSE(DesktopAlias::resolves(alias, another));
        EXPECT_EQ(home.trashed(), there);
        EXPECT_EQ(create(home.folder / "none/alias", bundle), "The alias could not be written.");
        EXPECT_EQ(create(alias, home.folder / "X"), "The alias target could not be verified.");
    }
}

TEST(Uninstallation, MovesItemsUpToTheFirstFailure) {
    const Home home("mkdir -p a/full; touch d; ln -s a c");
    const auto item = [&](const char* name) { return home.folder / name; };
    const auto moved =
        Uninstallation::moveToTrash({item("a"), item("c"), item("b"), item("d")}, *home.trash);
    EXPECT_THAT(moved.error(), HasSubstr("b could not be moved to the Trash"));
    EXPECT_EQ(home.trashed(), "a, c");
    EXPECT_TRUE(fs::exists(item("d")));
}

TEST(Uninstallation, RemovesTheDataUnlessALinkLeadsThere) {
    const std::string unsafe = "A utility data folder points to another location.";
    const std::string both = "Corvane Tallywick, com.corvane.tallywick";
    const struct {
        const char* change; ///< of the folders that are there: $D and $C
        std::string words;  ///< of the failure; none when empty
        std::string trashed;
    } rows[] = {
        {"true", "", both},
        {"rmdir $C", "", "Corvane Tallywick"},
        {"rm -r \"$D\"", "", "com.corvane.tallywick"},
        {"mv \"$D\" mine; ln -s ../mine \"$D\"", unsafe, ""},
        {"rm -r \"$D\"; ln -s gone \"$D\"", unsafe, ""},
        {"mv data mine; ln -s mine data", unsafe, ""},
        {"mv caches mine; ln -s mine caches", unsafe, "Corvane Tallywick"},
        {"touch data/Trash", "could not be moved to the Trash", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.change);
        const Home home("D='data/Corvane Tallywick'; C=caches/com.corvane.tallywick; "
                        "mkdir -p \"$D/full\" $C; "
                        + std::string(row.change));
        const auto removed = Uninstallation::removeUtilityData(home.dataFolders, *home.trash);
        EXPECT_EQ(removed.has_value(), row.words.empty());
        EXPECT_THAT(removed ? "" : removed.error(), HasSubstr(row.words));
        EXPECT_EQ(home.trashed(), row.trashed);
    }
}

} // namespace
} // namespace tallywick
