#pragma once

#include <QString>

namespace vireo2::cli {

// The file the library writes its communication log to, found the way the
// library finds it: "Data/Path" in "spectro.ini" of the current directory
// names the directory (an absolute path as it stands, a relative one below
// the user's data folder, a leading "./" dropped); without it the log is
// "Hueron/spectro.log" in the user's data folder ($XDG_DATA_HOME, by default
// ~/.local/share).
QString communicationLogPath();

// Resolves a "Data/Path" value against `dataRoot` (ending in "/"); an empty
// or one-character value gives `fallback`.
QString resolveLogDirectory(const QString& value, const QString& dataRoot, const QString& fallback);

} // namespace vireo2::cli
