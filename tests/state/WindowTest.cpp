// The window as the state sizes, places and follows it.

#include "StateHarness.h"

#include "platform/linux/Descriptors.h"

#include <sys/inotify.h>

#include <array>
#include <fstream>
#include <limits>

namespace tallywick::testing {
namespace {

using ::testing::ElementsAre;

constexpr double none = std::numeric_limits<double>::quiet_NaN();

/// A state with a window at "300 60", which never sees `mini` differ from a window of its own size.
class WindowTest : public StateTest {
  protected:
    void startWithWindow() {
        preferences.setString("CorvaneTallywickWindow", "300 60");
        start();
        showWindow();
        QObject::connect(state.get(), &UtilityState::changed, state.get(), [this] {
            EXPECT_TRUE(fields().sizeIsImposed || fields().mini == (window.content.height() < 600));
        });
    }
    QSizeF keptSize() const {
        return {preferences.doubleValue("resizableWidth").value_or(-1),
                preferences.doubleValue("resizableHeight").value_or(-1)};
    }
};

TEST(AttachedWindow, ComesBackAsItWasAsFarAsTheScreenAllows) {
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
        {R"({"CorvaneTallywickWindow":"100 200"})", {100, 200, 520, 635}},
        {R"({"CorvaneTallywickWindow":"1098 697","mini":true})", {1098, 697, 500, 225}},
        {R"({"CorvaneTallywickWindow":"9000 -9000"})", {1078, 20, 520, 635}},
        {R"({"CorvaneTallywickWindow":"100"})", {539, 154, 520, 635}},
        {R"({"CorvaneTallywickWindow":"100 200px"})", {539, 154, 520, 635}},
        {R"({"CorvaneTallywickWindow":"32768 0"})", {539, 154, 520, 635}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.kept);
        StateHarness harness;
        std::ofstream(harness.folder / "preferences.json") << row.kept;
        harness.preferences = FilePreferences(harness.folder / "preferences.json");
        harness.window.screen = QRectF(0, 20, 1600, 930); // below a panel
        harness.start();
        harness.showWindow();
        EXPECT_EQ(QRectF(harness.window.position, harness.window.content), row.content);
        EXPECT_EQ(harness.fields().mini, row.content.height() < 600);
    }
}

TEST_F(WindowTest, ItsPlaceIsKeptWhenItWasMoved) {
    startWithWindow();
    window.position = {-20.6, 40.4};
    window.settle();
    window.position = {-32'000, -32'000}; // as some desktops put it out of sight
    window.minimised = true;
    window.settle();
    EXPECT_EQ(preferences.stringValue("CorvaneTallywickWindow"), "-21 40");
}

TEST_F(WindowTest, EachActionReplacesThePreferencesOnce) {
    startWithWindow();
    preferences = FilePreferences(folder / "kept.json"); // what was to be written is written by now
    const UniqueFd watched(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    // A replacement tells of itself twice, as a move does; of equal events in a row comes only one.
    ASSERT_GE(::inotify_add_watch(watched.get(), folder.path().c_str(), IN_MOVE), 0);
    state->toggleLayout();
    window.settle();
    state->choosePinned(true);
    preferences = FilePreferences(folder / "another.json");
    std::array<char, 4096> events{};
    const ssize_t length = ::read(watched.get(), events.data(), events.size());
    int moved = 0;
    for (ssize_t at = 0; at < length; ++moved)
        at += static_cast<ssize_t>(sizeof(inotify_event))
              + reinterpret_cast<const inotify_event*>(events.data() + at)->len;
    EXPECT_EQ(moved, 2 * 2);
    preferences = FilePreferences(folder / "kept.json");
    EXPECT_EQ(preferences.boolValue("pinned"), true);
    EXPECT_EQ(keptSize(), QSizeF(500, 225));
}

TEST_F(WindowTest, TogglesBetweenTheLayouts) {
    machine.volumes = 3;
    startWithWindow();
    state->tick(); // lists the volumes
    waitUntil([&] { return fields().volumes.size() == 3; });
    window.heights.clear();
    state->toggleLayout();
    window.settle();
    EXPECT_TRUE(fields().mini);
    EXPECT_EQ(window.frame(), QRectF(300, 60, 502, 253));
    EXPECT_EQ(keptSize(), QSizeF(500, 225));
    state->toggleLayout();
    EXPECT_FALSE(fields().mini);
    EXPECT_EQ(window.frame(), QRectF(300, 60, 522, 687));
    state->quit(); // at once
    EXPECT_EQ(keptSize(), QSizeF(520, 659));
    EXPECT_THAT(window.heights, ElementsAre(225, 659)) << "no size in between";
}

TEST_F(WindowTest, TheGripResizesAndSnapsWhenItIsLetGo) {
    const struct {
        std::vector<QPointF> drags; ///< how far from where the grip was grasped
        QSizeF dragged, released;
    } cases[] = {{{{0, -500}, {0, 0}}, {520, 635}, {520, 635}},
                 {{{0, -20}}, {520, 615}, {520, 635}},
                 {{{9999, 9999}}, {520, 635}, {520, 635}},
                 {{{-10, -36}}, {510, 599}, {510, 230}}, // mini by now
                 {{{0, -4}}, {510, 226}, {510, 230}},
                 {{{0, -5}, {20, 400}}, {520, 630}, {520, 635}},
                 {{{none, none}}, {500, 225}, {500, 225}}};
    startWithWindow();
    for (const auto& row : cases) {
        SCOPED_TRACE(::testing::PrintToString(&row - cases));
        const QSizeF before = keptSize();
        for (const QPointF drag : row.drags)
            state->resizeBy(drag.x(), drag.y());
        window.settle(); // the mouse stands still
        EXPECT_EQ(window.content, row.dragged);
        EXPECT_EQ(window.minimum, QSizeF(fields().mini ? 500 : 520, 225));
        EXPECT_EQ(keptSize(), before) << "only when it is let go";
        state->endResize();
        window.settle();
        EXPECT_EQ(window.content, row.released);
        EXPECT_EQ(window.position, QPointF(300, 60));
        EXPECT_EQ(keptSize(), row.released);
        EXPECT_EQ(preferences.boolValue("mini"), row.released.height() < 600);
    }
}

TEST_F(WindowTest, FollowsWhatTheSystemMakesOfIt) {
    startWithWindow();
    window.resize({500, 599});
    EXPECT_TRUE(fields().mini);
    EXPECT_EQ(window.minimum, QSizeF(500, 225));
    window.resize({500, 600});
    EXPECT_EQ(window.minimum, QSizeF(520, 225)) << "the full layout is wider";
    window.settle();
    EXPECT_EQ(window.content, QSizeF(520, 635));
    window.resize({505, 300});
    window.settle();
    EXPECT_EQ(keptSize(), QSizeF(505, 227));

    state->toggleLayout();
    window.settle();
    window.chrome = {4, 30}; // a decoration that is known later
    window.screen = QRectF(0, 0, 510.5, 634);
    state->screenParametersDidChange();
    EXPECT_EQ(window.maximum, QSizeF(506, 604));
    EXPECT_EQ(window.frame(), QRectF(0.5, 0, 510, 634)) << "a limit that it breaks shrinks it";
    window.screen->setHeight(628); // there is no full layout of that height
    state->screenParametersDidChange();
    EXPECT_EQ(window.frame(), QRectF(0.5, 0, 510, 258));
    window.screen->setHeight(200); // too low for any layout
    state->screenParametersDidChange();
    window.settle();
    EXPECT_EQ(window.frame(), QRectF(0.5, 0, 510, 255));
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
        int orders; ///< the window gets before it gives in
        bool zoomed = false;
    } cases[] = {
        {"a wide tile", {1276, 1000}, false, 0},
        {"a low one", {1276, 599}, true, 0},
        {"a narrow one", {422, 700}, false, 0},
        {"one that is too low for the mini layout", {510, 200}, true, 0},
        {"one like the user's own sizes, which is refused another once", {510, 610}, false, 1},
        {"the whole screen, which is no larger", {510, 610}, false, 0, true},
    };
    startWithWindow();
    state->toggleLayout();
    window.settle();
    for (const auto& row : cases) {
        SCOPED_TRACE(row.description);
        window.tile = row.tile;
        window.zoomed = row.zoomed;
        window.frames = 0;
        window.settle();
        EXPECT_EQ(window.frames, row.orders);
        EXPECT_EQ(fields().mini, row.mini);

        state->toggleLayout();
        EXPECT_EQ(fields().mini, !row.mini) << "the other layout in the same size";
        state->resizeBy(10, 10);
        state->endResize();
        state->toggleTheme();
        window.position = {0, 0};
        state->screenParametersDidChange();
        window.settle();
        EXPECT_EQ(window.frames, row.orders);
        EXPECT_EQ(keptSize(), QSizeF(500, 225));
        EXPECT_EQ(preferences.boolValue("mini"), true);
        EXPECT_EQ(preferences.stringValue("CorvaneTallywickWindow"), "300 60");

        window.tile.reset(); // it floats again
        window.zoomed = false;
        window.position = {300, 60};
        window.resize({500, 225});
        window.settle();
        EXPECT_FALSE(fields().sizeIsImposed);
        EXPECT_TRUE(fields().mini);
        EXPECT_EQ(window.minimum, QSizeF(500, 225));
    }
}

TEST_F(WindowTest, FollowsTheNumberOfVolumesUnlessTheUserIsAtIt) {
    startWithWindow();
    const auto list = [&](int volumes, const std::function<void()>& meanwhile) {
        machine.volumes = volumes;
        state->applicationDidUnhide(); // makes it due
        state->tick();
        meanwhile();
        waitUntil([&] { return static_cast<int>(fields().volumes.size()) == volumes; });
    };
    for (const int volumes : {3, 4, 9, 1})
        list(volumes, [] {});
    EXPECT_THAT(window.heights, ElementsAre(659, 683, 755, 635));
    list(4, [&] { state->resizeBy(0, 0); });
    EXPECT_EQ(window.content.height(), 635);
    state->endResize();
    EXPECT_EQ(window.content.height(), 683);
    list(5, [&] { state->toggleLayout(); });
    EXPECT_EQ(window.content.height(), 225);
}

TEST_F(WindowTest, IsLeftAloneWhenNothingChanges) {
    startWithWindow();
    state->screenParametersDidChange();
    state->endResize();
    window.settle();
    state->attachWindow(&window);
    EXPECT_EQ(window.orders, 0);
    state->choosePinned(true);
    state->choosePinned(true);
    EXPECT_EQ(window.orders, 1);
    state->showUtility(); // only brings it to the front
    EXPECT_EQ(window.orders, 2);
    state->attachWindow(nullptr);
    state->endResize();
    state->toggleLayout();
    state->showUtility();
    EXPECT_EQ(window.orders, 2) << "it is detached";
    EXPECT_EQ(state->maximumContentHeight(), 872) << "the usual one";
}

} // namespace
} // namespace tallywick::testing
