#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace vireo2::test {

// A loopback TCP port on which nothing listens, for the life of the process.
// The port stays bound (without listening), so the simulator of another test
// running at the same time can never be given it: a connection to it is
// always refused rather than reaching somebody else's instrument.
inline quint16 closedPort()
{
    static const quint16 port = [] {
        const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
            ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0)
            return quint16(0);
        return quint16(ntohs(address.sin_port));  // the socket stays open on purpose
    }();
    return port;
}

// "127.0.0.1:<closedPort()>".
inline QByteArray closedAddress()
{
    return "127.0.0.1:" + QByteArray::number(closedPort());
}

} // namespace vireo2::test
