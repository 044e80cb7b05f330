#pragma once

#include <QMap>
#include <QString>
#include <QTemporaryDir>

namespace vireo2::test {

// Gives the test process a private world before the library's first call:
// its own data folder (XDG_DATA_HOME, so the library's "Hueron/" data
// directory and INI files live in a temporary directory) and its own
// current directory (where the log options "spectro.ini" are looked up).
class TestEnvironment {
public:
    TestEnvironment();
    ~TestEnvironment();

    QString root() const { return dir_.path(); }
    QString dataHome() const { return root() + QStringLiteral("/data-home"); }
    QString workDirectory() const { return root() + QStringLiteral("/work"); }
    // The library's default data directory in this environment.
    QString dataDirectory() const { return dataHome() + QStringLiteral("/Hueron/"); }
    QString logFile() const { return dataDirectory() + QStringLiteral("spectro.log"); }

    // Writes "spectro.ini" into `directory` with the given "Group/Key" values.
    static void writeIni(const QString& directory, const QMap<QString, QString>& values);

    // Writes the log options file in the working directory.
    void writeLogOptions(const QMap<QString, QString>& values) const { writeIni(workDirectory(), values); }

    static QString readFile(const QString& path);

private:
    QTemporaryDir dir_;
    QString previousDirectory_;
};

} // namespace vireo2::test
