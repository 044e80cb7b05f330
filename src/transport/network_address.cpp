#include "transport/network_address.h"

namespace vireo2 {
namespace {

bool allDigits(const QString& text)
{
    if (text.isEmpty())
        return false;
    for (QChar c : text) {
        if (c < QLatin1Char('0') || c > QLatin1Char('9'))
            return false;
    }
    return true;
}

} // namespace

std::optional<NetworkAddress> NetworkAddress::parse(const QString& text, quint16 defaultPort)
{
    const QString trimmed = text.trimmed();
    const int colon = trimmed.indexOf(QLatin1Char(':'));
    NetworkAddress address;
    address.host = trimmed.left(colon);
    address.port = defaultPort;
    if (address.host.isEmpty())
        return std::nullopt;
    if (colon < 0)
        return address;
    const QString port = trimmed.mid(colon + 1);
    // An empty port keeps the default, as "host:" always did.
    if (port.isEmpty())
        return address;
    if (!allDigits(port) || port.size() > 5)
        return std::nullopt;
    const int number = port.toInt();
    if (number < 1 || number > 65535)
        return std::nullopt;
    address.port = quint16(number);
    return address;
}

bool NetworkAddress::namesPort(const QString& text)
{
    const QString trimmed = text.trimmed();
    const QString port = trimmed.mid(trimmed.indexOf(QLatin1Char(':')) + 1);
    return trimmed.count(QLatin1Char(':')) == 1 && (port.isEmpty() || allDigits(port));
}

} // namespace vireo2
