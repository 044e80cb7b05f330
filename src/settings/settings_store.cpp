#include "settings/settings_store.h"
#include "threading/locks.h"

#include <QDir>
#include <QFileInfo>

#include "settings/data_paths.h"

namespace vireo2 {

SettingsStore::SettingsStore(const QString& fileName)
    : fileName_(fileName), settings_(fileName, QSettings::IniFormat)
{
}

SettingsStore::~SettingsStore()
{
    flush();
}

void SettingsStore::syncSoon()
{
    MutexLocker lock(&mutex_);
    if (sinceSync_.isValid() && sinceSync_.elapsed() < kWriteBehindMs) {
        pending_ = true;
        return;
    }
    settings_.sync();
    sinceSync_.start();
    pending_ = false;
}

void SettingsStore::flush()
{
    MutexLocker lock(&mutex_);
    if (!pending_)
        return;
    settings_.sync();
    sinceSync_.start();
    pending_ = false;
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
    const QVariant configured = global.value(QStringLiteral("Data/Path"));
    s.dataDirectory = paths::resolveDataPath(configured.toString(), fallback);
    if (configured.type() == QVariant::StringList) {
        // Qt reads a value with a comma as a list: the text is not a path.
        s.dataPathProblem = QStringLiteral("Data/Path \"%1\" in %2 is read as a list (it holds a comma); using %3")
                                .arg(configured.toStringList().join(QLatin1Char(',')), s.globalFile, fallback);
    } else if (!QDir().mkpath(s.dataDirectory) || !QFileInfo(s.dataDirectory).isWritable()) {
        s.dataPathProblem = QStringLiteral("Data/Path \"%1\" in %2 cannot be used as a directory (%3); using %4")
                                .arg(configured.toString(), s.globalFile, s.dataDirectory, fallback);
        s.dataDirectory = fallback;
    }
    // The wireless configurations always live in the default directory.
    QDir().mkpath(fallback);

    s.device = openStore(s.dataDirectory, modelName);
    s.wirelessConfigs = openStore(fallback, modelName + QStringLiteral("WifiConfigs"));
    s.compatibility = openStore(s.dataDirectory, modelName + QStringLiteral("Compatibility"));
    return s;
}

} // namespace vireo2
