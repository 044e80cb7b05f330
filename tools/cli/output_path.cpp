#include "output_path.h"

#include <QFileInfo>

namespace vireo2::cli {

QString checkWritable(const QString& path)
{
    const QFileInfo target(path);
    if (target.isDir())
        return QStringLiteral("%1 is a folder, not a file").arg(path);
    const QFileInfo folder(target.absolutePath());
    if (!folder.isDir())
        return QStringLiteral("cannot write %1: the folder %2 does not exist").arg(path, folder.filePath());
    if (!folder.isWritable())
        return QStringLiteral("cannot write %1: the folder %2 is not writable").arg(path, folder.filePath());
    if (target.exists() && !target.isWritable())
        return QStringLiteral("cannot write %1: it is write-protected").arg(path);
    return QString();
}

} // namespace vireo2::cli
