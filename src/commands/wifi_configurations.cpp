// Named network configurations: the instrument's address on each network
// the host knows, kept in the driver's wireless-configuration store under
// the group "[Configurations]" (the connection-method setting looks names
// up there). No instrument is involved.
#include <QSettings>

#include "commands/command_context.h"
#include "commands/command_handlers.h"
#include "settings/settings_store.h"

namespace vireo2 {
namespace {

const QString kGroup = QStringLiteral("[Configurations]");
const QString kDone = QStringLiteral("CONFIG 0x00");
const QString kRefused = QStringLiteral("CONFIG 0x01");

SettingsStore& store(CommandContext& context)
{
    return *context.host.settings().wirelessConfigs;
}

// The settings file would read "/" and "\" as group separators: such a name
// could be stored but never listed, so it is refused.
bool usableName(const QString& name)
{
    return !name.isEmpty() && !name.contains(QLatin1Char('/')) && !name.contains(QLatin1Char('\\'));
}

QString keyOf(const QString& name)
{
    return kGroup + QLatin1Char('/') + name;
}

} // namespace

// addwificonfiguration NAME... ADDRESS: an existing name keeps its address.
QString addWifiConfiguration(CommandContext& context)
{
    const QString name = context.line.joined(1, context.line.size() - 2);
    const QString address = context.line.word(context.line.size() - 1);
    if (!usableName(name))
        return kRefused;
    const QString answer = store(context).with([&](QSettings& s) {
        if (s.contains(keyOf(name)))
            return kRefused;
        s.setValue(keyOf(name), address);
        return kDone;
    });
    if (answer == kDone)
        store(context).syncSoon();
    return answer;
}

QString removeWifiConfiguration(CommandContext& context)
{
    const QString name = context.line.joined(1);
    if (!usableName(name))
        return kRefused;
    const QString answer = store(context).with([&](QSettings& s) {
        s.remove(keyOf(name));
        return s.contains(keyOf(name)) ? kRefused : kDone;
    });
    store(context).syncSoon();
    return answer;
}

QString getWifiAddress(CommandContext& context)
{
    const QString name = context.line.joined(1);
    if (!usableName(name))
        return kRefused;
    const QString address = store(context).with([&](QSettings& s) { return s.value(keyOf(name)).toString(); });
    return address.isEmpty() ? kRefused : address;
}

QString getConfigList(CommandContext& context)
{
    return store(context).with([](QSettings& s) {
        s.beginGroup(kGroup);
        const QStringList names = s.childKeys();
        s.endGroup();
        return names.join(QLatin1Char(';'));
    });
}

} // namespace vireo2
