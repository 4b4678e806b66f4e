#pragma once

#include "codex/FakeTransport.h"
#include "platform/FilePreferences.h"
#include "state/UtilityState.h"
#include "support/TemporaryFolder.h"

#include <atomic>
#include <functional>
#include <future>
#include <optional>
#include <string>
#include <vector>

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
    bool browserWorks = true;
    bool fileBrowserWorks = true;
    std::string opened;
    std::filesystem::path openedFolder;
    std::string clipboard;
    bool openAddress(const std::string& address) override {
        opened = address;
        return browserWorks;
    }
    bool openFolder(const std::filesystem::path& folder) override {
        openedFolder = folder;
        return fileBrowserWorks;
    }
    void copyText(const std::string& text) override { clipboard = text; }
};

struct FakeOpenPanel : OpenPanel {
    std::optional<std::filesystem::path> choice;
    std::function<void()> whileOpen = [] {};
    std::optional<std::filesystem::path> chooseFile(const std::string&,
                                                    const std::string&) override {
        whileOpen();
        return choice;
    }
};

/// A decorated window that does at once as it is told, and tells of every change of its size.
class FakeWindow : public UtilityWindow {
  public:
    bool visible = true;
    bool minimised = false;
    std::optional<QRectF> screen = QRectF(0, 0, 1600, 928); // of which its content may use 900
    QSizeF chrome{2, 28};
    QPointF position;
    QSizeF content{640, 480};
    QSizeF minimum;
    QSizeF maximum{16'000, 16'000};
    bool floating = false;
    int orders = 0; ///< that changed its frame, its limits or its level
    int timesInFront = 0;
    std::vector<double> heights; ///< of its content, one after the other
    std::function<void()> didResize = [] {};

    bool isVisible() const override { return visible; }
    bool isMinimised() const override { return minimised; }
    QRectF frame() const override { return {position, content + chrome}; }
    QSizeF contentSize() const override { return content; }
    std::optional<QRectF> visibleScreenFrame() const override { return screen; }
    void setFrame(QRectF frame) override;
    void setContentLimits(QSizeF smallest, QSizeF largest) override;
    void setFloating(bool floats) override;
    void showInFront() override { ++timesInFront; }

    /// As the user or the window manager does it.
    void resize(QSizeF size);
};

/// A machine that counts how often it is asked; each sample uses one more percent of its memory.
struct FakeMachine {
    std::atomic<int> samples = 0;
    std::atomic<int> listings = 0;
    std::atomic<int> volumes = 1;
    std::string volumePath = "/volume"; ///< before its number
};

Json json(std::string_view text);
/// The result of "account/rateLimits/read" for an account.
Json allowanceOf(const std::string& accountId, int usedPercent = 40);
/// Answers only when the helper is closed, which fails it.
Answer hangs();

/// An answer that a test may replace at any time, even while a helper is giving it.
class ChangeableAnswer {
  public:
    ChangeableAnswer(Answer first) : answer(std::move(first)) {}
    ChangeableAnswer& operator=(Answer next) {
        const std::lock_guard guard(mutex);
        answer = std::move(next);
        return *this;
    }
    Json give(FakeTransport& helper) {
        return [this] {
            const std::lock_guard guard(mutex);
            return answer;
        }()(helper);
    }

  private:
    std::mutex mutex;
    Answer answer;
};

/// The state with a real account service between fakes: a clock that stands at Wednesday 14:00 UTC
/// until a test moves it, a helper whose answers a test may change between two refreshes, and the
/// lines that `watchLine` gave, each behind the seconds since the start.
class StateHarness {
  public:
    StateHarness();
    ~StateHarness();
    StateHarness(const StateHarness&) = delete;
    StateHarness& operator=(const StateHarness&) = delete;

    /// Constructs the state and, as told, lets its first refresh come to its end.
    UtilityState& start(bool settles = true);

    /// Lets that many seconds pass, tick by tick; whatever a tick starts comes to its end.
    void pass(int seconds);
    /// Runs the event loop until no answer of the account service is awaited.
    void settle();
    void waitUntil(const std::function<bool()>& condition);
    /// Attaches the window, which counts from then on.
    void showWindow();

    std::string takeLines() { return std::exchange(lines, {}); }
    /// The seconds since the start at which account refreshes have begun.
    std::vector<int> takeRefreshes() { return std::exchange(refreshes, {}); }
    int launches() const { return launched; }
    const UtilityFields& fields() const { return state->fields(); }

    std::atomic<double> now;
    ChangeableAnswer initialize = gives({});
    ChangeableAnswer account =
        gives(json(R"({"account":{"type":"chatgpt","email":"me@example.com"}})"));
    ChangeableAnswer allowance = gives(allowanceOf("A1"));
    ChangeableAnswer usage = gives(json(R"({"summary":{"lifetimeTokens":9000}})"));
    ChangeableAnswer login =
        gives(json(R"({"loginId":"L1","authUrl":"https://auth.openai.com/x"})"));
    std::shared_ptr<FakeTransport> helper; ///< the one started last; look at it between refreshes
    TransportFactory realTransports;       ///< to be used instead, if there is one
    std::vector<std::filesystem::path> candidates{"/opt/tools/codex"};
    std::optional<std::filesystem::path> preferred; ///< of the last search
    RunningBundle bundle;

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
    int elapsed() const;
    void watch();
    std::shared_ptr<AccountTransport> launch(const std::filesystem::path& executable,
                                             const BridgeEventHandler& onEvent);

    Transcript transcript;
    std::atomic<int> launched = 0;
    std::string lines;
    std::string lastLine;
    std::vector<int> refreshes;
    std::vector<std::future<void>> servicesGone;
};

} // namespace tallywick::testing
