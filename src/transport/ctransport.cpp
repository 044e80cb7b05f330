#include "transport/ctransport.h"
#include "threading/locks.h"
#include "threading/unshared_text.h"

namespace vireo2 {

CTransport::CTransport() : QObject(nullptr) {}

CTransport::~CTransport() = default;

// Only CEthernet reads its packet mode; the base keeps its own flag so that
// USB, which inherits this, always frames its packets.
void CTransport::SetPacketMode(bool on)
{
    basePacketMode_ = on;
}

void CTransport::Noop() {}

void CTransport::planReadAhead(const QByteArray&, const QList<ReadAheadStep>&) {}

void CTransport::dropReadAhead() {}

qint32 CTransport::GetErrorCode()
{
    MutexLocker lock(&fieldsMutex_);
    return errorCode_;
}

QString CTransport::GetErrorMessage()
{
    MutexLocker lock(&fieldsMutex_);
    return unsharedCopy(errorMessage_);
}

bool CTransport::acceptPacket(bcp::Validity validity, const LibraryError& tooShort, const LibraryError& invalid)
{
    switch (validity) {
    case bcp::Validity::TooShort:
        SetError(tooShort);
        return false;
    case bcp::Validity::Invalid:
        SetError(invalid);
        return false;
    case bcp::Validity::Valid:
        break;
    }
    return true;
}

void CTransport::storeError(qint32 code, const QString& message)
{
    MutexLocker lock(&fieldsMutex_);
    errorCode_ = code;
    errorMessage_ = unsharedCopy(message);
}

QString CTransport::lastCommand() const
{
    MutexLocker lock(&fieldsMutex_);
    return unsharedCopy(lastCommand_);
}

void CTransport::setLastCommand(const QString& command)
{
    MutexLocker lock(&fieldsMutex_);
    lastCommand_ = unsharedCopy(command);
}

qint64 CTransport::inProgressDeadlineMs(qint32 delayMs, qint32 waitMs)
{
    const qint64 announced = qint64(qMax(delayMs, 0)) + qint64(qMax(waitMs, 0));
    return qBound(kInProgressFloorMs, announced + kInProgressGraceMs, kInProgressCeilingMs);
}

} // namespace vireo2
