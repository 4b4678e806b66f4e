#include "install/DesktopAlias.h"

#include "base/CanonicalPath.h"
#include "base/Product.h"
#include "platform/desktop/AliasFile.h"

#include <system_error>

namespace tallywick::DesktopAlias {

namespace fs = std::filesystem;

namespace {

const std::string aliasName = std::string(Product::name) + " alias";

} // namespace

fs::path location(const fs::path& desktop) { return desktop / aliasFileName(aliasName); }

bool resolves(const fs::path& alias, const fs::path& bundle) {
    return resolveAlias(alias) == standardisedPath(bundle);
}

tl::expected<void, std::string> create(const fs::path& alias, const fs::path& bundle,
                                       Trash& trash) {
    const auto content = aliasContent(aliasName, bundle);
    if (!content)
        return tl::unexpected(content.error());
    std::error_code error;
    if (fs::exists(fs::symlink_status(alias, error)))
        if (auto moved = trash.move(alias); !moved)
            return tl::unexpected(std::move(moved.error()));
    if (auto written = writeAlias(alias, *content); !written)
        return written;
    if (!resolves(alias, bundle))
        return tl::unexpected(std::string("The alias target could not be verified."));
    return {};
}

} // namespace tallywick::DesktopAlias
