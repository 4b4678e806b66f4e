#pragma once

#include "codex/FakeTransport.h"
#include "platform/files/Preferences.h"
#include "state/UtilityState.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <atomic>

namespace tallywick {

inline void PrintTo(const Status& status, std::ostream* out) { *out << status.text(); }

} // namespace tallywick

namespace tallywick::testing {

struct FakePowerEvents : PowerEvents {
    Handlers handlers;
    void start(Handlers given) override { handlers = std::move(given); }
    void stop() override { handlers = {}; }
};

struct FakeNetworkPath : NetworkPath {
    std::function<void(NetworkPathStatus)> update;
    std::function<void()> whenStopped = [] {};
    void start(std::function<void(NetworkPathStatus)> onUpdate) override { update = onUpdate; }
    void stop() override {
        whenStopped();
        update = nullptr;
    }
};

struct FakeWorkspace : Workspace {
    bool works = true;
    std::string opened;
    std::string clipboard;
    bool openAddress(const std::string& address) override {
        opened = address;
        return works;
    }
    bool openFolder(const std::filesystem::path& folder) override { return openAddress(folder); }
    void revealItem(const std::filesystem::path& item) override {
        opened = "around " + item.string();
    }
    bool openApplication(const std::filesystem::path& bundle) override {
        return openAddress(bundle);
    }
    void openNewInstance(const std::filesystem::path& bundle, const std::vector<std::string>&,
                         std::function<void(OpenOutcome)>) override {
        opened = bundle;
    }
    void copyText(const std::string& text) override { clipboard = text; }
};

struct FakeOpenPanel : OpenPanel {
    std::optional<std::filesystem::path> choice = "/home/me/codex";
    std::function<void()> whileOpen = [] {};
    std::optional<std::filesystem::path> chooseFile(const std::string&,
                                                    const std::string&) override {
        whileOpen();
        return choice;
    }
};

/// A decorated window that does at once as it is told, and tells of every change of its size. On a
/// desktop that lets it have one size only, it learns of that later.
struct FakeWindow : UtilityWindow {
    bool visible = true;
    bool minimised = false;
    bool zoomed = false;
    std::optional<QSizeF> tile;                             ///< the one size
    std::optional<QRectF> screen = QRectF(0, 0, 1600, 928); // of which its content may use 900
    QSizeF chrome{2, 28};
    QPointF position;
    QSizeF content{640, 480};
    QSizeF minimum;
    QSizeF maximum{16'000, 16'000};
    bool floating = false;
    int orders = 0;              ///< of any kind
    int frames = 0;              ///< of these, new frames
    std::vector<double> heights; ///< of its content, one after the other
    std::function<void()> didResize = [] {};
    std::function<void()> didSettle = [] {};

    bool isVisible() const override { return visible; }
    bool isMinimised() const override { return minimised; }
    bool isZoomed() const override { return zoomed; }
    QRectF frame() const override { return {position, content + chrome}; }
    QSizeF contentSize() const override { return content; }
    std::optional<QRectF> visibleScreenFrame() const override { return screen; }
    void showInFront(const std::string&) override { ++orders; }
    void setFloating(bool floats) override {
        ++orders;
        floating = floats;
    }
    void setFrame(QRectF frame) override {
        ++orders;
        ++frames;
        position = frame.topLeft();
        const QSizeF size = frame.size() - chrome;
        EXPECT_EQ(size, size.expandedTo(minimum).boundedTo(maximum)) << "beyond its limits";
        resize(size);
    }
    void setContentLimits(QSizeF smallest, QSizeF largest) override {
        ++orders;
        EXPECT_EQ(smallest, smallest.boundedTo(largest));
        minimum = smallest;
        maximum = largest;
    }
    /// As the user or the window manager does it.
    void resize(QSizeF size) {
        if (size != std::exchange(content, size)) {
            heights.push_back(size.height());
            didResize();
        }
    }
    /// Nothing more comes for a while.
    void settle() {
        for (int pause = 0; pause < 2; ++pause) { // the first may ask for what the second tells
            resize(tile.value_or(content));
            didSettle();
        }
    }
};

/// A machine that counts how often it is asked; each sample uses one more percent of its memory.
struct FakeMachine {
    std::atomic<int> samples = 0, listings = 0, volumes = 1;
    std::string volumePath = "/volume"; ///< before its number
};

/// Results of the helper's methods.
Json allowanceOf(const std::string& accountId, int usedPercent = 40);
Json usageOf(int lifetimeTokens);

/// Answers only when the helper is closed, which fails it. Tells when it has begun to.
Answer hangs(std::promise<void>* begun = nullptr);

/// An answer that a test may replace at any time, even while a helper is giving it.
class ChangeableAnswer {
  public:
    ChangeableAnswer(Answer first) : current(std::move(first)) {}
    ChangeableAnswer& operator=(Answer next) {
        const std::lock_guard guard(mutex);
        current = std::move(next);
        return *this;
    }
    Answer get() {
        const std::lock_guard guard(mutex);
        return current;
    }

  private:
    std::mutex mutex;
    Answer current;
};

/// The state with a real account service between fakes: a clock that stands at Wednesday 14:00 UTC
/// until a test moves it, and a helper whose answers a test may change between two refreshes.
class StateHarness {
  public:
    StateHarness() = default;
    ~StateHarness();
    StateHarness(const StateHarness&) = delete;
    StateHarness& operator=(const StateHarness&) = delete;

    void construct();
    /// Constructs the state and lets its first refresh come to its end.
    UtilityState& start() {
        construct();
        settle();
        return *state;
    }
    void tickAfter(double seconds) {
        now = now + seconds;
        state->tick();
    }
    /// Lets that many seconds pass, tick by tick; whatever a tick starts comes to its end. Each
    /// tick comes a moment early, as a timer's do.
    void pass(int seconds);
    /// Runs the event loop until no answer of the account service is awaited.
    void settle() {
        waitUntil([this] { return !fields().accountBusy && !fields().validatingHelper; });
    }
    void refresh() {
        state->refreshNow();
        settle();
    }
    /// Returns when the helper is being asked: what it answers stays on its way until the event
    /// loop runs again.
    void beginRefresh();
    void waitUntil(const std::function<bool()>& condition);
    /// Attaches the window, which counts from then on.
    void showWindow();

    /// The seconds since the start at which `pass` saw account refreshes begin.
    std::vector<int> takeRefreshes() { return std::exchange(refreshes, {}); }
    const UtilityFields& fields() const { return state->fields(); }

    std::vector<Status> statuses;                      ///< that were announced
    std::vector<std::string> notes;                    ///< in the settings, that were announced
    static constexpr double startTime = 1'795'010'400; // 2026-11-18 14:00:00 UTC
    std::atomic<double> now = startTime;
    ChangeableAnswer initialize = gives({});
    ChangeableAnswer account = gives({{"account", {{"type", "chatgpt"}}}});
    ChangeableAnswer allowance = gives(allowanceOf("A1"));
    ChangeableAnswer usage = gives(usageOf(9000));
    ChangeableAnswer login = gives({{"loginId", "L1"}, {"authUrl", "https://auth.openai.com/x"}});
    std::shared_ptr<FakeTransport> helper; ///< the one started last; look at it between refreshes
    std::atomic<int> launches = 0;
    TransportFactory realTransports; ///< in place of the fake ones
    std::vector<std::filesystem::path> candidates{"/opt/tools/codex"};
    std::optional<std::filesystem::path> preferred; ///< of the last search for all helpers
    std::optional<std::filesystem::path> namedHelper;
    std::function<void()> whileSearching = [] {}; ///< on the thread of the search
    std::string storageNotice;
    bool keepsHistory = false; ///< in its file
    RunningBundle bundle{.version = "0.6.0", .build = "1", .isInstalled = true};
    std::optional<std::filesystem::path> caches;
    std::function<decltype(fetchBounded)> fetch; ///< of the updates

    TemporaryFolder folder;
    FilePreferences preferences{folder / "preferences.json"};
    FakePowerEvents powerEvents;
    FakeNetworkPath networkPath;
    FakeWorkspace workspace;
    FakeOpenPanel openPanel;
    FakeMachine machine;
    FakeWindow window;
    std::unique_ptr<UtilityState> state;

  private:
    void search(const HelperQuery& query, SearchProgress& progress);
    std::shared_ptr<AccountTransport> launch(const std::filesystem::path& executable,
                                             const BridgeEventHandler& onEvent);

    std::mutex searching;
    Transcript transcript;
    std::vector<int> refreshes;
    std::vector<std::future<void>> servicesGone;
};

class StateTest : public ::testing::Test, public StateHarness {};

} // namespace tallywick::testing
