// The window as the state sizes, places and follows it, and what is kept of it.

#include "StateHarness.h"

#include "platform/linux/Descriptors.h"

#include <sys/inotify.h>

#include <limits>

namespace tallywick::testing {
namespace {

using ::testing::ElementsAre;

class WindowTest : public StateTest {
  protected:
    void startWith(const std::string& kept = R"({"CorvaneTallywickWindow":"300 60"})") {
        writeAll(folder / "preferences.json", kept);
        keepIn("preferences.json");
        start();
        showWindow();
    }
    /// What was to be kept before is written when this returns.
    void keepIn(const std::string& file) { preferences = FilePreferences(folder / file); }
    QSizeF keptSize() const {
        return {preferences.doubleValue("resizableWidth").value_or(-1),
                preferences.doubleValue("resizableHeight").value_or(-1)};
    }
    auto keptPlace() const { return preferences.stringValue("CorvaneTallywickWindow"); }
    void toggle() {
        state->toggleLayout();
        window.settle();
    }
};

TEST_F(WindowTest, ComesBackAsItWasAsFarAsTheScreenAllows) {
    const struct {
        const char* kept;
        QRectF content;
    } cases[] = {
        {R"({})", {539, 154, 520, 635}}, // in the middle
        {R"({"mini":true})", {549, 359, 500, 225}},
        {R"({"resizableWidth":510.4,"resizableHeight":229.5})", {544, 356, 510, 230}},
        {R"({"resizableWidth":499,"resizableHeight":700})", {539, 154, 520, 635}},
        {R"({"resizableWidth":520,"resizableHeight":400})", {539, 354, 520, 234}},
        {R"({"resizableWidth":1e300,"resizableHeight":1e300})", {539, 154, 520, 635}},
        {R"({"CorvaneTallywickWindow":"1098 697","mini":true})", {1098, 697, 500, 225}},
        {R"({"CorvaneTallywickWindow":"9000 -9000"})", {1078, 20, 520, 635}},
        {R"({"CorvaneTallywickWindow":"100"})", {539, 154, 520, 635}},
        {R"({"CorvaneTallywickWindow":"100 200px"})", {539, 154, 520, 635}},
        {R"({"CorvaneTallywickWindow":"32768 0"})", {539, 154, 520, 635}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.kept);
        window = FakeWindow();
        window.screen = QRectF(0, 20, 1600, 930); // below a panel
        startWith(row.kept);
        EXPECT_EQ(QRectF(window.position, window.content), row.content);
        EXPECT_EQ(fields().mini, row.content.height() < 600);
    }
}

TEST_F(WindowTest, KeepsTheChoicesThatTheDesktopCannotFollow) {
    window.placeable = false;
    startWith(R"({"CorvaneTallywickWindow":"300 60","pinned":true})");
    window.position = {};
    toggle();
    EXPECT_EQ(keptPlace(), "300 60");
    EXPECT_TRUE(preferences.boolValue("mini").value_or(false));
    EXPECT_TRUE(preferences.boolValue("pinned").value_or(false));
    EXPECT_FALSE(window.floating || fields().canBePlaced);
}

TEST_F(WindowTest, EachActionIsWrittenOnceAndComesBack) {
    startWith();
    keepIn("kept.json");
    const UniqueFd watched(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    ASSERT_GE(::inotify_add_watch(watched.get(), folder.path().c_str(), IN_MOVE), 0);
    state->toggleTheme();
    toggle();
    window.position = {-20.6, 40.4};
    window.settle();
    window.position = {-32'000, -32'000}; // as some desktops put it out of sight
    window.minimised = true;
    window.settle();
    state->choosePinned(true);
    keepIn("another.json");
    constexpr ssize_t replacement = 2 * (sizeof(inotify_event) + 16); // two names of less than 16
    char events[4096];
    EXPECT_EQ(::read(watched.get(), events, sizeof events), 4 * replacement);
    keepIn("kept.json");
    EXPECT_EQ(keptSize(), QSizeF(500, 225));
    EXPECT_EQ(keptPlace(), "-21 40");
    start();
    showWindow();
    EXPECT_TRUE(fields().mini && fields().light && fields().pinned);
    EXPECT_TRUE(window.floating);
}

TEST_F(WindowTest, TogglesAndFollowsTheVolumesUnlessTheUserIsAtIt) {
    startWith();
    const auto list = [&](int volumes, const std::function<void()>& meanwhile) {
        machine.volumes = volumes;
        state->applicationDidUnhide(); // makes it due
        state->tick();
        meanwhile();
        waitUntil([&] { return static_cast<int>(fields().volumes.size()) == volumes; });
    };
    for (const int volumes : {3, 4, 9, 1})
        list(volumes, [] {});
    list(4, [&] { state->resizeBy(0, 0); });
    EXPECT_EQ(window.content.height(), 635);
    state->endResize();
    EXPECT_EQ(window.content.height(), 683);
    list(3, [&] { toggle(); });
    EXPECT_EQ(keptSize(), QSizeF(500, 225));
    state->toggleLayout();
    state->quit(); // at once
    EXPECT_EQ(keptSize(), QSizeF(520, 659));
    EXPECT_EQ(window.frame(), QRectF(300, 60, 522, 687));
    EXPECT_THAT(window.heights, ElementsAre(659, 683, 755, 635, 683, 225, 659))
        << "no size in between";
}

TEST_F(WindowTest, TheGripResizesAndSnapsWhenItIsLetGo) {
    constexpr double none = std::numeric_limits<double>::quiet_NaN();
    startWith();
    for (const auto& [drag, content] : {
             std::pair(QPointF(9999, 9999), QSizeF(520, 635)), // from where it was grasped
             {{none, none}, {500, 225}},
             {{0, -5}, {520, 630}},
             {{-10, -36}, {510, 599}},
         }) {
        state->resizeBy(drag.x(), drag.y());
        EXPECT_EQ(window.content, content);
        EXPECT_EQ(window.minimum, QSizeF(fields().mini ? 500 : 520, 225));
    }
    window.settle(); // the mouse stands still
    EXPECT_EQ(keptSize(), QSizeF(-1, -1)) << "only when it is let go";
    state->endResize();
    window.settle();
    EXPECT_EQ(QRectF(window.position, window.content), QRectF(300, 60, 510, 230));
    EXPECT_EQ(keptSize(), QSizeF(510, 230));
}

TEST_F(WindowTest, FollowsWhatTheSystemMakesOfIt) {
    startWith();
    window.resize({500, 599});
    EXPECT_EQ(window.minimum, QSizeF(500, 225));
    window.resize({500, 600});
    EXPECT_EQ(window.minimum, QSizeF(520, 225)) << "the full layout is wider";
    window.settle();
    EXPECT_EQ(window.content, QSizeF(520, 635));
    window.resize({505, 300});
    window.settle();
    EXPECT_EQ(keptSize(), QSizeF(505, 227));

    toggle();
    window.chrome = {4, 30}; // a decoration that is known later
    window.screen = QRectF(0, 0, 510.5, 634);
    state->screenParametersDidChange();
    EXPECT_EQ(window.maximum, QSizeF(506, 604));
    EXPECT_EQ(window.frame(), QRectF(0.5, 0, 510, 634)) << "a limit that it breaks shrinks it";
    for (const double height : {628, 200}) { // too low for the full layout, and for any
        window.screen->setHeight(height);
        state->screenParametersDidChange();
        window.settle();
        EXPECT_EQ(window.frame(), QRectF(0.5, 0, 510, height == 628 ? 258 : 255));
    }
    EXPECT_EQ(keptSize(), QSizeF(520, 635)) << "nobody has chosen less";
    EXPECT_EQ(preferences.boolValue("mini"), false);
    window.screen.reset(); // none at all
    window.position = {-700, 9000};
    state->toggleLayout();
    EXPECT_EQ(window.frame(), QRectF(-700, 9000, 524, 665));
}

TEST_F(WindowTest, LeavesASizeThatTheDesktopImposesToTheDesktop) {
    const struct {
        const char* description;
        QSizeF tile;
        bool mini;
        std::size_t frames; ///< the window gets before it gives in
        bool zoomed = false;
    } cases[] = {
        {"a wide tile", {1276, 1000}, false, 0},
        {"a low one", {1276, 599}, true, 0},
        {"one that is too low for the mini layout", {510, 200}, true, 0},
        {"one like the user's own sizes, which is refused another once", {510, 610}, false, 1},
        {"the whole screen, which is no larger", {510, 610}, false, 0, true},
    };
    startWith();
    toggle();
    for (const auto& row : cases) {
        SCOPED_TRACE(row.description);
        window.tile = row.tile;
        window.zoomed = row.zoomed;
        window.heights.clear();
        window.settle();
        EXPECT_EQ(fields().mini, row.mini);
        state->toggleLayout();
        EXPECT_EQ(fields().mini, !row.mini) << "the other layout in the same size";
        state->resizeBy(10, 10);
        state->endResize();
        state->toggleTheme();
        window.position = {0, 0};
        state->screenParametersDidChange();
        window.settle();
        EXPECT_EQ(window.heights.size(), row.frames);
        EXPECT_EQ(keptSize(), QSizeF(500, 225));
        EXPECT_EQ(preferences.boolValue("mini"), true);
        EXPECT_EQ(keptPlace(), "300 60");
        window.tile.reset(); // it floats again
        window.zoomed = false;
        window.position = {300, 60};
        window.resize({500, 225});
        window.settle();
        EXPECT_TRUE(fields().mini && !fields().sizeIsImposed);
    }
}

TEST_F(WindowTest, IsLeftAloneWhenNothingChanges) {
    startWith();
    state->screenParametersDidChange();
    state->endResize();
    window.settle();
    state->attachWindow(&window);
    state->choosePinned(false);
    EXPECT_EQ(window.orders, 0);
    state->showUtility();
    state->attachWindow(nullptr);
    state->toggleLayout();
    state->showUtility();
    EXPECT_EQ(window.orders, 1) << "it was brought to the front before it was detached";
}

} // namespace
} // namespace tallywick::testing
