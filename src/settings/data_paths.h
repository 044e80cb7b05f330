#pragma once

#include <QString>
#include <QStringList>

namespace vireo2 {

// Where the library keeps its files.
namespace paths {

// "C:/ProgramData/" on Windows, the user's generic data folder
// (~/.local/share/) elsewhere; always ends in "/".
QString programDataRoot();

// programDataRoot() + "Hueron/".
QString defaultDataDirectory();

// True for a drive path ("D:/x") and, off Windows, for "/x".
bool isAbsolute(const QString& path);

// Turns a "Data/Path" value into a directory ending in "/": absolute values
// stand as they are; others go below programDataRoot(), a leading "." and the
// character after it dropped. An empty value gives `fallback`.
QString resolveDataPath(const QString& value, const QString& fallback);

// Directory of the loaded library module, ending without "/".
QString libraryDirectory();

// The "spectro.ini" files that may name machine-wide options such as the USB
// vendor identifier, most specific first: beside the library, then the
// user's configuration folder (~/.config/Hueron/), then the system's
// (/etc/xdg/Hueron/, /etc/Hueron/), so a package need not write beside the
// installed library.
QStringList machineSettingsFiles();

} // namespace paths
} // namespace vireo2
