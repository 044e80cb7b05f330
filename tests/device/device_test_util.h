#pragma once

#include <QByteArray>
#include <QDeadlineTimer>
#include <QTcpServer>
#include <QThread>
#include <functional>

namespace vireo2::test {

// Polls `condition` every 5 ms until it holds or `timeoutMs` pass.
inline bool eventually(const std::function<bool()>& condition, int timeoutMs = 2000)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QThread::msleep(5);
    }
    return true;
}

// A loopback address on which nothing listens.
inline QByteArray closedAddress()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return "127.0.0.1:" + QByteArray::number(probe.serverPort());
}

} // namespace vireo2::test
