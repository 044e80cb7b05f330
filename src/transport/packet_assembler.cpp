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
    if (body_.capacity() > kMaxKeptCapacity)
        body_ = QByteArray();
    body_.reserve(qMax(body_.capacity(), kInitialCapacity));
    clear();
    expected_ = 0;
    skipNoise_ = skipNoise;
    state_ = State::Incomplete;
}

void PacketAssembler::clear()
{
    header_.resize(0);
    body_.resize(0);
}

PacketAssembler::State PacketAssembler::append(const char* data, qint64 size)
{
    if (state_ != State::Incomplete || size <= 0)
        return state_;
    if (header_.isEmpty() && skipNoise_) {
        const void* start = std::memchr(data, kStartMarker, size_t(size));
        if (!start)
            return state_;
        size -= static_cast<const char*>(start) - data;
        data = static_cast<const char*>(start);
    }
    const int toHeader = int(qMin<qint64>(size, headerMissing()));
    header_.append(data, toHeader);
    body_.append(data + toHeader, int(size - toHeader));
    updateState();
    return state_;
}

char* PacketAssembler::room(qint64 size)
{
    roomStart_ = body_.size();
    body_.resize(int(roomStart_ + size));
    return body_.data() + roomStart_;
}

PacketAssembler::State PacketAssembler::commit(qint64 count)
{
    body_.resize(int(roomStart_ + qMax<qint64>(count, 0)));
    if (state_ == State::Incomplete && count > 0)
        updateState();
    return state_;
}

void PacketAssembler::updateState()
{
    // The header is judged with the first byte after it, so a refused
    // packet still shows what came with its header.
    if (received() <= kHeaderSize)
        return;
    const quint32 length = lengthField(header_.constData());
    expected_ = qint64(length) + kOverhead;
    if (length > kMaxPayload)
        state_ = State::Oversized;
    else if (received() >= expected_)
        state_ = State::Complete;
    else if (body_.capacity() < expected_ - kHeaderSize && received() >= qMin<qint64>(expected_ / 8, kMaxKeptCapacity))
        // One block for the rest of a reply that is really arriving, instead
        // of a chain of growing copies; a header alone reserves nothing.
        body_.reserve(int(expected_ - kHeaderSize));
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
