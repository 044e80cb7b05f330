#pragma once

#include <QByteArray>
#include <QtGlobal>

#include "transport/bcp_packet.h"

namespace vireo2 {
class ReplyDestination;
}

namespace vireo2::bcp {

// Gathers one BCP packet from the chunks a stream delivers, keeping the five
// header bytes apart from the body (payload, end marker and any surplus), so
// the payload is handed on without moving it. In packet mode, bytes before
// the start marker are discarded. Once the header is in, the packet is
// complete when it holds length + 6 bytes; a chunk that brings more keeps
// its surplus, so trailing bytes remain visible to the validation that
// follows. A length field above kMaxPayload ends the collection at once,
// before anything of that size is allocated.
//
// A large body goes into memory the reader's caller offered (offer()), once
// the header and the first bytes after it have arrived, so that it is read
// where the caller will hand it on.
class PacketAssembler {
public:
    enum class State { Incomplete, Complete, Oversized };
    // Room kept after the announced end of a body offered memory, for the
    // trailing bytes a read may bring with the packet.
    static constexpr qint64 kSurplusLook = 64 * 1024;

    // Starts a new packet; the body's capacity is kept for reuse. Any
    // offered memory is forgotten.
    void reset(bool skipNoise);
    // Offers memory for this packet's body should it be large
    // (ReplyDestination::kFromBytes or more); asked at most once.
    void offer(ReplyDestination* destination) { destination_ = destination; }
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
    qint64 received() const { return header_.size() + bodySize(); }
    const QByteArray& header() const { return header_; }
    const char* bodyData() const { return external_ ? external_ : body_.constData(); }
    qint64 bodySize() const { return external_ ? externalSize_ : body_.size(); }
    // Hands the body to `out` without copying: the assembler's own array is
    // swapped with `out` (whose block it keeps for the next packet), or
    // `out` becomes a view of the offered memory holding it. True for a view.
    bool handBodyTo(QByteArray& out);
    // Header and body as one array (a copy).
    QByteArray packet() const;
    // Empties header and body (the body's block is kept).
    void clear();

private:
    void updateState();
    void appendBody(const char* data, qint64 size);
    // Moves the body into offered memory when it is large; false when no
    // memory was offered or the offer was declined.
    bool moveToOfferedMemory();
    // Back into the own array (a body outgrowing its offered memory).
    void moveToOwnArray();

    QByteArray header_;
    QByteArray body_;
    ReplyDestination* destination_ = nullptr;
    char* external_ = nullptr;
    qint64 externalSize_ = 0;
    qint64 externalCapacity_ = 0;
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
