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

Validity validate(const QByteArray& received, LengthRule rule)
{
    if (received.size() < kOverhead)
        return Validity::TooShort;
    if (received.at(0) != kStartMarker)
        return Validity::Invalid;
    const quint32 length = lengthField(received.constData());
    const quint32 room = quint32(received.size() - kOverhead);
    const bool lengthOk = rule == LengthRule::Exact ? length == room : length <= room;
    return lengthOk ? Validity::Valid : Validity::Invalid;
}

void unwrap(QByteArray& received)
{
    received.chop(1);
    received.remove(0, kHeaderSize);
}

} // namespace vireo2::bcp
