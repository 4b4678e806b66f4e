#pragma once

#include <QString>

namespace tallywick {

/// What the sheets tell of the running application itself.
struct ApplicationTexts {
    QString appVersion; ///< "0.6.0", or "Unknown"
    QString installationLabel;

    bool operator==(const ApplicationTexts&) const = default;
};

} // namespace tallywick
