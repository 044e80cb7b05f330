// Feeds arbitrary bytes as the settings files a user edits: the device's
// store (connection settings), the compatibility switches and "spectro.ini"
// in the working directory (log options, data path). A fresh device reads
// them and answers every settings query.
#include <QFile>
#include <cstddef>
#include <cstdint>

#include "fuzz_support.h"
#include "settings/data_paths.h"
#include "settings/log_helper.h"

namespace {

void writeFile(const QString& path, const uint8_t* data, size_t size)
{
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(reinterpret_cast<const char*>(data), qint64(size));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString folder = vireo2::fuzz::privateFolder();
    const QString dataDirectory = folder + QStringLiteral("/Hueron/");
    QDir().mkpath(dataDirectory);
    for (const char* name : {"Vireo2.ini", "Vireo2Compatibility.ini", "Vireo2WifiConfigs.ini"})
        writeFile(dataDirectory + QLatin1String(name), data, size);
    writeFile(folder + QStringLiteral("/spectro.ini"), data, size);

    vireo2::fuzz::DeviceWithoutInstrument device;
    for (const QString& name : device.GetAvailableSettings().split(QLatin1Char(';'))) {
        device.GetOption(name);
        device.GetSettingOptions(name);
    }
    for (const char* name : {"connection_method", "device_ip_address", "tr3_address", "reading_mode",
                             "measurement_area", "connection_attempts"})
        device.GetOption(QLatin1String(name));
    device.GetConfiguration();
    device.serialNumber();
    device.Execute(QStringLiteral("getconfiglist"));
    vireo2::paths::resolveDataPath(vireo2::fuzz::text(data, size), dataDirectory);
    return 0;
}
