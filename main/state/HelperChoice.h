#pragma once

#include "platform/desktop/Workspace.h"
#include "state/AccountConnection.h"
#include "state/AccountRefresh.h"
#include "state/DueTime.h"
#include "state/StateContext.h"

#include <filesystem>
#include <memory>

namespace tallywick {

/// The user's choice of the helper. A chosen one replaces the previous one, also for the next
/// start, once it has completed the handshake.
///
/// Publishes `validatingHelper`, and tells in `settingsStatus` what came of it. Main thread only.
class HelperChoice {
  public:
    /// Without `panel` nothing can be chosen. All of them must outlive it.
    HelperChoice(StateContext& given, AccountConnection& way, AccountRefresh& reader,
                 OpenPanel* panel);

    /// Lets the user choose a helper, and checks it. Does nothing while another account action is
    /// under way.
    void choose();
    /// Forgets the choice. Does nothing while another account action is under way.
    void useAutomaticDiscovery();
    /// Part of each tick: gives up a check that will not end any more.
    void endIfOverdue();

  private:
    void settle();
    void check(const std::filesystem::path& chosen);
    void validate(const HelperDiscovery::Outcome& found);
    void wasValidated(const std::filesystem::path& helper, bool valid);

    StateContext& context;
    const UtilityFields& fields;
    AccountConnection& connection;
    AccountRefresh& refresh;
    OpenPanel* const openPanel;
    DueTime deadline; ///< of the helper that is being checked
    /// Tells whether this is still there when the user has closed the panel.
    const std::shared_ptr<const bool> presence = std::make_shared<bool>(true);
};

} // namespace tallywick
