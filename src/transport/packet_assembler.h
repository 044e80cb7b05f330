#pragma once

#include <QByteArray>
#include <QtGlobal>

#include "transport/bcp_packet.h"

namespace vireo2::bcp {

// Gathers one BCP packet from the chunks a stream delivers, keeping the five
// header bytes apart from the body (payload, end marker and any surplus), so
// the payload is handed on without moving it. In packet mode, bytes before
// the start marker are discarded. Once the header is in, the packet is
// complete when it holds length + 6 bytes; a chunk that brings more keeps
// its surplus, so trailing bytes remain visible to the validation that
// follows. A length field above kMaxPayload ends the collection at once,
// before anything of that size is allocated.
class PacketAssembler {
public:
    enum class State { Incomplete, Complete, Oversized };

    // Starts a new packet; the body's capacity is kept for reuse.
    void reset(bool skipNoise);
    // Takes a chunk (copied in).
    State append(const char* data, qint64 size);

    // Once the header is in, the body can be read into directly: room()
    // gives `size` bytes at its end, commit() keeps the `count` of them that
    // were filled.
    bool headerComplete() const { return header_.size() == kHeaderSize; }
    int headerMissing() const { return kHeaderSize - int(header_.size()); }
    char* room(qint64 size);
    State commit(qint64 count);

    State state() const { return state_; }
    // Bytes a complete packet will hold; 0 until the header has arrived.
    qint64 expected() const { return expected_; }
    qint64 received() const { return header_.size() + body_.size(); }
    const QByteArray& header() const { return header_; }
    QByteArray& body() { return body_; }
    // Header and body as one array (a copy).
    QByteArray packet() const { return header_ + body_; }
    // Empties header and body (the body's block is kept).
    void clear();

private:
    void updateState();

    QByteArray header_;
    QByteArray body_;
    qint64 roomStart_ = 0;
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
