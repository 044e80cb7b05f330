#pragma once

#include <QByteArray>
#include <QtGlobal>

namespace vireo2::bcp {

// BCP packet: 0x7E, payload length N (4 bytes, most significant first),
// N payload bytes, 0x7F. No checksum, no escaping.
constexpr char kStartMarker = 0x7E;
constexpr char kEndMarker = 0x7F;
constexpr int kHeaderSize = 5;  // marker + length
constexpr int kOverhead = 6;    // header + end marker

// Largest payload a receiver accepts: more than any image, log or firmware
// packet the instrument exchanges. A length field above it is rejected as soon
// as the header has arrived, without allocating the claimed size.
constexpr quint32 kMaxPayload = 64u * 1024u * 1024u;

// One packet around `length` bytes of `payload`.
QByteArray frame(const char* payload, int length);
inline QByteArray frame(const QByteArray& payload) { return frame(payload.constData(), payload.size()); }

// The big-endian length field of a buffer holding at least kHeaderSize bytes.
quint32 lengthField(const char* header);

// How a receiver checks the length field against the bytes it holds.
enum class LengthRule {
    Exact,   // TCP: the field must equal size - 6
    AtMost,  // USB: the field may be smaller; surplus bytes stay in the payload
};

enum class Validity { Valid, TooShort, Invalid };

// Checks marker and length of a received buffer without touching it.
Validity validate(const QByteArray& received, LengthRule rule);
// The same for a packet received as its header and the rest (the body).
Validity validate(const QByteArray& header, const QByteArray& body, LengthRule rule);

// Drops the end byte (never checked) and the five header bytes in place.
void unwrap(QByteArray& received);

} // namespace vireo2::bcp
