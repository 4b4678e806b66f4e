#include "state/UtilityState.h"

#include <QCoreApplication>

#include <chrono>
#include <utility>

namespace tallywick {

namespace {

constexpr std::string_view miniKey = "mini";
constexpr std::string_view lightKey = "light";
constexpr std::string_view pinnedKey = "pinned";

constexpr std::chrono::seconds tickInterval{5};

} // namespace

UtilityState::UtilityState(Services given)
    : services(std::move(given)),
      launcher(std::make_shared<HelperLauncher>(services.transportFactory)) {
    const auto isSet = [this](std::string_view key) {
        return services.preferences.boolValue(key).value_or(false);
    };
    published.mini = chosenMini = isSet(miniKey);
    published.light = isSet(lightKey);
    published.pinned = isSet(pinnedKey);
    published.showingInstaller = services.showsInstaller && !services.bundle.isInstalled;
    published.settingsStatus = services.storageNotice;
    published.now = services.clock();

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

UtilityFields& UtilityState::change() {
    if (!std::exchange(changeAnnounced, true)) {
        const auto announce = [this] {
            changeAnnounced = false;
            Q_EMIT changed();
        };
        QMetaObject::invokeMethod(this, announce, Qt::QueuedConnection);
    }
    return published;
}

void UtilityState::startInstallationCheck() {
    const auto answer = onMainThread([this](bool verified) {
        installationCheck.reset();
        if (!stopped)
            change().installationVerified = verified;
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
    change().settingsStatus = SettingsText::detailsCopied;
}

void UtilityState::savePreferences() {
    const Preferences::Group together(services.preferences);
    services.preferences.setBool(miniKey, chosenMini);
    services.preferences.setBool(lightKey, published.light);
    services.preferences.setBool(pinnedKey, published.pinned);
    applyWindowConfiguration();
}

void UtilityState::choosePinned(bool pinned) {
    change().pinned = pinned;
    savePreferences();
}

void UtilityState::toggleTheme() {
    change().light = !published.light;
    savePreferences();
}

void UtilityState::applicationDidUnhide() { makeMachineDue(); }

void UtilityState::screenParametersDidChange() { applyWindowConfiguration(); }

void UtilityState::enterMaintenance() {
    if (stopped || published.maintenance)
        return;
    cancelSignIn();
    abandonAccountWork();
    dropAccountService();
    change().maintenance = true;
}

void UtilityState::leaveMaintenance() {
    if (stopped || !published.maintenance)
        return;
    change().maintenance = false;
    refreshNow();
}

void UtilityState::stop() {
    if (std::exchange(stopped, true))
        return;
    ticker.stop();
    services.powerEvents.stop();
    endSignIn();
    abandonAccountWork();
    dropAccountService();
    services.networkPath.stop();
}

void UtilityState::quit() {
    windowDidSettle();
    stop();
    QCoreApplication::quit();
}

} // namespace tallywick
