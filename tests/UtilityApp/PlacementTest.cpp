// Where the window stands when it is opened, and when its screen changes.

#include "Desktop.h"
#include "ShownUtility.h"

#include <gtest/gtest.h>

#include <fstream>
#include <optional>

namespace tallywick {
namespace {

using testing::becomes;
using testing::Box;
using testing::Desktop;
using testing::ShownUtility;

TEST(Placement, IsTakenUpAgainAfterARestart) {
    const Desktop desktop;
    std::optional<ShownUtility> utility(std::in_place);
    const Box fullPlace{600, 30, 520, 635};
    const Box miniPlace{100, 80, 500, 225};
    desktop.xdotool("windowmove " + utility->window() + " 600 30");
    EXPECT_TRUE(utility->stands(fullPlace));
    EXPECT_EQ(utility->close(), "0");
    utility.emplace();
    EXPECT_TRUE(utility->stands(fullPlace));
    desktop.press("ctrl+shift+m");
    EXPECT_TRUE(utility->stands(fullPlace.sized(500, 225)));
    desktop.xdotool("windowmove " + utility->window() + " 100 80");
    EXPECT_TRUE(utility->stands(miniPlace));
    EXPECT_EQ(utility->close(), "0");
    for (int restart = 0; restart < 3; ++restart) { // it does not creep
        utility.emplace();
        EXPECT_TRUE(utility->stands(miniPlace));
        EXPECT_EQ(utility->close(), "0");
    }
}

TEST(Placement, MakesTheBestOfWhatWasKept) {
    const Desktop desktop;
    struct Kept {
        const char* preferences;
        int width;
        int height;
    };
    const Kept table[] = {
        {R"({"CorvaneTallywickWindow":"-5000 4000","resizableWidth":510,"resizableHeight":230})",
         510, 230},
        {R"({"CorvaneTallywickWindow":"1270 670","mini":true})", 500, 225},
        {R"({"CorvaneTallywickWindow":"1e3 99999999999","resizableWidth":1e308,)"
         R"("resizableHeight":1e308})",
         520, 635},
        {R"({"CorvaneTallywickWindow":[1,2],"resizableWidth":"wide","resizableHeight":NaN})", 520,
         635},
        {R"({"CorvaneTallywickWindow":17,"mini":"yes","pinned":3,"resizableWidth":"wide",)"
         R"("resizableHeight":-1})",
         520, 635},
    };
    std::filesystem::create_directories(desktop.preferencesFile().parent_path());
    for (const Kept& kept : table) {
        SCOPED_TRACE(kept.preferences);
        std::ofstream(desktop.preferencesFile()) << kept.preferences;
        ShownUtility utility;
        const Box size = utility.content();
        EXPECT_EQ(size, size.sized(kept.width, kept.height));
        EXPECT_TRUE(becomes(
            [&] { return utility.frame().isWithin(Desktop::screenWidth, Desktop::screenHeight); },
            true))
            << utility.frame();
        EXPECT_FALSE(utility.isAbove());
        EXPECT_EQ(utility.close(), "0");
    }
}

TEST(Placement, FollowsAScreenThatShrinks) {
    const Desktop desktop;
    ShownUtility utility;
    desktop.press("ctrl+shift+m");
    EXPECT_TRUE(utility.stands(utility.content().sized(500, 225)));
    desktop.xdotool("windowmove " + utility.window() + " 700 430");
    EXPECT_TRUE(utility.stands({700, 430, 500, 225}));
    desktop.resizeScreen(800, 400);
    EXPECT_TRUE(becomes([&] { return utility.frame().isWithin(800, 400); }, true))
        << utility.frame();
    EXPECT_EQ(utility.content(), utility.content().sized(500, 225));
    // There is no room for the full layout any more: what comes is the widest mini layout.
    desktop.press("ctrl+shift+m");
    EXPECT_TRUE(
        becomes([&] { return utility.content() == utility.content().sized(520, 234); }, true))
        << utility.content();
    EXPECT_TRUE(utility.frame().isWithin(800, 400)) << utility.frame();
    EXPECT_EQ(utility.close(), "0");
}

} // namespace
} // namespace tallywick
