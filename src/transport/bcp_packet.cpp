#include "transport/bcp_packet.h"

#include <QtEndian>

namespace vireo2::bcp {

QByteArray frame(const char* payload, int length)
{
    QByteArray packet;
    packet.reserve(length + kOverhead);
    packet.append(kStartMarker);
    char header[4];
    qToBigEndian(quint32(length), header);
    packet.append(header, 4);
    packet.append(payload, length);
    packet.append(kEndMarker);
    return packet;
}

quint32 lengthField(const char* header)
{
    return qFromBigEndian<quint32>(header + 1);
}

namespace {

// `header` holds at least kHeaderSize bytes when `size` reaches kOverhead.
Validity validateSized(const char* header, qint64 size, LengthRule rule)
{
    if (size < kOverhead)
        return Validity::TooShort;
    if (header[0] != kStartMarker)
        return Validity::Invalid;
    const quint32 length = lengthField(header);
    const quint64 room = quint64(size - kOverhead);
    const bool lengthOk = rule == LengthRule::Exact ? length == room : length <= room;
    return lengthOk ? Validity::Valid : Validity::Invalid;
}

} // namespace

Validity validate(const QByteArray& received, LengthRule rule)
{
    return validateSized(received.constData(), received.size(), rule);
}

Validity validate(const QByteArray& header, const QByteArray& body, LengthRule rule)
{
    if (header.size() < kHeaderSize)
        return Validity::TooShort;
    return validateSized(header.constData(), qint64(header.size()) + body.size(), rule);
}

void unwrap(QByteArray& received)
{
    received.chop(1);
    received.remove(0, kHeaderSize);
}

} // namespace vireo2::bcp
