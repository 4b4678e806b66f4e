#pragma once

#include <array>
#include <functional>
#include <memory>
#include <string>

namespace tallywick {

/// What a copy of the application that runs is asked for.
enum class Wish {
    comeForward,
    refresh, ///< to read everything anew, where it is
    mini,    ///< to show its other layout, where it is
    nothing  ///< but an answer
};

/// What the launcher offers besides opening the application. With its argument, a program asks the
/// copy that runs; where none does, it goes on and does that itself.
struct LauncherAction {
    Wish wish = Wish::nothing;
    const char* name = ""; ///< to the user, and on the bus
    const char* argument = "";
};
inline constexpr std::array launcherActions{
    LauncherAction{Wish::refresh, "Refresh", "--refresh"},
    LauncherAction{Wish::mini, "Mini", "--mini"},
};

/// A wish, with the launch token (`WindowActivation.h`) of whoever has it, which may be empty.
struct ActivationRequest {
    Wish wish = Wish::comeForward;
    std::string launchToken = {};
};

/// Listens, as long as it lives, to other copies of the application and to the desktop asking this
/// one for something. Main thread only.
class ActivationListener {
  public:
    virtual ~ActivationListener() = default;
};

using OnActivate = std::function<void(const ActivationRequest&)>;

/// Calls `onActivate` from the event loop of the main thread whenever this process is asked for
/// something. Where processes cannot be asked, it is never called.
std::unique_ptr<ActivationListener> listenForActivation(OnActivate onActivate);

/// Asks the copy of the application that runs as this process. Nothing is started. Whether it has
/// answered; waits at most a second. Needs no event loop.
[[nodiscard]] bool activateApplication(int processId, const ActivationRequest& request);

} // namespace tallywick
