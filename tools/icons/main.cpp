// Draws the application's icon file, the maker's logo, and the icon of the window in each of its
// sizes. Needs no display.
#include "IconDrawing.h"
#include "IconFile.h"

#include <QFile>
#include <QString>

#include <iostream>

namespace {

bool drawWindowIcons(const QString& folder) {
    for (const int size : {16, 32, 64, 128})
        if (!tallywick::icons::applicationIcon(size).save(
                folder + QStringLiteral("/window-icon-%1.png").arg(size), "PNG"))
            return false;
    return true;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 4) {
        std::cerr << "usage: draw_icons ICNS-FILE LOGO-PNG FOLDER-OF-WINDOW-ICONS\n";
        return 2;
    }
    constexpr int logoSize = 256;
    const QByteArray icons = tallywick::icons::iconFile();
    QFile iconFile(QFile::decodeName(arguments[1]));
    const bool written =
        !icons.isEmpty() && iconFile.open(QIODevice::WriteOnly)
        && iconFile.write(icons) == icons.size() && iconFile.flush()
        && tallywick::icons::logo(logoSize).save(QFile::decodeName(arguments[2]), "PNG")
        && drawWindowIcons(QFile::decodeName(arguments[3]));
    if (!written)
        std::cerr << "draw_icons: the images cannot be written\n";
    return written ? 0 : 1;
}
