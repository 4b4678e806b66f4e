#pragma once

#include "codex/AccountService.h"
#include "codex/AccountTransport.h"
#include "codex/HelperDiscovery.h"
#include "codex/HelperLauncher.h"
#include "state/KeptChoices.h"
#include "state/StateContext.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace tallywick {

/// The way to the account, which its refresh, the sign-in and the choice of a helper share: the
/// helpers of this machine, the service that talks to one, and what of the work that was asked for
/// still counts.
///
/// Work belongs to the generation in which it was asked for, and an answer to an older one is
/// ignored: abandoning work means to begin a new generation. Publishes `connectionDetails`.
///
/// Main thread only; never waits for a helper or a disk.
class AccountConnection {
  public:
    struct Services {
        std::filesystem::path homeFolder;
        TransportFactory transportFactory; ///< starts helpers, each on a thread of its own
        std::unique_ptr<HelperDiscovery> helperDiscovery;
        /// The only one to be used, until the user chooses another or lets it be found.
        std::optional<std::filesystem::path> namedHelper;
    };
    using FoundHandler = std::function<void(const HelperDiscovery::Outcome&)>;

    /// `identityDidChange` is called when another account may be signed in. Context and choices
    /// must outlive the connection.
    AccountConnection(StateContext& given, KeptChoices& kept, Services tools,
                      std::function<void()> identityDidChange);

    /// Wraps the handler of an answer: it is called on the main thread, unless the work has been
    /// abandoned.
    template <typename Handler>
    auto forAnswer(Handler handler) {
        return context.onMainThread([this, asked = generation, handler](const auto&... results) {
            if (asked == generation)
                handler(results...);
        });
    }

    /// Searches for the helpers to use, best first; `then` is called as by `forAnswer`.
    void findHelpers(FoundHandler then);
    /// Searches in what the user has chosen alone.
    void findHelpersIn(const std::filesystem::path& chosen, FoundHandler then);

    /// From now on that helper is the first to be used, also after the next start.
    void prefer(const std::filesystem::path& helper);
    /// From now on helpers are used as they are found.
    void preferNone();

    /// Created on first use, also after `close`.
    AccountService& service();

    /// `settle` is called whenever work is abandoned: no answer is awaited any more.
    void whenAbandoned(std::function<void()> settle) { settlers.push_back(std::move(settle)); }
    void abandonWork();
    /// Closes the helper, so that what is asked for next begins with another.
    void closeHelper();
    /// Abandons the work, and closes the helper.
    void reset();
    /// Abandons the work, and ends the service.
    void close();

  private:
    void find(const HelperQuery& query, FoundHandler then);

    StateContext& context;
    KeptChoices& choices;
    Services services;
    const std::function<void()> identityChanged;
    const std::shared_ptr<HelperLauncher> launcher; ///< outlives every service
    const std::shared_ptr<RecoveryPolicy> recovery = std::make_shared<RecoveryPolicy>(); ///< of all
    std::shared_ptr<AccountService> account;
    std::int64_t generation = 0;
    std::vector<std::function<void()>> settlers;
};

} // namespace tallywick
