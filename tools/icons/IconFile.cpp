#include "IconFile.h"

#include "IconDrawing.h"

#include <QBuffer>
#include <QtEndian>

namespace tallywick::icons {

namespace {

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

} // namespace

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

} // namespace tallywick::icons
