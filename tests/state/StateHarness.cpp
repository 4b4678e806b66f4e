#include "StateHarness.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QLocale>
#include <QTimer>

#include <cmath>
#include <cstdlib>
#include <ctime>

namespace tallywick::testing {

namespace {

constexpr std::chrono::seconds patience{60};

/// The event loop, in the C locale and UTC. Lives longer than the search for what tests leave open.
class Application : public ::testing::Environment {
  public:
    void SetUp() override {
        setenv("TZ", "UTC", 1);
        tzset();
        QLocale::setDefault(QLocale::c());
        application.emplace(count, arguments);
    }
    void TearDown() override { application.reset(); }

  private:
    char name[6] = "state";
    char* arguments[2] = {name, nullptr};
    int count = 1;
    std::optional<QCoreApplication> application;
};

[[maybe_unused]] const auto* const registration =
    ::testing::AddGlobalTestEnvironment(new Application);

struct Statistics : HostStatistics {
    explicit Statistics(FakeMachine& theMachine) : machine(theMachine) {}
    std::optional<CpuTicks> cpuTicks() override {
        ++calls;
        return CpuTicks{calls, 0, calls, 0};
    }
    std::optional<MemoryPages> memoryPages() override {
        ++machine.samples;
        return MemoryPages{calls, 1, 100};
    }
    FakeMachine& machine;
    std::uint64_t calls = 0;
};

struct Volumes : MountedVolumes {
    explicit Volumes(FakeMachine& theMachine) : machine(theMachine) {}
    std::vector<MountedVolume> list() override {
        ++machine.listings;
        machine.listings.notify_all();
        std::vector<MountedVolume> found;
        for (int i = 0; i < machine.volumes; ++i)
            found.push_back({machine.volumePath + std::to_string(i), {}, 10, 4, 4, true, true});
        return found;
    }
    std::string unnamedRootName() const override { return "Root"; }
    FakeMachine& machine;
};

} // namespace

Json allowanceOf(const std::string& accountId, int usedPercent) {
    const Json week{
        {"windowDurationMins", 10080}, {"usedPercent", usedPercent}, {"resetsAt", 1'795'355'200}};
    return {{"accountId", accountId}, {"rateLimits", {{"primary", week}}}};
}

Json usageOf(int lifetimeTokens) { return {{"summary", {{"lifetimeTokens", lifetimeTokens}}}}; }

Answer hangs(std::promise<void>* begun) {
    return [begun](FakeTransport& helper) -> Json {
        if (begun)
            begun->set_value();
        helper.waitUntilClosed();
        throw BridgeFailure::closed();
    };
}

StateHarness::~StateHarness() {
    state.reset();
    for (const auto& gone : servicesGone) // until then its queue may still write to the transcript
        EXPECT_EQ(gone.wait_for(patience), std::future_status::ready);
}

void StateHarness::construct() {
    state.reset();
    // Lives as long as the last account service.
    struct Presence {
        std::promise<void> gone;
        ~Presence() { gone.set_value(); }
    };
    const auto presence = std::make_shared<Presence>();
    servicesGone.push_back(presence->gone.get_future());
    state = std::make_unique<UtilityState>(UtilityState::Services{
        .clock = [this] { return now.load(); },
        .homeFolder = "/home/me",
        .transportFactory = [this, presence](const auto&... given) { return launch(given...); },
        .helperDiscovery = std::make_unique<HelperDiscovery>(
            [this, presence](const auto& query, auto& progress) { search(query, progress); }),
        .namedHelper = namedHelper,
        .historyStore = HistoryStore(folder / "history.json", now, keepsHistory),
        .storageNotice = storageNotice,
        .hardwareService = std::make_unique<HardwareService>(std::make_unique<Statistics>(machine),
                                                             std::make_unique<Volumes>(machine)),
        .bundle = bundle,
        .preferences = preferences,
        .workspace = workspace,
        .powerEvents = powerEvents,
        .networkPath = networkPath,
        .openPanel = &openPanel,
        .updates = {.clock = [this] { return now.load(); },
                    .caches = caches,
                    .copy = {bundle.version, bundle.build},
                    .unpackTool = {},
                    .signature = nullptr,
                    .workspace = workspace,
                    .steps = {.fetch = fetch}}});
    QObject::connect(state.get(), &UtilityState::changed, state.get(), [this] {
        if (statuses.empty() || statuses.back() != fields().status)
            statuses.push_back(fields().status);
        if (notes.empty() || notes.back() != fields().settingsStatus)
            notes.push_back(fields().settingsStatus);
    });
}

void StateHarness::search(const HelperQuery& query, SearchProgress& progress) {
    whileSearching();
    if (query.onlyChosen) {
        if (query.chosen->filename() == "codex")
            progress.add(*query.chosen);
        return;
    }
    const std::lock_guard guard(searching); // one that was given up may come late
    preferred = query.chosen;
    for (const std::filesystem::path& candidate : candidates)
        progress.add(candidate);
}

std::shared_ptr<AccountTransport> StateHarness::launch(const std::filesystem::path& executable,
                                                       const BridgeEventHandler& onEvent) {
    ++launches;
    if (realTransports)
        return realTransports(executable, onEvent);
    const auto current = [](ChangeableAnswer& answer) {
        return std::deque<Answer>{
            [&answer](FakeTransport& transport) { return answer.get()(transport); }};
    };
    const FakeHelper script{.mode = "chatgpt",
                            .answers = {{"initialize", current(initialize)},
                                        {"account/read", current(account)},
                                        {"account/rateLimits/read", current(allowance)},
                                        {"account/usage/read", current(usage)},
                                        {"account/login/start", current(login)}}};
    helper = std::make_shared<FakeTransport>(executable, script, transcript, onEvent);
    return helper;
}

void StateHarness::showWindow() {
    window.didResize = [this] { state->syncLayoutWithSize(); };
    window.didSettle = [this] { state->windowDidSettle(); };
    state->attachWindow(&window);
    window.orders = 0;
    window.heights.clear();
}

void StateHarness::pass(int seconds) {
    constexpr int step = 5;
    constexpr double early = 0.001;
    for (int passed = 0; passed < seconds; passed += step) {
        const bool busy = fields().accountBusy;
        tickAfter(step - early);
        if (fields().accountBusy && !busy)
            refreshes.push_back(static_cast<int>(std::lround(now - startTime)));
        settle();
    }
}

void StateHarness::beginRefresh() {
    const Answer reading = account.get();
    const auto asked = std::make_shared<std::atomic<bool>>(false);
    const auto mayAnswer = std::make_shared<std::promise<void>>();
    account = [=](FakeTransport& transport) {
        *asked = true;
        mayAnswer->get_future().wait();
        return reading(transport);
    };
    state->refreshNow();
    while (!*asked)
        QCoreApplication::processEvents();
    account = reading;
    mayAnswer->set_value();
}

void StateHarness::waitUntil(const std::function<bool()>& condition) {
    QEventLoop loop;
    QTimer deadline;
    deadline.setSingleShot(true);
    QObject::connect(&deadline, &QTimer::timeout, &loop, &QEventLoop::quit);
    QObject::connect(state.get(), &UtilityState::changed, &loop, &QEventLoop::quit);
    deadline.start(patience);
    QCoreApplication::processEvents(); // also what is only announced
    while (!condition() && deadline.isActive())
        loop.exec();
    QCoreApplication::processEvents();
    ASSERT_TRUE(condition());
}

} // namespace tallywick::testing
