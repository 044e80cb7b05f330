#include "test_environment.h"

#include <QDir>
#include <QFile>
#include <QSettings>
#include <cstdlib>

namespace vireo2::test {

TestEnvironment::TestEnvironment()
{
    QDir().mkpath(dataHome());
    QDir().mkpath(workDirectory());
    ::setenv("XDG_DATA_HOME", dataHome().toLocal8Bit().constData(), 1);
    previousDirectory_ = QDir::currentPath();
    QDir::setCurrent(workDirectory());
}

TestEnvironment::~TestEnvironment()
{
    QDir::setCurrent(previousDirectory_);
}

void TestEnvironment::writeIni(const QString& directory, const QMap<QString, QString>& values)
{
    QSettings ini(directory + QStringLiteral("/spectro.ini"), QSettings::IniFormat);
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        ini.setValue(it.key(), it.value());
    ini.sync();
}

QString TestEnvironment::readFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromUtf8(file.readAll());
}

} // namespace vireo2::test
