#include "log_location.h"

#include <QDir>
#include <QSettings>
#include <QStandardPaths>

namespace vireo2::cli {

namespace {
QString userDataRoot()
{
    QString root = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    if (root.isEmpty())
        root = QDir::homePath() + QStringLiteral("/.local/share");
    if (!root.endsWith(QLatin1Char('/')))
        root += QLatin1Char('/');
    return root;
}
} // namespace

QString resolveLogDirectory(const QString& value, const QString& dataRoot, const QString& fallback)
{
    QString path = value;
    if (!path.isEmpty() && !path.endsWith(QLatin1Char('/')))
        path += QLatin1Char('/');
    if (path.size() < 2)
        return fallback;
    if (path.startsWith(QLatin1Char('/')) || path.at(1) == QLatin1Char(':'))
        return path;
    if (path.startsWith(QLatin1Char('.')))
        path = path.mid(2);
    return dataRoot + path;
}

QString communicationLogPath()
{
    const QString root = userDataRoot();
    const QString fallback = root + QStringLiteral("Hueron/");
    const QSettings ini(QDir::current().filePath(QStringLiteral("spectro.ini")), QSettings::IniFormat);
    const QString value = ini.value(QStringLiteral("Data/Path"), fallback).toString();
    return resolveLogDirectory(value, root, fallback) + QStringLiteral("spectro.log");
}

} // namespace vireo2::cli
