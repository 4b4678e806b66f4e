#include "views/BuiltInPicture.h"

#include <QImageReader>

namespace tallywick {

QImage builtInPicture(const QString& name) {
    QImageReader reader(QStringLiteral(":/") + name, "png");
    reader.setAutoDetectImageFormat(false); // a search would load every plug-in
    return reader.read();
}

} // namespace tallywick
