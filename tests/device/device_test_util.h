#pragma once

#include <QByteArray>
#include <QDeadlineTimer>
#include <QThread>
#include <functional>

#include "closed_port.h"

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

} // namespace vireo2::test
