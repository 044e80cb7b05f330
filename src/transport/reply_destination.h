#pragma once

#include <QtGlobal>

namespace vireo2 {

// Memory a caller offers for one large reply, so that the bytes read from
// the socket land where the caller hands them on (a host's text result) and
// are not copied again after the socket. The transport asks at most once per
// exchange, on its worker thread while the caller waits for the exchange;
// the reply the exchange hands back is then a view of that memory, valid
// until the caller reuses it.
class ReplyDestination {
public:
    // Replies smaller than this stay in the transport's own buffer: copying
    // them costs less than the bookkeeping.
    static constexpr qint64 kFromBytes = 1 << 20;

    virtual ~ReplyDestination() = default;
    // At least `bytes` bytes, or null to decline (the reply then goes into
    // the transport's own buffer).
    virtual char* reserve(qint64 bytes) = 0;
};

} // namespace vireo2
