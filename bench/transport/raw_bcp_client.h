#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QTcpSocket>

#include "transport/bcp_packet.h"
#include "transport/packet_assembler.h"

namespace vireo2::bench {

// The baseline: the same BCP exchange done directly on a blocking socket in
// the calling thread, with no worker thread, hand-over or validation layer.
class RawBcpClient {
public:
    bool connectTo(quint16 port)
    {
        socket_.connectToHost(QHostAddress::LocalHost, port);
        if (!socket_.waitForConnected(1000))
            return false;
        socket_.setSocketOption(QAbstractSocket::LowDelayOption, 1);
        return true;
    }

    // Sends `command` and returns the reply payload (empty on failure).
    QByteArray exchange(const QByteArray& command)
    {
        socket_.write(bcp::frame(command));
        while (socket_.bytesToWrite() > 0) {
            if (!socket_.waitForBytesWritten(5000))
                return QByteArray();
        }
        QByteArray stream;
        QByteArray payload;
        while (!bcp::takePacket(stream, payload)) {
            if (socket_.bytesAvailable() == 0 && !socket_.waitForReadyRead(5000))
                return QByteArray();
            stream += socket_.readAll();
        }
        return payload;
    }

private:
    QTcpSocket socket_;
};

} // namespace vireo2::bench
