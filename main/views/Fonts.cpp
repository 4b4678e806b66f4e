#include "views/Fonts.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QStringList>

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

namespace tallywick {

namespace {

struct Appearance {
    int size; ///< design units
    QFont::Weight weight;
};

Appearance appearanceOf(FontRole role) {
    switch (role) {
    case FontRole::title:
        return {15, QFont::Bold};
    case FontRole::caption:
        return {11, QFont::DemiBold};
    case FontRole::body:
        return {13, QFont::Normal};
    case FontRole::strong:
        return {13, QFont::DemiBold};
    case FontRole::small:
        return {11, QFont::Normal};
    case FontRole::figure:
        return {19, QFont::DemiBold};
    case FontRole::remaining:
        return {16, QFont::DemiBold};
    case FontRole::unit:
        return {16, QFont::Normal};
    case FontRole::miniUsage:
        return {27, QFont::Bold};
    case FontRole::bigNumber:
        return {68, QFont::Bold};
    }
    return {13, QFont::Normal};
}

QString chosenFamily() {
    const QString ours = QStringLiteral("Inter");
    // The list of all families is costly, and it is asked with every text that is drawn.
    static const bool isInstalled = QFontDatabase::families().contains(ours);
    return isInstalled ? ours : QFontDatabase::systemFont(QFontDatabase::GeneralFont).family();
}

/// How much smaller than "Inter" a family has to be for texts of the same width: 1 for one that is
/// as narrow, and never so little that it could not be read.
double measuredShare(const QString& family, QFont::Weight weight) {
    constexpr int measuredSize = 100;
    constexpr double leastShare = 0.75;
    const QString sample = QStringLiteral("Refresh Settings Share Always on top 0123456789");
    const double ours = weight == QFont::Normal ? 2404 : weight == QFont::DemiBold ? 2464 : 2494;
    QFont font(family);
    font.setPixelSize(measuredSize);
    font.setWeight(weight);
    font.setHintingPreference(QFont::PreferNoHinting);
    return std::clamp(ours / QFontMetricsF(font).horizontalAdvance(sample), leastShare, 1.0);
}

/// Measured once for each family and weight: a font is asked for with every text that is drawn.
double shareOf(const QString& family, QFont::Weight weight) {
    static std::map<std::pair<QString, QFont::Weight>, double> measured;
    const auto [place, isNew] = measured.try_emplace({family, weight}, 1.0);
    if (isNew)
        place->second = measuredShare(family, weight);
    return place->second;
}

} // namespace

QFont designFont(FontRole role) { return designFont(role, chosenFamily()); }

QFont designFont(FontRole role, const QString& family) {
    const Appearance appearance = appearanceOf(role);
    QFont font(family);
    font.setPixelSize(
        static_cast<int>(std::lround(appearance.size * shareOf(family, appearance.weight))));
    font.setWeight(appearance.weight);
    font.setHintingPreference(QFont::PreferNoHinting);
    if (role == FontRole::caption) {
        font.setCapitalization(QFont::AllUppercase);
        font.setLetterSpacing(QFont::AbsoluteSpacing, 1.1);
    }
    return font;
}

} // namespace tallywick
