#include "install/RunningBundle.h"

#include "base/Json.h"
#include "install/AppInstallation.h"
#include "platform/ApplicationBundle.h"

#include <utility>

namespace tallywick {

RunningBundle inspectBundle(const std::filesystem::path& bundle,
                            const std::vector<std::filesystem::path>& applicationsFolders,
                            std::shared_ptr<const CodeSignature> signature) {
    RunningBundle found;
    if (const auto information = informationDictionary(bundle)) {
        if (const auto* version = stringMember(*information, "CFBundleShortVersionString"))
            found.version = *version;
        found.isPreview = boolMember(*information, "CorvanePreview").value_or(false);
    }
    found.isInstalled = AppInstallation::isInstalledLocation(bundle, applicationsFolders);
    found.isVerified = [bundle, signature = std::move(signature)] {
        return AppInstallation::isVerifiedBundle(bundle, *signature);
    };
    return found;
}

} // namespace tallywick
