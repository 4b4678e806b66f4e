#include "state/UtilityState.h"

#include <QCoreApplication>

#include <chrono>
#include <utility>

namespace tallywick {

namespace {

constexpr std::chrono::seconds tickInterval{5};

} // namespace

UtilityState::UtilityState(Services given)
    : services(std::move(given)), context(services.clock, {.changed = [this] { Q_EMIT changed(); },
                                                           .tick = [this] { tick(); },
                                                           .refreshNow = [this] { refreshNow(); }}),
      choices(services.preferences), window(context, choices, [this] { machine.makeDue(); }),
      machine(context, std::move(services.hardwareService), services.workspace,
              [this] { window.volumesDidChange(); }),
      launcher(std::make_shared<HelperLauncher>(services.transportFactory)) {
    UtilityFields& shown = context.change();
    shown.showingInstaller = services.showsInstaller && !services.bundle.isInstalled;
    shown.settingsStatus = services.storageNotice;
    context.advanceClock();

    startInstallationCheck();
    ticker.setInterval(tickInterval);
    ticker.setTimerType(Qt::VeryCoarseTimer); // whole seconds: the machine may wake less often
    connect(&ticker, &QTimer::timeout, this, &UtilityState::tick);
    ticker.start();
    observe();
    tick();
}

UtilityState::~UtilityState() { stop(); }

std::string UtilityState::appVersion() const { return services.bundle.version.value_or("Unknown"); }

std::string UtilityState::installationLabel() const {
    return tallywick::installationLabel(services.bundle.isPreview, services.bundle.isInstalled,
                                        published.installationVerified);
}

void UtilityState::startInstallationCheck() {
    const auto answer = context.onMainThread([this](bool verified) {
        installationCheck.reset();
        if (!context.isStopped())
            context.change().installationVerified = verified;
    });
    installationCheck = std::make_unique<SerialQueue>("com.corvane.utility.installation");
    installationCheck->async([answer, verify = services.bundle.isVerified] { answer(verify()); });
}

void UtilityState::observe() {
    services.powerEvents.start(
        {.willSleep = [this] { willSleep(); }, .didWake = [this] { didWake(); }});
    services.networkPath.start([this](NetworkPathStatus status) { networkDidChange(status); });
}

void UtilityState::willSleep() {
    sleeping = true;
    if (published.loginPending)
        return;
    abandonAccountWork();
    resetAccountService();
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

void UtilityState::copyConnectionDetails() {
    services.workspace.copyText(published.connectionDetails.copyText(services.bundle.version));
    context.change().settingsStatus = SettingsText::detailsCopied;
}

void UtilityState::choosePinned(bool pinned) {
    context.change().pinned = pinned;
    window.keepLook();
}

void UtilityState::toggleTheme() {
    context.change().light = !published.light;
    window.keepLook();
}

void UtilityState::enterMaintenance() {
    if (context.isPaused())
        return;
    cancelSignIn();
    abandonAccountWork();
    dropAccountService();
    context.change().maintenance = true;
}

void UtilityState::leaveMaintenance() {
    if (context.isStopped() || !published.maintenance)
        return;
    context.change().maintenance = false;
    refreshNow();
}

void UtilityState::stop() {
    if (context.isStopped())
        return;
    context.stop();
    ticker.stop();
    services.powerEvents.stop();
    endSignIn();
    abandonAccountWork();
    dropAccountService();
    services.networkPath.stop();
}

void UtilityState::quit() {
    window.didSettle();
    stop();
    QCoreApplication::quit();
}

} // namespace tallywick
