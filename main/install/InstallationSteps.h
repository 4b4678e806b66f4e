#pragma once

#include "install/AppInstallation.h"
#include "install/Uninstallation.h"
#include "platform/bundle/ApplicationBundle.h"
#include "platform/desktop/LauncherEntry.h"
#include "platform/files/FileAccess.h"
#include "platform/files/FileManager.h"
#include "platform/files/StandardFolders.h"
#include "platform/files/Trash.h"

#include <tl/expected.hpp>

#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tallywick {

/// What installing and uninstalling the running copy consist of, each step by itself: all of them
/// wait for the disk or for other programs, and run on a thread of their own; several may run at
/// once.
class InstallationSteps {
  public:
    /// The running copies of the application. Any thread.
    struct Copies {
        std::function<std::vector<RunningApplication>()> list; ///< this one included
        std::function<bool(const RunningApplication&)> askToQuit = tallywick::askToQuit;
        std::function<bool(const RunningApplication&)> isRunning = tallywick::isRunning;
        std::function<void()> pause; ///< for a tenth of a second
    };
    static Copies systemCopies();

    /// What they work with. Everything is called on any thread.
    struct Tools {
        std::filesystem::path bundle; ///< of the running copy, without links
        bool isManaged = false;       ///< that is where a package manager has put it
        std::vector<std::filesystem::path> applicationsFolders; ///< everybody's, then the user's
        AppInstallation::Verify verify;
        std::shared_ptr<FileManager> files = systemFileManager();
        std::shared_ptr<Trash> trash = desktopTrash();
        Copies copies = systemCopies();
        std::function<std::optional<std::filesystem::path>()> desktop = desktopFolder;
        std::function<decltype(tallywick::registerApplication)> enterLauncher =
            tallywick::registerApplication;
        std::function<decltype(tallywick::unregisterApplication)> leaveLauncher =
            tallywick::unregisterApplication;
        std::vector<std::filesystem::path> dataFolders = Uninstallation::utilityDataFolders();
    };

    explicit InstallationSteps(Tools given) : tools(std::move(given)) {}

    const std::filesystem::path& bundle() const { return tools.bundle; }

    /// Nothing more is waited for, and nothing begun: the program ends.
    void end() { ended = true; }

    // Installing

    /// What an installation would find.
    struct Survey {
        enum class Finding {
            notPackaged,      ///< what runs is no packaged application
            alreadyInstalled, ///< what runs lies where an installed copy lies
            unrelated,        ///< something else has the application's name there
            replacesCopy,
            free
        };
        Finding finding = Finding::notPackaged;
        std::filesystem::path destination = {};
        bool hasAlias = false; ///< the alias opens this copy, or the one at the destination
    };
    Survey surveyInstallation() const;

    /// Asks the copies of this bundle that run beside this process to quit. They, whether or not
    /// they have; absent when one cannot be asked.
    using Asked = std::optional<std::vector<RunningApplication>>;
    Asked askCopiesToQuit(const std::filesystem::path& ofBundle) const;

    using Installed = AppInstallation::Installed;
    /// Waits, about five seconds, for those that were asked to quit, then installs.
    tl::expected<Installed, std::string>
    install(const std::filesystem::path& destination,
            const std::vector<RunningApplication>& asked) const;

    /// Enters a copy in the launcher. Absent, or a sentence that tells why not.
    std::optional<std::string> enterLauncher(const std::filesystem::path& copy) const;

    /// Moves what was set aside to the Trash, as far as that works.
    void discard(const std::vector<std::filesystem::path>& backups) const;

    /// Puts right what installations that were cut short have left, in each folder of applications
    /// that nobody installs into. What was done in each, in sentences for the user or none.
    std::vector<std::string> recover() const;

    // The alias

    struct AliasResult {
        enum class Finding {
            noDesktop,
            notInstalled, ///< or an incomplete copy
            inTheWay,     ///< something has the alias's name, and may be replaced with consent only
            failed,       ///< as `failure` tells
            created
        };
        Finding finding = Finding::noDesktop;
        std::filesystem::path alias = {};
        std::string failure = {};
    };
    /// Makes an alias of a copy. Without consent, only its own earlier alias is replaced.
    AliasResult makeAlias(const std::filesystem::path& copy, bool hasConsent) const;

    /// The alias that opens the running copy.
    std::optional<std::filesystem::path> aliasOfThisCopy() const;

    // Uninstalling

    /// Whether the running copy is installed, by its place and its identity.
    bool isInstalled() const;

    struct Uninstalled {
        enum class Outcome {
            notInstalled,    ///< after all; nothing was moved
            copiesStillRun,  ///< nothing was moved
            movesFailed,     ///< some of the items may have been moved
            dataMovesFailed, ///< the application is in the Trash, but not all of its data
            done
        };
        Outcome outcome = Outcome::done;
        std::string failure = {}; ///< of the moves
    };
    /// Waits for the other copies to quit, then moves the running one to the Trash with its alias,
    /// and its data when these are to go too.
    Uninstalled uninstall(bool withData) const;

  private:
    std::filesystem::path destination() const;
    bool isAliasOf(const std::filesystem::path& bundle) const;
    Asked askToQuit(const std::function<bool(const RunningApplication&)>& isMeant) const;
    bool haveQuit(const std::vector<RunningApplication>& asked) const;
    std::vector<std::filesystem::path> ownItems() const;

    const Tools tools;
    std::atomic<bool> ended = false;
};

} // namespace tallywick
