#include "views/Fonts.h"

#include <QFontDatabase>
#include <QStringList>

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

} // namespace

QFont designFont(FontRole role) {
    const Appearance appearance = appearanceOf(role);
    QFont font(chosenFamily());
    font.setPixelSize(appearance.size);
    font.setWeight(appearance.weight);
    font.setHintingPreference(QFont::PreferNoHinting);
    if (role == FontRole::caption) {
        font.setCapitalization(QFont::AllUppercase);
        font.setLetterSpacing(QFont::AbsoluteSpacing, 1.1);
    }
    return font;
}

} // namespace tallywick
