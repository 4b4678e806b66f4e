#include "base/Sha256.h"

#include <QByteArrayView>

namespace tallywick {

void Sha256::add(std::string_view bytes) {
    hash.addData(QByteArrayView(bytes.data(), static_cast<qsizetype>(bytes.size())));
}

std::string Sha256::hexDigest() const { return hash.result().toHex().toStdString(); }

std::string sha256Hex(std::string_view bytes) {
    Sha256 hash;
    hash.add(bytes);
    return hash.hexDigest();
}

} // namespace tallywick
