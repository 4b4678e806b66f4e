#pragma once

#include "state/StateContext.h"

#include <filesystem>
#include <optional>
#include <string>

namespace tallywick {

/// Whether the user's session starts this copy of the application: what the desktop's entry says,
/// and the user's choice of it.
///
/// Publishes `startsWithSession`, and tells in `settingsStatus` why a choice came to nothing. The
/// disk is waited for on threads that `waitForWorkThreads` knows; while nothing is asked for there
/// are none. Main thread only.
class SessionStart {
  public:
    /// Without a bundle nothing happens. The context must outlive it.
    SessionStart(StateContext& given, std::filesystem::path ofBundle);

    /// Reads what the entry says now: the desktop and its user change it too.
    void look();
    /// Shown at once; what the entry says in the end is shown after it.
    void choose(bool starts);

  private:
    struct Found {
        bool starts = false;
        std::string failure; ///< of the choice
    };
    static Found work(const std::filesystem::path& bundle, std::optional<bool> choice);
    void begin();
    void apply(const Found& found);

    StateContext& context;
    const std::filesystem::path bundle;
    bool working = false;
    bool outdated = false;        ///< something was asked for since that began
    std::optional<bool> awaiting; ///< the choice that is yet to be kept
};

} // namespace tallywick
