#include "connection_choice.h"

#include <QHostAddress>
#include <QStringList>
#include <netdb.h>
#include <optional>
#include <sys/socket.h>

#include "vireo2.h"

namespace vireo2::cli {

namespace {
const char* const kMethodSetting = "connection_method";
const char* const kAddressSetting = "device_ip_address";
constexpr int kInstrumentPort = 60001;

QString option(const char* name) { return QString::fromUtf8(GetOption(name)); }

bool store(const char* name, const QString& value) { return SetOption(name, value.toUtf8().constData()); }

// What was stored when this program first changed the connection.
struct StoredConnection {
    QString method;
    QString address;
};
std::optional<StoredConnection> gBefore;

// The wireless configurations the library stores: the options of
// "connection_method" after its first, "USB".
QStringList wirelessConfigurations()
{
    QStringList options = QString::fromUtf8(GetSettingOptions(kMethodSetting)).split(QLatin1Char(';'));
    options.removeFirst();
    options.removeAll(QString());
    return options;
}

QString checkMethod(QString* value)
{
    const QString upper = value->toUpper();
    if (upper == QLatin1String("USB") || upper == QLatin1String("TCP") || upper == QLatin1String("USB_TCPIP")) {
        *value = upper;
        return QString();
    }
    const QStringList configurations = wirelessConfigurations();
    if (configurations.contains(*value))
        return QString();
    return QStringLiteral("connection_method is USB, TCP, USB_TCPIP%1, not '%2'")
        .arg(configurations.isEmpty() ? QString()
                                      : QStringLiteral(" or a stored wireless configuration (%1)")
                                            .arg(configurations.join(QStringLiteral(", "))),
             *value);
}
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

QString ConnectionChoice::resolveTcpAddress(const QString& address, QString* problem)
{
    *problem = validateTcpAddress(address);
    if (!problem->isEmpty())
        return QString();
    const QString host = address.section(QLatin1Char(':'), 0, 0);
    const QString port = address.section(QLatin1Char(':'), 1);
    if (!QHostAddress(host).isNull())
        return address;
    // The system's resolver, IPv4 only: the library connects to IPv4 addresses.
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int status = ::getaddrinfo(host.toUtf8().constData(), nullptr, &hints, &found);
    if (status != 0 || !found) {
        *problem = QStringLiteral("the host name '%1' does not resolve to an IPv4 address (%2)")
                       .arg(host, QString::fromLocal8Bit(::gai_strerror(status)));
        return QString();
    }
    const QString numeric = QHostAddress(found->ai_addr).toString();
    ::freeaddrinfo(found);
    return port.isEmpty() ? numeric : numeric + QLatin1Char(':') + port;
}

QString checkSettingValue(const QString& name, QString* value)
{
    const QString key = name.toLower();
    if (key == QLatin1String("connection_method"))
        return checkMethod(value);
    if (key == QLatin1String("connection_attempts")) {
        bool ok = false;
        const int attempts = value->toInt(&ok);
        if (!ok || attempts < 1 || attempts > 5)
            return QStringLiteral("connection_attempts is a number from 1 to 5, not '%1'").arg(*value);
        *value = QString::number(attempts);
        return QString();
    }
    if (key == QLatin1String("device_ip_address")) {
        QString problem;
        const QString resolved = ConnectionChoice::resolveTcpAddress(*value, &problem);
        if (!problem.isEmpty())
            return QStringLiteral("device_ip_address is HOST or HOST:PORT: %1").arg(problem);
        *value = resolved;
        return QString();
    }
    if (key == QLatin1String("tr3_address")) {
        const QString problem = ConnectionChoice::validateTcpAddress(*value);
        return problem.isEmpty() ? QString() : QStringLiteral("tr3_address is HOST or HOST:PORT: %1").arg(problem);
    }
    return QString();
}

void rememberStoredConnection()
{
    if (!gBefore)
        gBefore = StoredConnection{option(kMethodSetting), option(kAddressSetting)};
}

bool applyConnectionChoice(const ConnectionChoice& choice)
{
    if (choice.kind == ConnectionChoice::Kind::Stored)
        return true;
    rememberStoredConnection();
    if (choice.kind == ConnectionChoice::Kind::Usb)
        return store(kMethodSetting, QStringLiteral("USB"));
    return store(kMethodSetting, QStringLiteral("TCP")) && store(kAddressSetting, choice.address);
}

void restoreStoredConnection()
{
    if (!gBefore)
        return;
    // The method first: a wireless configuration's name also sets the address.
    store(kMethodSetting, gBefore->method);
    store(kAddressSetting, gBefore->address);
}

QString storedMethod() { return option(kMethodSetting).toUpper(); }

QString describeStoredConnection()
{
    const QString upper = storedMethod();
    if (upper == QLatin1String("USB"))
        return QStringLiteral("USB");
    if (upper == QLatin1String("USB_TCPIP"))
        return QStringLiteral("USB network link (192.168.7.2:%1)").arg(kInstrumentPort);
    const QStringList fields = (option(kAddressSetting) + QStringLiteral(":%1").arg(kInstrumentPort))
                                   .split(QLatin1Char(':'));
    return QStringLiteral("TCP %1:%2").arg(fields.value(0), fields.value(1));
}

} // namespace vireo2::cli
