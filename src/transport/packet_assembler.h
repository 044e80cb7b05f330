#pragma once

#include <QByteArray>
#include <QtGlobal>

namespace vireo2::bcp {

// Gathers one BCP packet from the chunks a stream delivers. In packet mode,
// bytes before the start marker are discarded. Once the header is in, the
// packet is complete when the buffer holds length + 6 bytes; a chunk that
// brings more keeps its surplus, so trailing bytes remain visible to the
// validation that follows. A length field above kMaxPayload ends the
// collection at once, before anything of that size is allocated.
class PacketAssembler {
public:
    enum class State { Incomplete, Complete, Oversized };

    // Starts a new packet; the buffer's capacity is kept for reuse.
    void reset(bool skipNoise);
    State append(const char* data, qint64 size);

    State state() const { return state_; }
    // Bytes a complete packet will hold; 0 until the header has arrived.
    qint64 expected() const { return expected_; }
    QByteArray& buffer() { return buffer_; }

private:
    void updateState();

    QByteArray buffer_;
    qint64 expected_ = 0;
    bool skipNoise_ = true;
    State state_ = State::Incomplete;
};

// Splits a stream that may carry several packets back to back (the
// simulator's side): drops noise before the start marker, and when a whole
// packet is in `stream`, moves its payload to `payload` and returns true.
// A length field above kMaxPayload discards the stream and sets `oversized`.
bool takePacket(QByteArray& stream, QByteArray& payload, bool* oversized = nullptr);

} // namespace vireo2::bcp
