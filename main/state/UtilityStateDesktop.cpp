#include "base/Product.h"
#include "state/UtilityState.h"

#include <QUrl>

namespace tallywick {

namespace {

std::string percentEncoded(std::string_view text) {
    return QUrl::toPercentEncoding(
               QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())))
        .toStdString();
}

} // namespace

void UtilityState::openPage(std::string_view address) {
    if (!services.workspace.openAddress(std::string(address)))
        context.change().settingsStatus = SettingsText::pageFailed;
}

void UtilityState::openHomePage() { openPage(OfficialLinks::homePage); }

void UtilityState::openProductPage() { openPage(OfficialLinks::productPage); }

void UtilityState::shareByMail() {
    openPage("mailto:?subject=" + percentEncoded(OfficialLinks::mailSubject)
             + "&body=" + percentEncoded(OfficialLinks::productPage));
}

void UtilityState::copyProductAddress() {
    services.workspace.copyText(std::string(OfficialLinks::productPage));
}

} // namespace tallywick
