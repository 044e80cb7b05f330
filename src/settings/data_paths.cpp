#include "settings/data_paths.h"

#include <QDir>
#include <QStandardPaths>

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace vireo2::paths {

QString programDataRoot()
{
#if defined(_WIN32)
    return QStringLiteral("C:/ProgramData/");
#else
    QString root = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    if (root.isEmpty())
        root = QDir::homePath() + QStringLiteral("/.local/share");
    if (!root.endsWith(QLatin1Char('/')))
        root += QLatin1Char('/');
    return root;
#endif
}

QString defaultDataDirectory()
{
    return programDataRoot() + QStringLiteral("Hueron/");
}

bool isAbsolute(const QString& path)
{
    if (path.size() >= 2 && path.at(1) == QLatin1Char(':'))
        return true;
#if !defined(_WIN32)
    if (path.startsWith(QLatin1Char('/')))
        return true;
#endif
    return false;
}

QString resolveDataPath(const QString& value, const QString& fallback)
{
    QString path = value;
    if (!path.isEmpty() && !path.endsWith(QLatin1Char('/')))
        path += QLatin1Char('/');
    if (path.size() < 2)
        return fallback;
    if (isAbsolute(path))
        return path;
    if (path.startsWith(QLatin1Char('.')))
        path = path.mid(2);
    return programDataRoot() + path;
}

namespace {
// Any address inside this module identifies the loaded library file.
void moduleAnchor() {}
} // namespace

QString libraryDirectory()
{
    QString file;
#if defined(_WIN32)
    HMODULE module = nullptr;
    if (GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                           reinterpret_cast<LPCWSTR>(&moduleAnchor), &module)) {
        wchar_t buffer[MAX_PATH] = {};
        const DWORD length = GetModuleFileNameW(module, buffer, MAX_PATH);
        file = QString::fromWCharArray(buffer, int(length));
    }
#else
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&moduleAnchor), &info) && info.dli_fname)
        file = QString::fromLocal8Bit(info.dli_fname);
#endif
    file.replace(QLatin1Char('\\'), QLatin1Char('/'));
    if (!QDir::isAbsolutePath(file))
        file = QDir::current().absoluteFilePath(file);
    return file.left(file.lastIndexOf(QLatin1Char('/')));
}

QStringList machineSettingsFiles()
{
    const QString name = QStringLiteral("/Hueron/spectro.ini");
    QStringList files{libraryDirectory() + QStringLiteral("/spectro.ini")};
    for (const QString& folder : QStandardPaths::standardLocations(QStandardPaths::GenericConfigLocation))
        files << folder + name;
#if !defined(_WIN32)
    files << QStringLiteral("/etc") + name;
#endif
    files.removeDuplicates();
    return files;
}

} // namespace vireo2::paths
