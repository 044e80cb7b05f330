#include "settings/bounded_file.h"

#include <QFile>

namespace vireo2 {
namespace {

constexpr qint64 kPiece = 64 * 1024;

} // namespace

BoundedFile::Outcome BoundedFile::read(const QString& path, qint64 limit, QByteArray* bytes)
{
    bytes->clear();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return CannotOpen;
    // A regular file says its size: one allocation, and a large one is
    // refused before a byte is read.
    if (!file.isSequential()) {
        if (file.size() > limit)
            return TooLarge;
        bytes->reserve(int(file.size()));
    }
    for (;;) {
        const QByteArray piece = file.read(qMin(kPiece, limit + 1 - bytes->size()));
        if (piece.isEmpty())
            break;
        bytes->append(piece);
        if (bytes->size() > limit) {
            bytes->clear();
            bytes->squeeze();
            return TooLarge;
        }
    }
    if (file.error() != QFileDevice::NoError) {
        bytes->clear();
        return CannotOpen;
    }
    return Read;
}

} // namespace vireo2
