#pragma once

#include <QImage>
#include <QString>

namespace tallywick {

/// One of the PNG pictures inside the program, by its file's name.
QImage builtInPicture(const QString& name);

} // namespace tallywick
