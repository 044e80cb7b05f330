#include "connection_choice.h"

#include <QStringList>

#include "vireo2.h"

namespace vireo2::cli {

namespace {
const char* const kMethodSetting = "connection_method";
const char* const kAddressSetting = "device_ip_address";
constexpr int kInstrumentPort = 60001;

QString option(const char* name) { return QString::fromUtf8(GetOption(name)); }
} // namespace

QString ConnectionChoice::validateTcpAddress(const QString& address)
{
    const QStringList fields = address.split(QLatin1Char(':'));
    if (fields.size() > 2)
        return QStringLiteral("'%1' is not HOST:PORT").arg(address);
    const QString host = fields.at(0);
    if (host.isEmpty() || host.contains(QLatin1Char(' ')))
        return QStringLiteral("'%1' names no host").arg(address);
    if (fields.size() == 2) {
        bool ok = false;
        const int port = fields.at(1).toInt(&ok);
        if (!ok || port < 1 || port > 65535)
            return QStringLiteral("'%1' is not a port number (1 to 65535)").arg(fields.at(1));
    }
    return QString();
}

bool applyConnectionChoice(const ConnectionChoice& choice)
{
    switch (choice.kind) {
    case ConnectionChoice::Kind::Stored:
        return true;
    case ConnectionChoice::Kind::Usb:
        return SetOption(kMethodSetting, "USB");
    case ConnectionChoice::Kind::Tcp:
        return SetOption(kMethodSetting, "TCP")
            && SetOption(kAddressSetting, choice.address.toUtf8().constData());
    }
    return false;
}

QString describeStoredConnection()
{
    const QString method = option(kMethodSetting);
    const QString upper = method.toUpper();
    if (upper == QLatin1String("USB"))
        return QStringLiteral("USB");
    if (upper == QLatin1String("USB_TCPIP"))
        return QStringLiteral("USB network link (192.168.7.2:%1)").arg(kInstrumentPort);
    const QStringList fields = (option(kAddressSetting) + QStringLiteral(":%1").arg(kInstrumentPort))
                                   .split(QLatin1Char(':'));
    return QStringLiteral("TCP %1:%2").arg(fields.value(0), fields.value(1));
}

} // namespace vireo2::cli
