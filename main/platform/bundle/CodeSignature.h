#pragma once

#include <filesystem>
#include <memory>

namespace tallywick {

/// The system's word on whether an application bundle is what its maker signed.
class CodeSignature {
  public:
    virtual ~CodeSignature() = default;

    /// Whether the bundle is complete and unchanged: each of its files is the one that was signed,
    /// nothing is missing, nothing was added, and nothing is reached through a symbolic link. The
    /// whole bundle is read. May be called from any thread.
    ///
    /// On Linux the signature is a seal, a list of digests inside the bundle. It shows damage, a
    /// half copy or a careless change. It does not show who made the bundle: whoever may change the
    /// bundle may seal it anew.
    virtual bool isValid(const std::filesystem::path& bundle) const = 0;
};

/// The check of the system that the program runs on.
std::unique_ptr<CodeSignature> systemCodeSignature();

} // namespace tallywick
