#pragma once

#include <QString>

namespace vireo2::cli {

// Checks, before the instrument does any work, that `path` can be written:
// its folder exists and is writable, and it is not a folder nor a
// write-protected file. An empty text when it can, else why not.
QString checkWritable(const QString& path);

} // namespace vireo2::cli
