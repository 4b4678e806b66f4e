#include "state/UtilityState.h"

#include "base/Product.h"

#include <QCoreApplication>
#include <QUrl>

#include <chrono>
#include <utility>

namespace tallywick {

namespace {

constexpr std::chrono::seconds tickInterval{5};

std::string percentEncoded(std::string_view text) {
    return QUrl::toPercentEncoding(
               QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())))
        .toStdString();
}

} // namespace

UtilityState::UtilityState(Services given)
    : bundle(std::move(given.bundle)), workspace(given.workspace), powerEvents(given.powerEvents),
      networkPath(given.networkPath),
      context(std::move(given.clock), {.changed = [this] { Q_EMIT changed(); },
                                       .tick = [this] { tick(); },
                                       .refreshNow = [this] { refreshNow(); }}),
      choices(given.preferences), window(context, choices, [this] { machine.makeDue(); }),
      machine(context, std::move(given.hardwareService), workspace,
              [this] { window.volumesDidChange(); }),
      usageNotices(context, choices, given.notices,
                   [this](const std::string& launchToken) { showUtility(launchToken); }),
      connection(context, choices,
                 {.homeFolder = std::move(given.homeFolder),
                  .transportFactory = std::move(given.transportFactory),
                  .helperDiscovery = std::move(given.helperDiscovery),
                  .namedHelper = std::move(given.namedHelper)},
                 [this] { refresh.identityDidChange(); }),
      refresh(context, connection, std::move(given.historyStore),
              [this](const auto&... reading) { usageNotices.take(reading...); }),
      signIn(context, connection, refresh, workspace),
      helperChoice(context, connection, refresh, given.openPanel),
      updates(std::move(given.updates), [this] { context.change().updates = updates.fields(); }),
      installation(context, bundle, workspace, std::move(given.installation),
                   {.pause = [this] { enterMaintenance(); },
                    .resume = [this] { leaveMaintenance(); },
                    .forget = [this] { return forgetAll(); },
                    .quit = [this] { quit(); }}),
      sessionStart(context, std::move(given.sessionBundle)) {
    context.change().showingInstaller = given.showsInstaller && fields().offersInstallation;
    context.change().settingsStatus = given.storageNotice;

    startInstallationCheck();
    installation.start();
    ticker.setInterval(tickInterval);
    ticker.setTimerType(Qt::VeryCoarseTimer); // whole seconds: the machine may wake less often
    connect(&ticker, &QTimer::timeout, this, &UtilityState::tick);
    ticker.start();
    powerEvents.start({.willSleep = [this] { willSleep(); }, .didWake = [this] { didWake(); }});
    networkPath.start([this](NetworkPathStatus status) { networkDidChange(status); });
    tick();
}

UtilityState::~UtilityState() { stop(); }

std::string UtilityState::installationLabel() const {
    return tallywick::installationLabel(bundle.isPreview, bundle.isInstalled,
                                        fields().installationVerified);
}

void UtilityState::startInstallationCheck() {
    const auto answer = context.onMainThread([this](bool verified) {
        installationCheck.reset();
        if (!context.isStopped())
            context.change().installationVerified = verified;
    });
    installationCheck = std::make_unique<SerialQueue>("com.corvane.utility.installation");
    installationCheck->async([answer, purge = updates.purge(), verify = bundle.isVerified] {
        purge();
        answer(verify());
    });
}

// The scheduler

void UtilityState::tick() {
    if (context.isPaused())
        return;
    context.advanceClock();
    signIn.endIfOverdue();
    refresh.keepUp();
    usageNotices.keepUp();
    helperChoice.endIfOverdue();
    if (sleeping)
        return;
    refresh.refreshIfDue();
    if (window.isFullViewVisible())
        machine.refreshIfDue();
}

void UtilityState::refreshNow() {
    if (context.isPaused())
        return;
    refresh.makeDue();
    machine.makeDue();
    tick();
}

void UtilityState::willSleep() {
    sleeping = true;
    if (!fields().loginPending)
        connection.reset();
}

void UtilityState::didWake() {
    sleeping = false;
    refreshNow();
}

void UtilityState::networkDidChange(NetworkPathStatus status) {
    const auto previous = std::exchange(previousNetworkState, status);
    if (previous == NetworkPathStatus::unsatisfied && status == NetworkPathStatus::satisfied)
        refreshNow();
}

// What the user asks for

void UtilityState::copyConnectionDetails() {
    workspace.copyText(fields().connectionDetails.copyText(bundle.version));
    context.change().settingsStatus = SettingsText::detailsCopied;
}

/// An installation and an update keep out of each other's way.
void UtilityState::update(void (UpdateController::*operation)()) {
    if (!context.isPaused() && !fields().installing && !bundle.isManaged)
        (updates.*operation)();
}

void UtilityState::choosePinned(bool pinned) {
    context.change().pinned = pinned;
    window.keepLook();
}

void UtilityState::toggleTheme() {
    context.change().light = !fields().light;
    window.keepLook();
}

void UtilityState::setShowingSettings(bool showing) {
    context.change().showingSettings = showing;
    if (showing)
        sessionStart.look();
}

void UtilityState::openPage(std::string_view address) {
    if (!workspace.openAddress(std::string(address)))
        context.change().settingsStatus = SettingsText::pageFailed;
}

void UtilityState::openHomePage() { openPage(OfficialLinks::homePage); }

void UtilityState::openProductPage() { openPage(OfficialLinks::productPage); }

void UtilityState::shareByMail() {
    openPage("mailto:?subject=" + percentEncoded(OfficialLinks::mailSubject)
             + "&body=" + percentEncoded(OfficialLinks::productPage));
}

void UtilityState::copyProductAddress() {
    workspace.copyText(std::string(OfficialLinks::productPage));
}

// Life cycle

void UtilityState::enterMaintenance() {
    if (context.isPaused())
        return;
    signIn.cancel();
    usageNotices.drop();
    connection.close();
    context.change().maintenance = true;
}

void UtilityState::leaveMaintenance() {
    if (context.isStopped() || !fields().maintenance)
        return;
    context.change().maintenance = false;
    refreshNow();
}

bool UtilityState::forgetAll() {
    refresh.leaveHistory();
    return choices.forgetAll();
}

void UtilityState::stop() {
    if (context.isStopped())
        return;
    context.stop();
    installation.stop();
    ticker.stop();
    powerEvents.stop();
    signIn.end();
    connection.close();
    updates.stop();
    networkPath.stop();
}

void UtilityState::quit() {
    window.didSettle();
    stop();
    QCoreApplication::quit();
}

} // namespace tallywick
