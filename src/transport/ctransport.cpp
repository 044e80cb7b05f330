#include "transport/ctransport.h"

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

qint32 CTransport::GetErrorCode()
{
    return errorCode_;
}

QString CTransport::GetErrorMessage()
{
    return errorMessage_;
}

} // namespace vireo2
