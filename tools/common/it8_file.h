#pragma once

// A CGATS file opened with Little CMS, shared by the command-line host's chart
// commands and the simulator's printed chart.

#include <QFile>
#include <QString>
#include <lcms2.h>
#include <memory>

namespace vireo2::tools {

struct It8Deleter {
    void operator()(void* handle) const { cmsIT8Free(handle); }
};
using It8Handle = std::unique_ptr<void, It8Deleter>;

// The file at `path`, or null with the reason in *error.
inline It8Handle loadIt8(const QString& path, QString* error)
{
    if (!QFile::exists(path)) {
        *error = QStringLiteral("%1 does not exist").arg(path);
        return nullptr;
    }
    cmsSetLogErrorHandler(nullptr);
    It8Handle it8(cmsIT8LoadFromFile(nullptr, QFile::encodeName(path).constData()));
    if (!it8)
        *error = QStringLiteral("%1 is not a CGATS file").arg(path);
    return it8;
}

} // namespace vireo2::tools
