#pragma once

#include "codex/FakeTransport.h"
#include "platform/files/Preferences.h"
#include "state/UtilityState.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QLocale>

#include <cmath>
#include <semaphore>

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
    void start(std::function<void(NetworkPathStatus)> onUpdate) override { update = onUpdate; }
    void stop() override { update = nullptr; }
};

struct FakeWorkspace : Workspace {
    bool works = true;
    std::string opened, clipboard;
    bool openAddress(const std::string& address) override {
        opened = address;
        return works;
    }
    bool openFolder(const std::filesystem::path& folder) override { return openAddress(folder); }
    void revealItem(const std::filesystem::path&) override {}
    void openNewInstance(const std::filesystem::path&, const std::vector<std::string>&,
                         std::function<void(OpenOutcome)>) override {}
    void copyText(const std::string& text) override { clipboard = text; }
};

struct FakeOpenPanel : OpenPanel {
    using Choice = std::optional<std::filesystem::path>;
    std::function<Choice()> user;
    Choice chooseFile(const std::string&, const std::string&) override { return user(); }
};

/// A machine that uses one more percent of its memory at each sample.
struct FakeMachine {
    std::atomic<int> samples = 0, listings = 0, volumes = 1;
    std::string volumePath = "/volume"; ///< before its number
};

/// Either part of it.
struct FakeSensors : HostStatistics, MountedVolumes {
    explicit FakeSensors(FakeMachine& measured) : machine(measured) {}
    std::optional<CpuTicks> cpuTicks() override {
        ++machine.samples;
        return CpuTicks{samples(), 0, samples(), 0};
    }
    std::optional<MemoryPages> memoryPages() override { return MemoryPages{samples(), 1, 100}; }
    std::vector<MountedVolume> list() override {
        ++machine.listings;
        machine.listings.notify_all();
        std::vector<MountedVolume> found;
        for (int i = 0; i < machine.volumes; ++i)
            found.push_back({machine.volumePath + std::to_string(i), {}, 10, 4, 4, true, true});
        return found;
    }
    std::string unnamedRootName() const override { return "Root"; }
    std::uint64_t samples() const { return static_cast<std::uint64_t>(machine.samples); }
    FakeMachine& machine;
};

/// A decorated window that does at once as it is told, and tells its owner of every change of its
/// size. On a desktop that lets it have one size only, it learns of that later.
struct FakeWindow : UtilityWindow {
    UtilityState* owner = nullptr;
    bool visible = true, minimised = false, zoomed = false, floating = false, placeable = true;
    std::optional<QSizeF> tile;                             ///< the one size
    std::optional<QRectF> screen = QRectF(0, 0, 1600, 928); // of which its content may use 900
    QPointF position;
    QSizeF chrome{2, 28}, content{640, 480}, minimum, maximum{16'000, 16'000};
    int orders = 0;              ///< of any kind
    std::vector<double> heights; ///< that its content was given, one after the other

    bool isVisible() const override { return visible; }
    bool isMinimised() const override { return minimised; }
    bool isZoomed() const override { return zoomed; }
    QRectF frame() const override { return {position, content + chrome}; }
    QSizeF contentSize() const override { return content; }
    bool canBePlaced() const override { return placeable; }
    std::optional<QRectF> visibleScreenFrame() const override { return screen; }
    void showInFront(const std::string&) override { ++orders; }
    void setFloating(bool floats) override {
        ++orders;
        floating = floats;
    }
    void setFrame(QRectF frame) override {
        ++orders;
        const QSizeF size = frame.size() - chrome;
        EXPECT_EQ(size, size.expandedTo(minimum).boundedTo(maximum)) << "beyond its limits";
        heights.push_back(size.height());
        position = frame.topLeft();
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
        if (size != std::exchange(content, size))
            owner->syncLayoutWithSize();
    }
    /// Nothing more comes for a while.
    void settle() {
        for (int pause = 0; pause < 2; ++pause) { // the first may ask for what the second tells
            resize(tile.value_or(content));
            owner->windowDidSettle();
        }
    }
};

/// What the helpers answer to a method. It may change at any time, even while one is giving it.
class ChangeableAnswer {
  public:
    ChangeableAnswer(Answer first) : current(std::move(first)) {}
    void operator=(Answer next) {
        const std::lock_guard guard(mutex);
        current = std::move(next);
    }
    Answer get() {
        const std::lock_guard guard(mutex);
        return current;
    }
    Json operator()(FakeTransport& asked) { return get()(asked); }

  private:
    std::mutex mutex;
    Answer current;
};

// Results of the helper's methods

inline Json allowanceOf(const std::string& accountId, int usedPercent = 40,
                        std::int64_t reset = 1'795'355'200) {
    const Json week{
        {"windowDurationMins", 10080}, {"usedPercent", usedPercent}, {"resetsAt", reset}};
    return {{"accountId", accountId}, {"rateLimits", {{"primary", week}}}};
}

inline Json usageOf(int lifetimeTokens) {
    return {{"summary", {{"lifetimeTokens", lifetimeTokens}}}};
}

/// Answers only when the helper is closed, which fails it.
inline Answer hangs() {
    return [](FakeTransport& helper) -> Json {
        helper.waitUntilClosed();
        throw BridgeFailure::closed();
    };
}

using Times = std::vector<int>;              ///< in seconds since the start
using Told = std::pair<Status, std::string>; ///< with what Settings tell

/// The state with a real account service between fakes: a clock that stands at Wednesday 14:00 UTC
/// until a test moves it, and a helper whose answers a test may change. It has been started.
class StateTest : public ::testing::Test {
  protected:
    StateTest() { start(); }
    ~StateTest() override {
        state.reset();
        for (const auto& gone : servicesGone) // until then its queue may write to the transcript
            EXPECT_EQ(gone.wait_for(patience), std::future_status::ready);
    }

    void construct() {
        state.reset();
        launches = 0;
        statuses.clear();
        // Lives as long as the last account service and search: when they are gone, it breaks.
        const auto presence = std::make_shared<std::promise<void>>();
        servicesGone.push_back(presence->get_future());
        const Clock clock = [this] { return now.load(); };
        UtilityState::Services services{
            .clock = clock,
            .homeFolder = "/home/me",
            .transportFactory = [this, presence](const auto&... given) { return launch(given...); },
            .helperDiscovery = std::make_unique<HelperDiscovery>(
                [this, presence](const auto& query, auto& progress) { search(query, progress); }),
            .namedHelper = {},
            .historyStore = HistoryStore(folder / "history.json", now, false),
            .storageNotice = {},
            .hardwareService = std::make_unique<HardwareService>(
                std::make_unique<FakeSensors>(machine), std::make_unique<FakeSensors>(machine)),
            .bundle = {.version = "0.6.0", .build = "1", .isInstalled = true},
            .preferences = preferences,
            .workspace = workspace,
            .powerEvents = powerEvents,
            .networkPath = networkPath,
            .openPanel = &openPanel,
            .updates = {clock, {}, {"0.6.0", "1"}, {}, nullptr, workspace}};
        adjust(services);
        state = std::make_unique<UtilityState>(std::move(services));
        QObject::connect(state.get(), &UtilityState::changed, state.get(), [this] {
            if (statuses.empty() || statuses.back() != fields().status)
                statuses.push_back(fields().status);
        });
    }
    /// Constructs the state and lets its first refresh come to its end.
    void start() {
        construct();
        settle();
    }
    void waitUntil(const std::function<bool()>& condition) {
        const QDeadlineTimer deadline(patience);
        QTimer look; // what is waited for may happen outside the event loop
        look.start(std::chrono::milliseconds(10));
        QCoreApplication::processEvents(); // also what is only announced
        while (!condition() && !deadline.hasExpired())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        QCoreApplication::processEvents();
        ASSERT_TRUE(condition());
    }
    /// Runs the event loop until no answer of the account service is awaited.
    void settle() {
        waitUntil([this] { return !fields().accountBusy && !fields().validatingHelper; });
    }
    void refresh() {
        state->refreshNow();
        settle();
    }
    /// Returns when a refresh has been answered, with such a reading and 99 tokens. These are on
    /// their way until the event loop runs again.
    void sendReading(const Answer& reading) {
        std::binary_semaphore isAsked{0}, mayAnswer{0}, hasAnswered{0};
        allowance = [&](FakeTransport& asked) {
            isAsked.release();
            mayAnswer.acquire();
            return reading(asked);
        };
        usage = [&](FakeTransport&) {
            hasAnswered.release();
            return usageOf(99);
        };
        state->refreshNow();
        while (!isAsked.try_acquire())
            QCoreApplication::processEvents();
        mayAnswer.release();
        hasAnswered.acquire();
        allowance = reading;
        usage = gives(usageOf(99));
    }
    void tickAfter(double seconds) {
        now = now + seconds;
        state->tick();
    }
    /// Lets that many seconds pass, tick by tick; whatever a tick starts comes to its end. Each
    /// tick comes a moment early, as a timer's do. Returns when account refreshes began.
    Times pass(int seconds) {
        constexpr int step = 5;
        constexpr double early = 0.001;
        Times refreshes;
        for (int passed = 0; passed < seconds; passed += step) {
            tickAfter(step - early);
            if (fields().accountBusy)
                refreshes.push_back(static_cast<int>(std::lround(now - startTime)));
            settle();
        }
        return refreshes;
    }
    /// Attaches the window, which counts from then on.
    void showWindow() {
        window.owner = state.get();
        state->attachWindow(&window);
        window.orders = 0;
        window.heights.clear();
    }
    const UtilityFields& fields() const { return state->fields(); }
    Told told() const { return {fields().status, fields().settingsStatus}; }

    /// Makes the services of the next states as a test wants them.
    std::function<void(UtilityState::Services&)> adjust = [](auto&) {};
    static constexpr double startTime = 1'795'010'400; // 2026-11-18 14:00:00 UTC
    std::atomic<double> now = startTime;
    const Answer signedIn = gives({{"account", {{"type", "chatgpt"}}}});
    ChangeableAnswer initialize = gives({}), account = signedIn;
    ChangeableAnswer allowance = gives(allowanceOf("A1")), usage = gives(usageOf(9000));
    ChangeableAnswer login = gives({{"loginId", "L1"}, {"authUrl", "https://auth.openai.com/x"}});
    std::shared_ptr<FakeTransport> helper; ///< the one started last; look at it between refreshes
    std::atomic<int> launches = 0;         ///< since the state was constructed
    std::vector<std::filesystem::path> candidates{"/opt/tools/codex"};
    std::function<void()> whileSearching = [] {}; ///< on the thread of the search
    std::vector<Status> statuses;                 ///< that were announced

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
    void search(const HelperQuery& query, SearchProgress& progress) {
        whileSearching();
        if (query.chosen && query.chosen->filename() == "codex")
            progress.add(*query.chosen);
        for (const std::filesystem::path& candidate : candidates)
            if (!query.onlyChosen)
                progress.add(candidate);
    }
    std::shared_ptr<AccountTransport> launch(const std::filesystem::path& executable,
                                             const BridgeEventHandler& onEvent) {
        ++launches;
        const FakeHelper script{.mode = "chatgpt",
                                .answers = {{"initialize", {std::ref(initialize)}},
                                            {"account/read", {std::ref(account)}},
                                            {"account/rateLimits/read", {std::ref(allowance)}},
                                            {"account/usage/read", {std::ref(usage)}},
                                            {"account/login/start", {std::ref(login)}}}};
        helper = std::make_shared<FakeTransport>(executable, script, transcript, onEvent);
        return helper;
    }

    static constexpr std::chrono::seconds patience{60};
    /// In the C locale and UTC, and with what Qt keeps open opened before the first test.
    static inline const bool isReady = [] {
        int count = 0;
        const QCoreApplication first(count, nullptr);
        QLocale::setDefault(QLocale::c());
        return setenv("TZ", "UTC", 1) == 0;
    }();
    int argumentCount = 0;
    const QCoreApplication application{argumentCount, nullptr};
    Transcript transcript;
    std::vector<std::future<void>> servicesGone;
};

} // namespace tallywick::testing
