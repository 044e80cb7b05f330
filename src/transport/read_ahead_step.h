#pragma once

#include <QByteArray>

namespace vireo2 {

// One command of a sequence a transport may send ahead of its caller
// (ReadAhead): sent only after a reply of the command before it that carries
// `afterStatus`, and waited for `timeoutMs`.
struct ReadAheadStep {
    QByteArray command;
    int timeoutMs = 0;
    qint32 afterStatus = 0;
};

} // namespace vireo2
