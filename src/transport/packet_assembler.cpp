#include "transport/packet_assembler.h"

#include <cstring>
#include <utility>

#include "transport/bcp_packet.h"
#include "transport/reply_destination.h"

namespace vireo2::bcp {
namespace {

constexpr int kInitialCapacity = 4096;
constexpr int kMaxKeptCapacity = 1 << 20;

} // namespace

void PacketAssembler::reset(bool skipNoise)
{
    // Keep the block of earlier replies for the next one, unless it was huge
    // or is not the assembler's alone (a view of offered memory, or an array
    // the requester still shares): reserving in those would copy them.
    // reserve() marks the capacity as wanted, so resize(0) keeps it.
    if (body_.capacity() > kMaxKeptCapacity || body_.capacity() == 0 || !body_.isDetached())
        body_ = QByteArray();
    body_.reserve(qMax(body_.capacity(), kInitialCapacity));
    clear();
    destination_ = nullptr;
    expected_ = 0;
    skipNoise_ = skipNoise;
    state_ = State::Incomplete;
}

void PacketAssembler::clear()
{
    header_.resize(0);
    body_.resize(0);
    external_ = nullptr;
    externalSize_ = 0;
    externalCapacity_ = 0;
}

bool PacketAssembler::handBodyTo(QByteArray& out)
{
    if (!external_) {
        out.swap(body_);
        return false;
    }
    out = QByteArray::fromRawData(external_, int(externalSize_));
    return true;
}

QByteArray PacketAssembler::packet() const
{
    QByteArray whole = header_;
    whole.append(bodyData(), int(bodySize()));
    return whole;
}

void PacketAssembler::appendBody(const char* data, qint64 size)
{
    if (size <= 0)
        return;
    if (external_ && externalSize_ + size > externalCapacity_)
        moveToOwnArray();
    if (!external_) {
        body_.append(data, int(size));
        return;
    }
    std::memcpy(external_ + externalSize_, data, size_t(size));
    externalSize_ += size;
}

bool PacketAssembler::moveToOfferedMemory()
{
    const qint64 bodyBytes = expected_ - kHeaderSize;
    if (!destination_ || bodyBytes < ReplyDestination::kFromBytes)
        return false;
    ReplyDestination* destination = std::exchange(destination_, nullptr);
    const qint64 capacity = bodyBytes + kSurplusLook;
    char* memory = destination->reserve(capacity);
    if (!memory)
        return false;
    std::memcpy(memory, body_.constData(), size_t(body_.size()));
    external_ = memory;
    externalSize_ = body_.size();
    externalCapacity_ = capacity;
    body_.resize(0);
    return true;
}

void PacketAssembler::moveToOwnArray()
{
    body_ = QByteArray(external_, int(externalSize_));
    external_ = nullptr;
    externalSize_ = 0;
    externalCapacity_ = 0;
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
    appendBody(data + toHeader, size - toHeader);
    updateState();
    return state_;
}

char* PacketAssembler::room(qint64 size)
{
    if (external_ && externalSize_ + size > externalCapacity_)
        moveToOwnArray();
    if (external_) {
        roomStart_ = externalSize_;
        return external_ + roomStart_;
    }
    roomStart_ = body_.size();
    body_.resize(int(roomStart_ + size));
    return body_.data() + roomStart_;
}

PacketAssembler::State PacketAssembler::commit(qint64 count)
{
    if (external_)
        externalSize_ = roomStart_ + qMax<qint64>(count, 0);
    else
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
    else if (external_ || moveToOfferedMemory())
        return;
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
