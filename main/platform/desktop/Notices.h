#pragma once

#include <functional>
#include <memory>
#include <string>

namespace tallywick {

/// What the desktop shows for a while, over whatever the user does. Plain texts in UTF-8.
struct Notice {
    std::string summary;
    std::string body;

    bool operator==(const Notice&) const = default;
};

/// Shows notices of the application. Main thread only.
class Notices {
  public:
    virtual ~Notices() = default;

    /// Called from the event loop with the launch token (`WindowActivation.h`) of the user's
    /// choice, which may be empty.
    using OnChosen = std::function<void(const std::string& launchToken)>;

    /// Has the desktop show a notice, in the place of the one before if that is still there, and
    /// waits for nothing. `onChosen` is called when the user chooses it; not any more once another
    /// is shown or this object is gone. What cannot be shown is lost.
    virtual void show(const Notice& notice, OnChosen onChosen) = 0;
};

/// Those of the user's desktop. There is no connection to it before the first notice; where nothing
/// shows notices, nothing happens.
std::unique_ptr<Notices> desktopNotices();

} // namespace tallywick
