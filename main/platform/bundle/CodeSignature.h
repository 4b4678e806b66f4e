#pragma once

#include "base/Product.h"

#include <filesystem>
#include <memory>
#include <span>
#include <string_view>

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
    /// half copy or a careless change. It shows who made the bundle only where the check has keys
    /// of its maker: otherwise, whoever may change the bundle may seal it anew.
    virtual bool isValid(const std::filesystem::path& bundle) const = 0;
};

/// The check of the system that the program runs on: of this copy, and of those that were
/// installed.
std::unique_ptr<CodeSignature> systemCodeSignature();

/// The check of what was downloaded. As the system's, and the bundle must have been signed with one
/// of the keys, if there are any: those with which this program was built, unless a test has
/// others.
std::unique_ptr<CodeSignature>
releaseCodeSignature(std::span<const std::string_view> makerKeys = Product::makerKeys);

} // namespace tallywick
