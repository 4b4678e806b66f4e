#include "base/CanonicalPath.h"
#include "base/Product.h"
#include "state/UtilityState.h"

#include <QUrl>

#include <algorithm>

namespace tallywick {

namespace {

/// Whether a listed volume is this one, and no link has taken its place.
bool isStillMounted(const VolumeInfo& volume, const std::vector<VolumeInfo>& listed) {
    return std::ranges::any_of(listed,
                               [&](const VolumeInfo& other) {
                                   return other.url == volume.url && other.name == volume.name;
                               })
           && isCanonicalPath(volume.url);
}

std::string percentEncoded(std::string_view text) {
    return QUrl::toPercentEncoding(
               QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())))
        .toStdString();
}

} // namespace

void UtilityState::openVolume(const VolumeInfo& volume) {
    if (stopped || published.maintenance)
        return;
    const auto answer =
        onMainThread([this, volume](const std::vector<VolumeInfo>& listed, bool isMounted) {
            volumesWereListedToOpen(volume, listed, isMounted);
        });
    // The volume is looked at where its disk may take its time.
    services.hardwareService->volumes([answer, volume](const std::vector<VolumeInfo>& listed) {
        answer(listed, isStillMounted(volume, listed));
    });
}

void UtilityState::volumesWereListedToOpen(const VolumeInfo& volume,
                                           const std::vector<VolumeInfo>& listed, bool isMounted) {
    if (stopped || published.maintenance)
        return;
    if (!isMounted) {
        change().settingsStatus = SettingsText::volumeGone;
        applyVolumes(listed);
    } else if (!services.workspace.openFolder(volume.url)) {
        change().settingsStatus = SettingsText::folderFailed;
    }
}

void UtilityState::openPage(std::string_view address) {
    if (!services.workspace.openAddress(std::string(address)))
        change().settingsStatus = SettingsText::pageFailed;
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
