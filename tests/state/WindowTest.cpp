// The window as the state sizes, places and follows it.

#include "StateHarness.h"

#include "state/WindowSizing.h"

#include <gtest/gtest.h>

#include <QCoreApplication>

#include <limits>

namespace tallywick::testing {
namespace {

constexpr double none = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

/// A state with a window, which never sees `mini` differ from the window.
class WindowTest : public ::testing::Test {
  protected:
    UtilityState& startWithWindow() {
        UtilityState& state = harness.start();
        harness.showWindow();
        QObject::connect(&state, &UtilityState::changed, &state,
                         [this] { EXPECT_EQ(fields().mini, window().content.height() < 600); });
        return state;
    }
    QSizeF keptSize() const {
        return {harness.preferences.doubleValue("resizableWidth").value_or(-1),
                harness.preferences.doubleValue("resizableHeight").value_or(-1)};
    }
    std::optional<std::string> keptPosition() const {
        return harness.preferences.stringValue("CorvaneTallywickWindow");
    }
    FakeWindow& window() { return harness.window; }
    const UtilityFields& fields() const { return harness.fields(); }

    StateHarness harness;
};

TEST(AttachedWindow, TakesTheKeptSizeOrThatOfItsLayout) {
    const struct {
        const char* description;
        bool mini;
        QSizeF kept;
        double screenHeight;
        QSizeF given;
    } cases[] = {{"nothing kept, full", false, {0, 0}, 928, {520, 635}},
                 {"nothing kept, mini", true, {0, 0}, 928, {500, 225}},
                 {"mini", false, {510, 230}, 928, {510, 230}},
                 {"narrower than any", false, {499, 635}, 928, {520, 635}},
                 {"for which the screen is too low", false, {520, 635}, 500, {520, 472}},
                 {"with a fraction", true, {510.4, 229.5}, 928, {510, 230}},
                 {"no numbers", true, {none, none}, 928, {500, 225}},
                 {"without end", true, {infinity, 1e300}, 928, {520, 635}}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.description);
        StateHarness harness;
        harness.preferences.setBool("mini", row.mini);
        harness.preferences.setDouble("resizableWidth", row.kept.width());
        harness.preferences.setDouble("resizableHeight", row.kept.height());
        harness.window.screen->setHeight(row.screenHeight);
        harness.start();
        harness.showWindow();
        EXPECT_EQ(harness.window.content, row.given);
        EXPECT_EQ(harness.fields().mini, row.given.height() < 600);
    }
}

TEST(AttachedWindow, ComesBackWhereItWasAsFarAsTheScreenAllows) {
    const struct {
        const char* description;
        std::optional<std::string> kept;
        QPointF place;
        bool mini = false;
    } cases[] = {{"on the screen", "100 200", {100, 200}},
                 {"mini in the corner", "1098 697", {1098, 697}, true},
                 {"on a screen that has gone", "9000 -9000", {1600 - 522, 20}},
                 {"first start: in the middle", std::nullopt, {539, 154}},
                 {"not two numbers", "100", {539, 154}},
                 {"other text", "100 200px", {539, 154}},
                 {"beyond any screen", "40000 0", {539, 154}},
                 {"beyond any number", "99999999999 0", {539, 154}}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.description);
        StateHarness harness;
        if (row.kept)
            harness.preferences.setString("CorvaneTallywickWindow", *row.kept);
        harness.preferences.setBool("mini", row.mini);
        harness.window.screen = QRectF(0, 20, 1600, 930); // below a panel
        harness.start();
        harness.showWindow();
        EXPECT_EQ(harness.window.position, row.place);
    }
}

TEST_F(WindowTest, ItsPlaceIsKeptWhenItWasMoved) {
    UtilityState& state = startWithWindow();
    EXPECT_FALSE(keptPosition());
    window().position = {-20.6, 40.4};
    state.windowDidMove();
    EXPECT_EQ(keptPosition(), "-21 40");
    window().position = {-32'000, -32'000}; // as some desktops put it out of sight
    window().minimised = true;
    state.windowDidMove();
    state.stop();
    window().minimised = false;
    state.windowDidMove();
    EXPECT_EQ(keptPosition(), "-21 40");
}

TEST_F(WindowTest, TogglesBetweenTheLayouts) {
    harness.machine.volumes = 3;
    UtilityState& state = startWithWindow();
    state.tick(); // lists the volumes
    harness.waitUntil([&] { return fields().volumes.size() == 3; });
    window().position = {300, 60};
    window().heights.clear();
    const int samples = harness.machine.samples;

    state.toggleLayout();
    EXPECT_TRUE(fields().mini);
    EXPECT_EQ(window().frame(), QRectF(300, 60, 502, 253));
    EXPECT_EQ(keptSize(), QSizeF(500, 225));
    EXPECT_EQ(harness.preferences.boolValue("mini"), true);
    state.toggleLayout();
    EXPECT_FALSE(fields().mini);
    EXPECT_EQ(window().frame(), QRectF(300, 60, 522, 687));
    EXPECT_EQ(keptSize(), QSizeF(520, 659));
    EXPECT_EQ(harness.preferences.boolValue("mini"), false);
    EXPECT_EQ(window().heights, (std::vector<double>{225, 659})) << "no size in between";
    state.tick();
    harness.waitUntil([&] { return harness.machine.samples == samples + 1; });
}

TEST_F(WindowTest, TheGripResizesAndSnapsWhenItIsLetGo) {
    const struct {
        const char* description;
        std::vector<QPointF> drags; ///< how far from where the grip was grasped
        QSizeF dragged, released;
    } cases[] = {{"a bit up", {{0, -20}}, {520, 615}, {520, 635}},
                 {"up and back", {{0, -500}, {0, 0}}, {520, 635}, {520, 635}},
                 {"just mini", {{-10, -36}}, {510, 599}, {510, 230}},
                 {"mini, then full", {{0, -500}, {-20, -1}}, {520, 634}, {520, 635}},
                 {"beyond all limits", {{-9999, -9999}}, {500, 225}, {500, 225}},
                 {"no numbers", {{none, none}}, {500, 225}, {500, 225}}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.description);
        StateHarness own;
        own.preferences.setString("CorvaneTallywickWindow", "300 60");
        UtilityState& state = own.start();
        own.showWindow();
        for (const QPointF drag : row.drags)
            state.resizeBy(drag.x(), drag.y());
        EXPECT_EQ(own.window.content, row.dragged);
        EXPECT_EQ(own.fields().mini, row.dragged.height() < 600);
        EXPECT_EQ(own.window.minimum, QSizeF(own.fields().mini ? 500 : 520, 225));
        EXPECT_FALSE(own.preferences.doubleValue("resizableHeight")) << "only when it is let go";
        state.endResize();
        EXPECT_EQ(own.window.content, row.released);
        EXPECT_EQ(own.window.position, QPointF(300, 60));
        EXPECT_EQ(own.preferences.doubleValue("resizableWidth"), row.released.width());
        EXPECT_EQ(own.preferences.doubleValue("resizableHeight"), row.released.height());
        EXPECT_EQ(own.preferences.boolValue("mini"), row.released.height() < 600);
    }
}

TEST_F(WindowTest, EachDragIsMeasuredFromItsOwnStart) {
    UtilityState& state = startWithWindow();
    state.resizeBy(0, -400);
    state.endResize();
    EXPECT_EQ(window().content, QSizeF(520, 234));
    state.resizeBy(0, 6);
    EXPECT_EQ(window().content, QSizeF(520, 240));
}

TEST_F(WindowTest, FollowsWhatTheSystemMakesOfIt) {
    UtilityState& state = startWithWindow();
    window().resize({500, 599});
    EXPECT_TRUE(fields().mini);
    EXPECT_EQ(window().minimum, QSizeF(500, 225));
    window().resize({500, 600});
    EXPECT_FALSE(fields().mini);
    EXPECT_EQ(window().content, QSizeF(520, 600)) << "the full layout is wider";
    state.endResize();
    EXPECT_EQ(window().content, QSizeF(520, 635));

    window().screen = QRectF(0, 0, 1024, 628); // another screen
    state.screenParametersDidChange();
    EXPECT_EQ(window().content, QSizeF(520, 600));
    EXPECT_EQ(window().maximum, QSizeF(520, 600));
    EXPECT_TRUE(window().screen->contains(window().frame()));
    window().screen = QRectF(0, 0, 510.5, 928);
    state.screenParametersDidChange();
    EXPECT_EQ(window().maximum, QSizeF(508, 635));
    EXPECT_EQ(window().minimum, QSizeF(508, 225));
}

TEST_F(WindowTest, FindsRoomForADecorationThatIsKnownLater) {
    window().chrome = {0, 0};
    window().screen->setHeight(635);
    UtilityState& state = startWithWindow();
    EXPECT_EQ(window().frame(), QRectF(540, 0, 520, 635));
    window().chrome = {2, 28}; // it is shown
    state.applyWindowConfiguration();
    EXPECT_EQ(window().frame(), QRectF(540, 0, 522, 635));
    EXPECT_EQ(window().content, QSizeF(520, 607));
}

TEST_F(WindowTest, IsLeftAloneWhenNothingChanges) {
    UtilityState& state = startWithWindow();
    state.savePreferences();
    state.screenParametersDidChange();
    state.setContentSize({520, 635});
    state.syncLayoutWithSize();
    state.endResize();
    state.attachWindow(&window());
    state.showUtility();
    EXPECT_EQ(window().orders, 0);
    EXPECT_EQ(window().timesInFront, 1);
    state.choosePinned(true);
    state.choosePinned(true);
    EXPECT_EQ(window().orders, 1);
}

TEST_F(WindowTest, IsLeftAloneByAStateThatHasStoppedOrDoesNotHaveIt) {
    UtilityState& state = startWithWindow();
    const auto expectNothingHappens = [&] {
        state.applyWindowConfiguration();
        state.resizeBy(0, -100);
        state.endResize();
        state.toggleLayout();
        state.showUtility();
        state.windowDidMove();
        EXPECT_FALSE(fields().mini);
        EXPECT_EQ(window().orders, 0);
        EXPECT_EQ(window().timesInFront, 0);
        EXPECT_EQ(keptSize(), QSizeF(-1, -1));
        EXPECT_FALSE(keptPosition());
    };
    EXPECT_EQ(state.maximumContentHeight(), 900);
    state.attachWindow(nullptr);
    EXPECT_EQ(state.maximumContentHeight(), 872);
    state.setContentSize({500, 225});
    state.syncLayoutWithSize();
    expectNothingHappens();

    state.attachWindow(&window()); // anew
    state.choosePinned(true);
    EXPECT_TRUE(window().floating);
    window().orders = 0;
    state.enterMaintenance();
    state.resizeBy(0, -100);
    state.stop();
    expectNothingHappens();
}

TEST_F(WindowTest, WithoutAScreenItIsOnlySized) {
    window().screen.reset();
    window().position = {-700, 9000};
    UtilityState& state = startWithWindow();
    EXPECT_EQ(window().content, QSizeF(520, 635));
    EXPECT_EQ(state.maximumContentHeight(), 872);
    state.toggleLayout();
    EXPECT_EQ(window().frame(), QRectF(-700, 9000, 502, 253));
}

} // namespace
} // namespace tallywick::testing
