#pragma once

#include <QString>
#include <optional>

namespace vireo2 {

// A TCP address as the settings hold it: "host" or "host:port", the port a
// decimal number from 1 to 65535. Anything else after a ":" (a port of
// 65537, "abc", a second ":") makes the address invalid rather than letting
// the number wrap to another port.
struct NetworkAddress {
    QString host;
    quint16 port = 0;

    static std::optional<NetworkAddress> parse(const QString& text, quint16 defaultPort);
    // Whether the text has a port part at all (one ":" followed by digits
    // or by nothing), valid or not.
    static bool namesPort(const QString& text);
};

} // namespace vireo2
