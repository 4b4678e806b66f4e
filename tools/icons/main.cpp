// Draws the application's icon file, the maker's logo, and the application's icon in each of its
// sizes. Needs no display.
#include "IconDrawing.h"

#include <QBuffer>
#include <QFile>
#include <QString>
#include <QtEndian>

#include <iostream>

namespace {

using tallywick::icons::applicationIcon;

struct Entry {
    const char* type; ///< the format's name for the size
    int size;         ///< in pixels
};

/// The types that hold a PNG. The sizes that come twice serve screens of simple and double density.
constexpr Entry entries[] = {{"icp4", 16},  {"icp5", 32},  {"icp6", 64},   {"ic07", 128},
                             {"ic08", 256}, {"ic09", 512}, {"ic10", 1024}, {"ic11", 32},
                             {"ic12", 64},  {"ic13", 256}, {"ic14", 512}};

/// A type of four characters, the length of the whole block, the content.
QByteArray block(const char* type, const QByteArray& content) {
    constexpr qsizetype headerSize = 8;
    QByteArray length(4, '\0');
    qToBigEndian(static_cast<quint32>(headerSize + content.size()), length.data());
    return type + length + content;
}

/// An Apple icon file (.icns) with the application's icon at every size that a Mac asks for, from
/// 16 to 1024 pixels, each as a PNG. Empty when an image cannot be encoded.
QByteArray iconFile() {
    QByteArray blocks;
    for (const auto& [type, size] : entries) {
        QBuffer png;
        if (!png.open(QIODevice::WriteOnly) || !applicationIcon(size).save(&png, "PNG"))
            return {};
        blocks += block(type, png.data());
    }
    return block("icns", blocks);
}

bool write(const QString& path, const QByteArray& content) {
    QFile file(path);
    return !content.isEmpty() && file.open(QIODevice::WriteOnly)
           && file.write(content) == content.size() && file.flush();
}

/// What windows and launchers show: a PNG for each size that they ask for, and one for the others.
bool drawIcons(const QString& folder) {
    for (const int size : {16, 24, 32, 48, 64, 128, 256, 512})
        if (!applicationIcon(size).save(folder + QStringLiteral("/icon-%1.png").arg(size), "PNG"))
            return false;
    return write(folder + QStringLiteral("/icon.svg"), tallywick::icons::scalableIcon());
}

} // namespace

int main(int count, char** arguments) {
    if (count != 4) {
        std::cerr << "usage: draw_icons ICNS-FILE LOGO-PNG FOLDER-OF-ICONS\n";
        return 2;
    }
    constexpr int logoSize = 256;
    const bool written =
        write(QFile::decodeName(arguments[1]), iconFile())
        && tallywick::icons::logo(logoSize).save(QFile::decodeName(arguments[2]), "PNG")
        && drawIcons(QFile::decodeName(arguments[3]));
    if (!written)
        std::cerr << "draw_icons: the images cannot be written\n";
    return written ? 0 : 1;
}
