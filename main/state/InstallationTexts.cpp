#include "state/InstallationTexts.h"

namespace tallywick {

namespace {

/// To be followed by a full stop of ours.
std::string withoutFullStop(std::string sentence) {
    if (sentence.ends_with('.'))
        sentence.pop_back();
    return sentence;
}

} // namespace

std::string sentences(std::string one, const std::string& other) {
    if (!one.empty() && !other.empty())
        one += ' ';
    return one + other;
}

std::string installFailed(const std::string& failure) { return "Install failed: " + failure; }

std::string couldNotOpenInstalled(const std::string& failure) {
    return "Installed in Applications, but it could not open: " + failure;
}

std::string aliasText(const InstallationSteps::AliasResult& result) {
    using Finding = InstallationSteps::AliasResult::Finding;
    switch (result.finding) {
    case Finding::noDesktop:
        return std::string(InstallationText::noDesktop);
    case Finding::notInstalled:
        return std::string(InstallationText::installFirst);
    case Finding::inTheWay:
        return {};
    case Finding::failed:
        return "Could not create the Desktop alias: " + result.failure;
    case Finding::created:
        return std::string(InstallationText::aliasCreated);
    }
    return {};
}

std::string uninstallStopped(const std::string& failure) {
    return "Uninstall stopped: " + withoutFullStop(failure)
           + ". Any items already moved remain recoverable in Trash. Quit and reopen the remaining "
             "app before retrying.";
}

std::string dataNotRemoved(const std::string& failure) {
    return "The app moved to Trash, but some utility data could not be removed: "
           + withoutFullStop(failure)
           + ". Quit and restore the app from Trash if you need to retry.";
}

} // namespace tallywick
