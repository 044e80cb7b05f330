#include "settings/settings_store.h"

#include <QDir>

#include "settings/data_paths.h"

namespace vireo2 {

SettingsStore::SettingsStore(const QString& fileName)
    : fileName_(fileName), settings_(fileName, QSettings::IniFormat)
{
}

bool isFlagOn(const QString& value)
{
    return value == QLatin1String("1");
}

namespace {

std::shared_ptr<SettingsStore> openStore(const QString& directory, const QString& name)
{
    return std::make_shared<SettingsStore>(QStringLiteral("%1%2.ini").arg(directory, name));
}

} // namespace

DeviceSettings DeviceSettings::load(const QString& modelName)
{
    DeviceSettings s;
    s.libraryDirectory = paths::libraryDirectory();
    s.globalFile = s.libraryDirectory + QStringLiteral("/spectro.ini");

    const QString fallback = paths::defaultDataDirectory();
    QSettings global(s.globalFile, QSettings::IniFormat);
    s.dataDirectory = paths::resolveDataPath(global.value(QStringLiteral("Data/Path"), fallback).toString(), fallback);
    QDir().mkpath(s.dataDirectory);
    // The wireless configurations always live in the default directory.
    QDir().mkpath(fallback);

    s.device = openStore(s.dataDirectory, modelName);
    s.wirelessConfigs = openStore(fallback, modelName + QStringLiteral("WifiConfigs"));
    s.compatibility = openStore(s.dataDirectory, modelName + QStringLiteral("Compatibility"));
    return s;
}

} // namespace vireo2
