#include "platform/CodeSignature.h"

#include "base/CanonicalPath.h"
#include "platform/linux/BundleSeal.h"

namespace tallywick {

namespace {

class SealCheck final : public CodeSignature {
  public:
    bool isValid(const std::filesystem::path& bundle) const override {
        if (!isCanonicalPath(bundle))
            return false;
        const auto sealed = readSeal(bundle);
        return sealed && sealedFiles(bundle) == sealed;
    }
};

} // namespace

std::unique_ptr<CodeSignature> systemCodeSignature() { return std::make_unique<SealCheck>(); }

} // namespace tallywick
