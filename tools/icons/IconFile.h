#pragma once

#include <QByteArray>

namespace tallywick::icons {

/// An Apple icon file (.icns) with the application's icon at every size that a Mac asks for, from
/// 16 to 1024 pixels, each as a PNG. Empty when an image cannot be encoded.
QByteArray iconFile();

} // namespace tallywick::icons
