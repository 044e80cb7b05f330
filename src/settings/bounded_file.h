#pragma once

#include <QByteArray>
#include <QString>

namespace vireo2 {

// Reads a whole file that must not exceed `limit` bytes. Devices, pipes and
// files that grow while read are read in small pieces and given up as soon
// as they pass the limit, so "/dev/zero" costs `limit` bytes, never more.
struct BoundedFile {
    enum Outcome { Read, CannotOpen, TooLarge };

    static Outcome read(const QString& path, qint64 limit, QByteArray* bytes);
};

} // namespace vireo2
