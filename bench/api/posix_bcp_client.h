#pragma once

#include <QByteArray>
#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vireo2::bench {

// The baseline a host is compared with: one BCP exchange with plain send()
// and recv() on a blocking socket in the calling thread. It frames the
// command (0x7E, big-endian length, payload, 0x7F), reads the header, then
// exactly the announced bytes into one buffer it reuses, and hands back the
// payload: the least work any client can do for the same reply.
class PosixBcpClient {
public:
    ~PosixBcpClient()
    {
        if (fd_ >= 0)
            ::close(fd_);
    }

    bool connectTo(quint16 port)
    {
        fd_ = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const int on = 1;
        ::setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        return fd_ >= 0 && ::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    }

    // Sends `command`; the reply payload's size, -1 on failure. The payload
    // stays in payload() until the next exchange.
    qint64 exchange(const QByteArray& command)
    {
        const quint32 length = quint32(command.size());
        QByteArray packet(command.size() + 6, Qt::Uninitialized);
        packet[0] = char(0x7E);
        for (int i = 0; i < 4; ++i)
            packet[1 + i] = char(length >> (24 - 8 * i));
        std::copy(command.constBegin(), command.constEnd(), packet.begin() + 5);
        packet[packet.size() - 1] = char(0x7F);
        if (!sendAll(packet.constData(), packet.size()))
            return -1;
        unsigned char header[5];
        if (!receiveAll(reinterpret_cast<char*>(header), 5) || header[0] != 0x7E)
            return -1;
        const qint64 size = (qint64(header[1]) << 24) | (header[2] << 16) | (header[3] << 8) | header[4];
        if (buffer_.size() < size + 1)
            buffer_.resize(int(size + 1));
        if (!receiveAll(buffer_.data(), size + 1))
            return -1;
        payloadSize_ = size;
        return size;
    }

    const char* payload() const { return buffer_.constData(); }

private:
    bool sendAll(const char* bytes, qint64 size)
    {
        while (size > 0) {
            const ssize_t sent = ::send(fd_, bytes, size_t(size), MSG_NOSIGNAL);
            if (sent < 0 && errno == EINTR)
                continue;
            if (sent <= 0)
                return false;
            bytes += sent;
            size -= sent;
        }
        return true;
    }

    bool receiveAll(char* bytes, qint64 size)
    {
        while (size > 0) {
            const ssize_t got = ::recv(fd_, bytes, size_t(size), 0);
            if (got < 0 && errno == EINTR)
                continue;
            if (got <= 0)
                return false;
            bytes += got;
            size -= got;
        }
        return true;
    }

    int fd_ = -1;
    QByteArray buffer_;
    qint64 payloadSize_ = 0;
};

} // namespace vireo2::bench
