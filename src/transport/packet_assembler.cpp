#include "transport/packet_assembler.h"

#include <cstring>

#include "transport/bcp_packet.h"

namespace vireo2::bcp {
namespace {

constexpr int kInitialCapacity = 4096;
constexpr int kMaxKeptCapacity = 1 << 20;

} // namespace

void PacketAssembler::reset(bool skipNoise)
{
    // Keep the block of earlier replies for the next one, unless it was huge.
    // reserve() marks the capacity as wanted, so resize(0) keeps it.
    if (buffer_.capacity() > kMaxKeptCapacity)
        buffer_ = QByteArray();
    buffer_.reserve(qMax(buffer_.capacity(), kInitialCapacity));
    buffer_.resize(0);
    expected_ = 0;
    skipNoise_ = skipNoise;
    state_ = State::Incomplete;
}

PacketAssembler::State PacketAssembler::append(const char* data, qint64 size)
{
    if (state_ != State::Incomplete || size <= 0)
        return state_;
    if (buffer_.isEmpty() && skipNoise_) {
        const void* start = std::memchr(data, kStartMarker, size_t(size));
        if (!start)
            return state_;
        size -= static_cast<const char*>(start) - data;
        data = static_cast<const char*>(start);
    }
    buffer_.append(data, int(size));
    updateState();
    return state_;
}

void PacketAssembler::updateState()
{
    if (buffer_.size() <= kHeaderSize)
        return;
    const quint32 length = lengthField(buffer_.constData());
    expected_ = qint64(length) + kOverhead;
    if (length > kMaxPayload)
        state_ = State::Oversized;
    else if (buffer_.size() >= expected_)
        state_ = State::Complete;
    else if (buffer_.capacity() < expected_ && buffer_.size() >= qMin<qint64>(expected_ / 8, kMaxKeptCapacity))
        // One block for the rest of a reply that is really arriving, instead
        // of a chain of growing copies; a header alone reserves nothing.
        buffer_.reserve(int(expected_));
}

bool takePacket(QByteArray& stream, QByteArray& payload, bool* oversized)
{
    if (oversized)
        *oversized = false;
    const int start = stream.indexOf(kStartMarker);
    if (start < 0) {
        stream.clear();
        return false;
    }
    if (start > 0)
        stream.remove(0, start);
    if (stream.size() < kHeaderSize)
        return false;
    const quint32 length = lengthField(stream.constData());
    if (length > kMaxPayload) {
        stream.clear();
        if (oversized)
            *oversized = true;
        return false;
    }
    const qint64 total = qint64(length) + kOverhead;
    if (stream.size() < total)
        return false;
    payload = stream.mid(kHeaderSize, int(length));
    stream.remove(0, int(total));
    return true;
}

} // namespace vireo2::bcp
