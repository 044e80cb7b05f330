// BCP framing, validation under both length rules, and stream reassembly.
#include <gtest/gtest.h>

#include "transport/bcp_packet.h"
#include "transport/packet_assembler.h"

namespace bcp = vireo2::bcp;
using Rule = bcp::LengthRule;
using State = bcp::PacketAssembler::State;

namespace {

QByteArray bytes(std::initializer_list<int> values)
{
    QByteArray out;
    for (int v : values)
        out.append(char(v));
    return out;
}

TEST(BcpFrame, WrapsPayloadWithMarkersAndBigEndianLength)
{
    const QByteArray packet = bcp::frame("meas done?", 10);
    ASSERT_EQ(packet.size(), 16);
    EXPECT_EQ(packet.left(5), bytes({0x7E, 0, 0, 0, 0x0A}));
    EXPECT_EQ(packet.mid(5, 10), QByteArray("meas done?"));
    EXPECT_EQ(packet.at(15), char(0x7F));
    EXPECT_EQ(bcp::lengthField(bcp::frame(QByteArray(0x10203, 'a')).constData()), 0x10203u);
}

TEST(BcpValidate, EmptyPayloadPacketIsValidOnBothLinks)
{
    const QByteArray packet = bytes({0x7E, 0, 0, 0, 0, 0x7F});
    EXPECT_EQ(bcp::validate(packet, Rule::Exact), bcp::Validity::Valid);
    EXPECT_EQ(bcp::validate(packet, Rule::AtMost), bcp::Validity::Valid);
    QByteArray copy = packet;
    bcp::unwrap(copy);
    EXPECT_TRUE(copy.isEmpty());
}

TEST(BcpValidate, EndMarkerIsNeverCheckedButAlwaysDropped)
{
    QByteArray packet = bcp::frame("MEAS 0x00", 9);
    packet[packet.size() - 1] = 'Z';
    ASSERT_EQ(bcp::validate(packet, Rule::Exact), bcp::Validity::Valid);
    bcp::unwrap(packet);
    EXPECT_EQ(packet, QByteArray("MEAS 0x00"));
}

TEST(BcpValidate, ShortPacketKeepsSurplusOnUsbOnly)
{
    // 20 bytes holding a packet whose length field says 10.
    QByteArray packet = bytes({0x7E, 0, 0, 0, 10}) + QByteArray("0123456789ABCD") + bytes({0x7F});
    ASSERT_EQ(packet.size(), 20);
    EXPECT_EQ(bcp::validate(packet, Rule::Exact), bcp::Validity::Invalid);
    ASSERT_EQ(bcp::validate(packet, Rule::AtMost), bcp::Validity::Valid);
    bcp::unwrap(packet);
    EXPECT_EQ(packet, QByteArray("0123456789ABCD"));
}

TEST(BcpValidate, RejectsShortBadMarkerAndOverlongLength)
{
    EXPECT_EQ(bcp::validate(bytes({0x7E, 0, 0, 0, 0}), Rule::AtMost), bcp::Validity::TooShort);
    EXPECT_EQ(bcp::validate(QByteArray(), Rule::Exact), bcp::Validity::TooShort);
    EXPECT_EQ(bcp::validate(bytes({0x7D, 0, 0, 0, 0, 0x7F}), Rule::Exact), bcp::Validity::Invalid);
    const QByteArray hostile = bytes({0x7E, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F});
    EXPECT_EQ(bcp::validate(hostile, Rule::Exact), bcp::Validity::Invalid);
    EXPECT_EQ(bcp::validate(hostile, Rule::AtMost), bcp::Validity::Invalid);
}

TEST(PacketAssembler, CollectsPacketFromPiecesAfterNoise)
{
    bcp::PacketAssembler assembler;
    assembler.reset(true);
    const QByteArray packet = bcp::frame("MEAS 0x00", 9);
    EXPECT_EQ(assembler.append("noise\x7f", 6), State::Incomplete);
    EXPECT_TRUE(assembler.buffer().isEmpty());
    EXPECT_EQ(assembler.append(packet.constData(), 3), State::Incomplete);
    EXPECT_EQ(assembler.expected(), 0);
    EXPECT_EQ(assembler.append(packet.constData() + 3, 5), State::Incomplete);
    EXPECT_EQ(assembler.expected(), 15);
    EXPECT_EQ(assembler.append(packet.constData() + 8, packet.size() - 8), State::Complete);
    EXPECT_EQ(assembler.buffer(), packet);
}

TEST(PacketAssembler, KeepsTrailingBytesOfTheLastChunk)
{
    bcp::PacketAssembler assembler;
    assembler.reset(true);
    const QByteArray chunk = "ab" + bcp::frame("X", 1) + "tail";
    EXPECT_EQ(assembler.append(chunk.constData(), chunk.size()), State::Complete);
    EXPECT_EQ(assembler.buffer(), bcp::frame("X", 1) + "tail");
}

TEST(PacketAssembler, WithoutPacketModeNothingIsSkipped)
{
    bcp::PacketAssembler assembler;
    assembler.reset(false);
    assembler.append("ab", 2);
    EXPECT_EQ(assembler.buffer(), QByteArray("ab"));
}

TEST(PacketAssembler, HostileLengthStopsBeforeAllocating)
{
    bcp::PacketAssembler assembler;
    assembler.reset(true);
    const QByteArray header = bytes({0x7E, 0xFF, 0xFF, 0xFF, 0xFF, 'x'});
    EXPECT_EQ(assembler.append(header.constData(), header.size()), State::Oversized);
    EXPECT_EQ(assembler.append("more", 4), State::Oversized);
    EXPECT_EQ(assembler.buffer().size(), 6);
    EXPECT_LT(assembler.buffer().capacity(), 1 << 20);
}

TEST(PacketAssembler, ReuseKeepsTheBlockOfEarlierReplies)
{
    bcp::PacketAssembler assembler;
    assembler.reset(true);
    const QByteArray packet = bcp::frame(QByteArray(100000, 'p'));
    assembler.append(packet.constData(), packet.size());
    const char* block = assembler.buffer().constData();
    assembler.reset(true);
    EXPECT_TRUE(assembler.buffer().isEmpty());
    assembler.append(packet.constData(), packet.size());
    EXPECT_EQ(assembler.buffer().constData(), block);
}

TEST(TakePacket, SplitsBackToBackPacketsAndSkipsNoise)
{
    QByteArray stream = "zz" + bcp::frame("one", 3) + bcp::frame("two", 3) + bcp::frame("three", 5).left(4);
    QByteArray payload;
    ASSERT_TRUE(bcp::takePacket(stream, payload));
    EXPECT_EQ(payload, QByteArray("one"));
    ASSERT_TRUE(bcp::takePacket(stream, payload));
    EXPECT_EQ(payload, QByteArray("two"));
    EXPECT_FALSE(bcp::takePacket(stream, payload));
    EXPECT_EQ(stream.size(), 4);
}

TEST(TakePacket, OversizedLengthDiscardsTheStream)
{
    QByteArray stream = bytes({0x7E, 0x7F, 0, 0, 0, 1, 2});
    QByteArray payload;
    bool oversized = false;
    EXPECT_FALSE(bcp::takePacket(stream, payload, &oversized));
    EXPECT_TRUE(oversized);
    EXPECT_TRUE(stream.isEmpty());
}

} // namespace
