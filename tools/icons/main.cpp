// Draws the application's icon file and the maker's logo. Needs no display.
#include "IconDrawing.h"
#include "IconFile.h"

#include <QFile>
#include <QString>

#include <iostream>

int main(int count, char** arguments) {
    if (count != 3) {
        std::cerr << "usage: draw_icons ICNS-FILE LOGO-PNG\n";
        return 2;
    }
    constexpr int logoSize = 256;
    const QByteArray icons = tallywick::icons::iconFile();
    QFile iconFile(QFile::decodeName(arguments[1]));
    const bool written =
        !icons.isEmpty() && iconFile.open(QIODevice::WriteOnly)
        && iconFile.write(icons) == icons.size() && iconFile.flush()
        && tallywick::icons::logo(logoSize).save(QFile::decodeName(arguments[2]), "PNG");
    if (!written)
        std::cerr << "draw_icons: the images cannot be written\n";
    return written ? 0 : 1;
}
