#pragma once

#include <optional>
#include <string>

namespace tallywick {

/// A question that the user must answer before anything else is done in the program.
struct Alert {
    std::string message;
    std::string information;
    std::string confirm;                 ///< the first button; the second is always "Cancel"
    std::optional<std::string> checkBox; ///< its title; it is off at first
};

struct AlertAnswer {
    bool confirmed = false;
    bool checked = false; ///< the box; only of what was confirmed
};

/// Shows such questions. Main thread only.
class Alerts {
  public:
    virtual ~Alerts() = default;

    /// Blocks in an event loop: whatever the caller had checked may have changed on return. A
    /// dialog that is closed, or that the program's end takes away, was not confirmed.
    virtual AlertAnswer ask(const Alert& alert) = 0;
};

} // namespace tallywick
