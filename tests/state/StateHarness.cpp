#include "StateHarness.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QLocale>
#include <QTimer>

#include <cstdlib>
#include <ctime>

namespace tallywick::testing {

namespace {

constexpr double startTime = 1'750'255'200; // 2025-06-18 14:00:00 UTC
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

class Statistics : public HostStatistics {
  public:
    explicit Statistics(FakeMachine& theMachine) : machine(theMachine) {}
    std::optional<CpuTicks> cpuTicks() override {
        const auto calls = static_cast<std::uint64_t>(++machine.samples);
        return CpuTicks{calls, 0, calls, 0};
    }
    std::optional<MemoryPages> memoryPages() override {
        return MemoryPages{static_cast<std::uint64_t>(machine.samples), 1, 100};
    }

  private:
    FakeMachine& machine;
};

class Volumes : public MountedVolumes {
  public:
    explicit Volumes(FakeMachine& theMachine) : machine(theMachine) {}
    std::vector<MountedVolume> list() override {
        ++machine.listings;
        machine.listings.notify_all();
        std::vector<MountedVolume> found;
        for (int i = 0; i < machine.volumes; ++i)
            found.push_back(
                {machine.volumePath + std::to_string(i), std::nullopt, 10, 4, 4, true, true});
        return found;
    }
    std::string unnamedRootName() const override { return "Root"; }

  private:
    FakeMachine& machine;
};

} // namespace

Json json(std::string_view text) { return parseJson(text).value(); }

Json allowanceOf(const std::string& accountId, int usedPercent) {
    return {{"accountId", accountId},
            {"rateLimits",
             {{"primary",
               {{"windowDurationMins", 10080},
                {"usedPercent", usedPercent},
                {"resetsAt", 1'750'600'000}}}}}};
}

Answer hangs() {
    return [](FakeTransport& helper) -> Json {
        helper.waitUntilClosed();
        throw BridgeFailure::closed();
    };
}

void FakeWindow::setFrame(QRectF frame) {
    ++orders;
    position = frame.topLeft();
    const QSizeF size = frame.size() - chrome;
    EXPECT_EQ(size, size.expandedTo(minimum).boundedTo(maximum)) << "beyond its limits";
    resize(size);
}

void FakeWindow::setContentLimits(QSizeF smallest, QSizeF largest) {
    ++orders;
    minimum = smallest;
    maximum = largest;
    EXPECT_EQ(minimum, minimum.boundedTo(maximum));
    resize(content.expandedTo(minimum).boundedTo(maximum));
}

void FakeWindow::setFloating(bool floats) {
    ++orders;
    floating = floats;
}

void FakeWindow::resize(QSizeF size) {
    if (size == content)
        return;
    content = size;
    heights.push_back(size.height());
    didResize();
}

StateHarness::StateHarness() : now(startTime) { bundle.isInstalled = true; }

StateHarness::~StateHarness() {
    state.reset();
    for (const auto& gone : servicesGone) // until then its queue may still write to the transcript
        EXPECT_EQ(gone.wait_for(patience), std::future_status::ready);
}

UtilityState& StateHarness::start(bool settles) {
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
        .transportFactory = [this,
                             presence](const auto& executable,
                                       const auto& onEvent) { return launch(executable, onEvent); },
        .findHelpers =
            [this](auto choice) {
                preferred = choice;
                return candidates;
            },
        .resolveHelper = [](const auto& chosen) -> std::optional<std::filesystem::path> {
            if (chosen.filename() == "codex")
                return chosen;
            return std::nullopt;
        },
        .historyStore = HistoryStore(folder / "history.json", now, false),
        .hardwareService = std::make_unique<HardwareService>(std::make_unique<Statistics>(machine),
                                                             std::make_unique<Volumes>(machine)),
        .bundle = bundle,
        .preferences = preferences,
        .workspace = workspace,
        .powerEvents = powerEvents,
        .networkPath = networkPath,
        .openPanel = &openPanel});
    QObject::connect(state.get(), &UtilityState::changed, state.get(), [this] { watch(); });
    if (settles)
        settle();
    return *state;
}

std::shared_ptr<AccountTransport> StateHarness::launch(const std::filesystem::path& executable,
                                                       const BridgeEventHandler& onEvent) {
    ++launched;
    if (realTransports)
        return realTransports(executable, onEvent);
    const auto current = [this](ChangeableAnswer StateHarness::*answer) {
        return std::deque<Answer>{
            [this, answer](FakeTransport& transport) { return (this->*answer).give(transport); }};
    };
    helper = std::make_shared<FakeTransport>(
        executable.string(),
        FakeHelper{.mode = "chatgpt",
                   .answers = {{"initialize", current(&StateHarness::initialize)},
                               {"account/read", current(&StateHarness::account)},
                               {"account/rateLimits/read", current(&StateHarness::allowance)},
                               {"account/usage/read", current(&StateHarness::usage)},
                               {"account/login/start", current(&StateHarness::login)}}},
        transcript, onEvent);
    return helper;
}

void StateHarness::showWindow() {
    window.didResize = [this] { state->syncLayoutWithSize(); };
    state->attachWindow(&window);
    window.orders = 0;
    window.heights.clear();
}

int StateHarness::elapsed() const { return static_cast<int>(now - startTime); }

void StateHarness::watch() {
    const std::string line = watchLine(fields());
    if (line != std::exchange(lastLine, line))
        lines += std::to_string(elapsed()) + " " + line + "\n";
}

void StateHarness::pass(int seconds) {
    constexpr int step = 5;
    for (int passed = 0; passed < seconds; passed += step) {
        now = now + step;
        const bool busy = fields().accountBusy;
        state->tick();
        if (fields().accountBusy && !busy)
            refreshes.push_back(elapsed());
        settle();
    }
}

void StateHarness::settle() {
    waitUntil([this] { return !fields().accountBusy && !fields().validatingHelper; });
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
