// Named settings, the correction-profile switch and the configuration code.
#include "device/vireo2.h"

#include <QSettings>

#include "device/brief_lock.h"
#include "transport/network_address.h"
#include "settings/library_errors.h"

namespace vireo2 {
namespace {

// A settings file that could not be written (the data directory is read-only
// or gone): the next code after the library's own table.
constexpr int kProfileTimeoutMs = 3000;
// Addresses, method and configuration names and attempt counts are short;
// a longer value is no such thing and would only bloat the settings file.
constexpr int kLongestStoredValue = 255;

enum Setting {
    kUnknown = -1,
    kConnectionMethod = 0,
    kDeviceAddress = 1,
    kTrackAddress = 2,
    kReadingMode = 3,
    kNetAdjuster = 4,
    kMeasurementArea = 5,
    kConnectionAttempts = 6,
};

struct SettingEntry {
    const char* name;
    const char* key;           // in group "Options"; null when not stored
    const char* defaultValue;
};

const SettingEntry kSettings[] = {
    {"connection_method", "Connection_Method", "USB"},
    {"device_ip_address", "device_ip_address", "192.168.7.2"},
    {"tr3_address", "TR3Address", "172.16.1.100"},
    {"reading_mode", nullptr, "Pressure"},
    {"netadjuster", nullptr, ""},
    {"measurement_area", nullptr, ""},
    {"connection_attempts", "connection_attempts", "5"},
};

const QString kOptionsGroup = QStringLiteral("Options");
const QString kConfigurationsGroup = QStringLiteral("[Configurations]");
const QString kConnectionShortcut = QStringLiteral("Connection");

Setting settingIndex(const QString& name)
{
    const QString lower = name.toLower();
    for (int i = 0; i < int(sizeof(kSettings) / sizeof(kSettings[0])); ++i) {
        if (lower == QLatin1String(kSettings[i].name))
            return Setting(i);
    }
    return kUnknown;
}

bool isStored(Setting setting)
{
    return setting == kConnectionMethod || setting == kDeviceAddress || setting == kTrackAddress ||
           setting == kConnectionAttempts;
}

// Stored values are kept as given (they are interpreted when Connect reads
// them), except what no reading could use: text beyond kLongestStoredValue,
// control characters, and an address whose port is outside 1..65535.
bool storableValue(Setting setting, const QString& value)
{
    if (value.size() > kLongestStoredValue)
        return false;
    for (QChar c : value) {
        if (c.category() == QChar::Other_Control || c == QChar::ReplacementCharacter)
            return false;
    }
    if ((setting == kDeviceAddress || setting == kTrackAddress) && NetworkAddress::namesPort(value))
        return bool(NetworkAddress::parse(value, 1));
    return true;
}

QString storedOption(SettingsStore& store, Setting setting)
{
    const SettingEntry& entry = kSettings[setting];
    return store.with([&](QSettings& s) {
        return s.value(kOptionsGroup + QLatin1Char('/') + QLatin1String(entry.key), QLatin1String(entry.defaultValue))
            .toString();
    });
}

} // namespace

QString Vireo2::GetAvailableSettings()
{
    return trackInUse_ ? QStringLiteral("Connection_Method;device_ip_address;TR3_Address")
                       : QStringLiteral("Connection_Method;device_ip_address;netadjuster");
}

QString Vireo2::GetSettingOptions(const QString& name)
{
    if (name == kConnectionShortcut)
        return QStringLiteral("USB");
    switch (settingIndex(name)) {
    case kConnectionMethod: {
        const QStringList configurations = settings_.wirelessConfigs->with([](QSettings& s) {
            s.beginGroup(kConfigurationsGroup);
            const QStringList keys = s.childKeys();
            s.endGroup();
            return keys;
        });
        QStringList options{QStringLiteral("USB")};
        options += configurations;
        return options.join(QLatin1Char(';'));
    }
    case kDeviceAddress:
        return GetOption(QStringLiteral("device_ip_address"));
    case kTrackAddress:
        return GetOption(QStringLiteral("TR3_Address"));
    case kReadingMode:
        return QStringLiteral("Pressure");
    case kNetAdjuster:
        return QStringLiteral("OFF;ON");
    case kMeasurementArea:
        return aperture_.get();
    default:
        log_->LogErrorOnly(errors::kInvalidSetting, QStringLiteral("FAILED availableSettingOptions: Invalid Setting"));
        return QString();
    }
}

QString Vireo2::GetOption(const QString& name)
{
    if (name == kConnectionShortcut)
        return QStringLiteral("USB");
    const Setting setting = settingIndex(name);
    if (isStored(setting))
        return storedOption(*settings_.device, setting);
    switch (setting) {
    case kReadingMode:
        return QStringLiteral("Pressure");
    case kMeasurementArea:
        return aperture_.get();
    case kNetAdjuster: {
        if (!operationMutex_->tryLock(kOperationLockTimeoutMs)) {
            log_->LogErrorOnly(errors::kSettingLockFailed, errors::kSettingLockFailed.message());
            return QString();
        }
        QString state = QStringLiteral("UNKNOWN");
        QByteArray reply;
        if (IsConnected() && Transact(QStringLiteral("NetAdjuster Get State"), reply, kProfileTimeoutMs) == 0) {
            const bool on = !reply.contains("EMPTY") && !reply.contains("DISABLED");
            profileState_ = on ? 'N' : 'X';
            profileEnabled_ = on ? 1 : 0;
            state = on ? QStringLiteral("ON") : QStringLiteral("OFF");
        }
        operationMutex_->unlock();
        return state;
    }
    default:
        log_->LogErrorOnly(errors::kInvalidSetting, QStringLiteral("FAILED settingOption: Invalid Setting"));
        return QString();
    }
}

bool Vireo2::SetOption(const QString& name, const QString& value)
{
    SettingsStore& store = *settings_.device;
    const bool shortcut = name == kConnectionShortcut;
    const Setting setting = shortcut ? kConnectionMethod : settingIndex(name);
    if (isStored(setting) && !storableValue(setting, value)) {
        log_->LogErrorOnly(errors::kInvalidArgument, QStringLiteral("FAILED setSettingOption: Invalid Value"));
        return false;
    }
    if (shortcut) {
        store.with([&](QSettings& s) { s.setValue(QStringLiteral("Connection_Method"), value); });
        return settingsReachedDisk(store);
    }

    auto invalidOption = [this] {
        log_->LogErrorOnly(errors::kInvalidSetting, QStringLiteral("FAILED setSettingOption: Invalid Option"));
        return false;
    };
    auto write = [&store](const QString& key, const QString& text) {
        store.with([&](QSettings& s) { s.setValue(kOptionsGroup + QLatin1Char('/') + key, text); });
    };

    bool result = true;
    switch (setting) {
    case kConnectionMethod:
        write(QStringLiteral("Connection_Method"), value);
        if (value != QLatin1String("USB") && value != QLatin1String("TCP") && value != QLatin1String("USB_TCPIP")) {
            // The name of a stored wireless configuration: its address becomes
            // the instrument's address.
            const QString address = settings_.wirelessConfigs->with([&](QSettings& s) {
                return s.value(kConfigurationsGroup + QLatin1Char('/') + value).toString();
            });
            write(QStringLiteral("device_ip_address"), address.isEmpty() ? QStringLiteral("CONFIG 0x01") : address);
        }
        break;
    case kDeviceAddress:
    case kTrackAddress:
    case kConnectionAttempts:
        write(QLatin1String(kSettings[setting].key), value);
        break;
    case kNetAdjuster: {
        const QString upper = value.toUpper();
        QString command;
        if (value == QLatin1String("0") || upper == QLatin1String("OFF"))
            command = QStringLiteral("NetAdjuster Set Disabled");
        else if (value == QLatin1String("1") || upper == QLatin1String("ON"))
            command = QStringLiteral("NetAdjuster Set Enabled");
        if (command.isEmpty()) {
            result = invalidOption();
            break;
        }
        BriefLock pollWait(operationMutex_.get());
        QByteArray reply;
        result = Transact(command, reply, kProfileTimeoutMs) == 0;
        break;
    }
    default:
        result = invalidOption();
        break;
    }
    return settingsReachedDisk(store) && result;
}

// Writes the store out and tells whether that worked; a store that cannot be
// written (a read-only or vanished data directory) records kSettingsNotWritten.
bool Vireo2::settingsReachedDisk(SettingsStore& store)
{
    const bool written = store.with([](QSettings& s) {
        s.sync();
        return s.status() == QSettings::NoError;
    });
    if (!written)
        log_->LogErrorOnly(errors::kSettingsNotWritten, errors::kSettingsNotWritten.message() + store.fileName());
    return written;
}

QString Vireo2::GetConfiguration()
{
    return settings_.device->with([](QSettings& s) {
        return s.value(QStringLiteral("Options/Config"), QStringLiteral("C0.M0.T0.B2.N0")).toString();
    });
}

bool Vireo2::SetConfiguration(const QString& configuration)
{
    if (configuration == QLatin1String("STOP_POLL")) {
        setPollEnabled(false);
        return true;
    }
    if (configuration == QLatin1String("START_POLL")) {
        setPollEnabled(true);
        return true;
    }
    log_->LogErrorOnly(errors::kInvalidArgument, QStringLiteral("FAILED setConfiguration: Invalid Argument"));
    return false;
}

} // namespace vireo2
