#pragma once

#include "platform/desktop/Workspace.h"
#include "state/AccountConnection.h"
#include "state/AccountRefresh.h"
#include "state/DueTime.h"
#include "state/StateContext.h"

#include <optional>
#include <string>

namespace tallywick {

/// The sign-in in the user's browser. It has ten minutes, during which the account is not read, and
/// signs nobody out when it fails.
///
/// Publishes `loginPending`, and tells in `status` and `settingsStatus` how it goes. Main thread
/// only.
class SignIn {
  public:
    /// All of them must outlive it.
    SignIn(StateContext& given, AccountConnection& way, AccountRefresh& reader, Workspace& desktop)
        : context(given), fields(given.fields()), connection(way), refresh(reader),
          workspace(desktop) {}

    /// Does nothing while another account action is under way.
    void start();
    /// Does nothing when there is none.
    void cancel();
    /// Part of each tick: cancels one whose time has passed.
    void endIfOverdue();
    /// Ends it without a word.
    void end();

  private:
    void startWith(const HelperDiscovery::Outcome& found);
    void didStart(const AccountService::LinkOutcome& result);
    void didFinish(bool success);

    StateContext& context;
    const UtilityFields& fields;
    AccountConnection& connection;
    AccountRefresh& refresh;
    Workspace& workspace;
    std::optional<DueTime> deadline;
};

} // namespace tallywick
