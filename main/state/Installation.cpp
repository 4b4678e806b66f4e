#include "state/Installation.h"

#include "base/Product.h"
#include "state/InstallationWork.h"

#include <QCoreApplication>

#include <numeric>
#include <utility>

namespace tallywick {

namespace fs = std::filesystem;

namespace {

/// Of an installation; empty when there is the alias, or when the user did not want it.
std::string aliasRemark(const InstallationSteps::AliasResult& made) {
    using Finding = InstallationSteps::AliasResult::Finding;
    const bool isFine = made.finding == Finding::created || made.finding == Finding::inTheWay;
    return isFine ? std::string() : aliasText(made);
}

} // namespace

Installation::Installation(StateContext& given, const RunningBundle& bundle, Workspace& desktop,
                           Services services, Owner whole)
    : context(given), fields(given.fields()), workspace(desktop),
      steps(std::make_shared<InstallationSteps>(std::move(services.tools))),
      alerts(services.alerts), owner(std::move(whole)) {
    context.change().isManaged = bundle.isManaged;
    context.change().offersInstallation = !bundle.isInstalled;
    longestDiscarding.setSingleShot(true);
    longestDiscarding.setInterval(services.trashLimit);
    QObject::connect(&longestDiscarding, &QTimer::timeout, &longestDiscarding, owner.quit);
}

void Installation::start() {
    if (!alerts || fields.isManaged)
        return;
    working = true;
    run([](const InstallationSteps& work) { return work.recover(); },
        [this](const std::vector<std::string>& done) {
            end(std::accumulate(done.begin(), done.end(), fields.settingsStatus, sentences));
        });
}

void Installation::stop() {
    steps->end();
    longestDiscarding.stop();
}

void Installation::revealThisCopy() {
    if (!context.isStopped() && !fields.installing)
        workspace.revealItem(steps->bundle());
}

bool Installation::mayBegin() const {
    return alerts && !working && !fields.installing && !context.isStopped();
}

/// Absent when everything has ended meanwhile.
std::optional<AlertAnswer> Installation::ask(const Alert& alert) {
    const std::weak_ptr<const bool> isThere = presence;
    const AlertAnswer answer = alerts->ask(alert);
    if (isThere.expired() || context.isStopped())
        return std::nullopt;
    return answer;
}

void Installation::end(std::string status) {
    working = false;
    context.change().installing = false;
    context.change().settingsStatus = std::move(status);
}

void Installation::endMaintenance(std::string status) {
    end(std::move(status));
    owner.resume();
}

// Installing

void Installation::install() {
    if (!mayBegin() || fields.updates.busy || fields.isManaged)
        return;
    working = true;
    survey(std::nullopt);
}

/// The user has agreed that a copy is replaced there, if anything is to be `replacing`.
void Installation::survey(std::optional<fs::path> replacing) {
    run([](const InstallationSteps& work) { return work.surveyInstallation(); },
        [this, replacing = std::move(replacing)](const InstallationSteps::Survey& found) {
            surveyed(found, replacing);
        });
}

void Installation::surveyed(const InstallationSteps::Survey& found,
                            const std::optional<fs::path>& replacing) {
    using Finding = InstallationSteps::Survey::Finding;
    switch (found.finding) {
    case Finding::notPackaged:
        return end(std::string(InstallationText::notPackaged));
    case Finding::alreadyInstalled:
        return end(std::string(InstallationText::alreadyInstalled));
    case Finding::unrelated:
        return end(std::string(message(InstallationFailure::unrelatedDestination)));
    case Finding::replacesCopy:
        if (replacing != found.destination)
            return confirmReplacing(found.destination);
        break;
    case Finding::free:
        break;
    }
    if (fields.updates.busy)
        working = false;
    else
        makeWay(found);
}

void Installation::confirmReplacing(const fs::path& destination) {
    const auto answer = ask({.message = "Replace the installed utility?",
                             .information = "Only the existing Corvane utility at "
                                            + destination.string() + " will be replaced.",
                             .confirm = "Replace",
                             .checkBox = {}});
    if (!answer)
        return;
    if (answer->confirmed)
        survey(destination);
    else
        working = false;
}

void Installation::makeWay(const InstallationSteps::Survey& found) {
    run([found](const InstallationSteps& work) { return work.askCopiesToQuit(found.destination); },
        [this, found](const InstallationSteps::Asked& asked) {
            if (asked)
                installWhenQuit(found, *asked);
            else
                end(std::string(InstallationText::cannotAskToQuit));
        });
}

void Installation::installWhenQuit(const InstallationSteps::Survey& found,
                                   const std::vector<RunningApplication>& asked) {
    ++attempts;
    claim.reset(); // of an attempt that could not be opened
    owner.pause();
    context.change().installing = true;
    context.change().settingsStatus = InstallationText::installing;
    run([=](const InstallationSteps& work) { return work.install(found.destination, asked); },
        [this, found](const tl::expected<InstallationSteps::Installed, std::string>& result) {
            if (result)
                installed(found, *result);
            else
                endMaintenance(installFailed(result.error()));
        });
}

void Installation::installed(const InstallationSteps::Survey& found,
                             InstallationSteps::Installed result) {
    claim = std::move(result.claim);
    if (result.backup)
        backups.push_back(*result.backup);
    if (!fields.createShortcutOnInstall && !found.hasAlias)
        return enterLauncher(found.destination, {});
    makeAlias({found.destination, found.hasAlias,
               [this, copy = found.destination](const InstallationSteps::AliasResult& made) {
                   enterLauncher(copy, aliasRemark(made));
               }});
}

void Installation::enterLauncher(const fs::path& copy, const std::string& aliasFailure) {
    run([copy](const InstallationSteps& work) { return work.enterLauncher(copy); },
        [=, this](const std::optional<std::string>& failure) {
            open(copy,
                 sentences(aliasFailure,
                           failure ? "It is missing in the launcher: " + *failure : std::string()));
        });
}

void Installation::open(const fs::path& copy, const std::string& remarks) {
    context.change().settingsStatus = sentences(std::string(InstallationText::opening), remarks);
    const auto process = std::to_string(QCoreApplication::applicationPid());
    workspace.openNewInstance(
        copy, {Product::finishInstallArgument, process},
        context.onMainThread([=, this, attempt = attempts](const Workspace::OpenOutcome& outcome) {
            opened(attempt, copy, remarks, outcome);
        }));
}

/// May come a second time, when a copy that was silent has shown its window after all.
void Installation::opened(std::int64_t attempt, const fs::path& copy, const std::string& remarks,
                          const Workspace::OpenOutcome& outcome) {
    if (context.isStopped() || attempt != attempts)
        return;
    context.change().installing = false;
    if (outcome)
        couldNotOpen(copy, sentences(*outcome, remarks));
    else
        handOver();
}

void Installation::couldNotOpen(const fs::path& copy, const std::string& why) {
    std::string status = couldNotOpenInstalled(why);
    if (!backups.empty())
        status = sentences(status, "The previous copy is kept at " + backups.back().string() + ".");
    endMaintenance(std::move(status));
    workspace.revealItem(copy);
}

/// Ends this copy, once nothing of it lies hidden any more or that takes too long.
void Installation::handOver() {
    working = true;
    longestDiscarding.start();
    run(
        [discarded = std::exchange(backups, {})](const InstallationSteps& work) {
            work.discard(discarded);
            return true;
        },
        [this](bool) {
            claim.reset();
            owner.quit();
        });
}

} // namespace tallywick
