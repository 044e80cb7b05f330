// BCP framing, validation under both length rules, and stream reassembly.
#include <gtest/gtest.h>

#include <QtEndian>

#include "transport/bcp_packet.h"
#include "transport/packet_assembler.h"

namespace bcp = vireo2::bcp;
using bcp::Validity;
using State = bcp::PacketAssembler::State;

namespace {

TEST(BcpFrame, WrapsPayloadWithMarkersAndBigEndianLength)
{
    EXPECT_EQ(bcp::frame("meas done?", 10), QByteArray("\x7E\0\0\0\x0A" "meas done?\x7F", 16));
    EXPECT_EQ(bcp::lengthField(bcp::frame(QByteArray(0x10203, 'a')).constData()), 0x10203u);
}

// TCP wants the length field to match the packet exactly; USB accepts a
// smaller one and keeps the surplus in the payload. The end byte is never
// checked, only dropped.
TEST(BcpValidate, LengthRulesOfBothLinks)
{
    // What, bytes received, validity on TCP and on USB, payload when valid.
    const std::tuple<const char*, QByteArray, Validity, Validity, QByteArray> cases[] = {
        {"empty payload", QByteArray("\x7E\0\0\0\0\x7F", 6), Validity::Valid, Validity::Valid, ""},
        {"any end byte", QByteArray("\x7E\0\0\0\x02" "okZ", 8), Validity::Valid, Validity::Valid, "ok"},
        {"surplus", QByteArray("\x7E\0\0\0\x02" "okay\x7F", 10), Validity::Invalid, Validity::Valid, "okay"},
        {"five bytes", QByteArray("\x7E\0\0\0\0", 5), Validity::TooShort, Validity::TooShort, ""},
        {"bad start marker", QByteArray("\x7D\0\0\0\0\x7F", 6), Validity::Invalid, Validity::Invalid, ""},
        {"hostile length", QByteArray("\x7E\xFF\xFF\xFF\xFF\x7F", 6), Validity::Invalid, Validity::Invalid, ""},
    };
    for (const auto& [what, received, tcp, usb, payload] : cases) {
        SCOPED_TRACE(what);
        EXPECT_EQ(bcp::validate(received, bcp::LengthRule::Exact), tcp);
        EXPECT_EQ(bcp::validate(received, bcp::LengthRule::AtMost), usb);
        if (usb == Validity::Valid) {
            QByteArray unwrapped = received;
            bcp::unwrap(unwrapped);
            EXPECT_EQ(unwrapped, payload);
        }
    }
}

// (Noise, pieces and trailing bytes are covered end to end by the TCP tests.)
TEST(PacketAssembler, ResetKeepsTheBlockOfEarlierRepliesAndSetsTheMode)
{
    bcp::PacketAssembler assembler;
    const QByteArray packet = bcp::frame(QByteArray(100000, 'p'));
    assembler.reset(true);
    assembler.append(packet.constData(), packet.size());
    const char* block = assembler.body().constData();
    assembler.reset(false);  // without packet mode nothing is skipped
    assembler.append("abcdefg", 7);
    EXPECT_EQ(assembler.packet(), QByteArray("abcdefg"));
    EXPECT_EQ(assembler.body().constData(), block);
}

// The header is kept apart wherever the chunks cut it, so the body holds the
// payload where the reads put it; validation sees header and body as one.
TEST(PacketAssembler, KeepsTheHeaderApartAndReadsTheBodyInPlace)
{
    const QByteArray packet = "noise" + bcp::frame(QByteArray("payload of a reply"));
    bcp::PacketAssembler assembler;
    assembler.reset(true);
    EXPECT_EQ(assembler.append(packet.constData(), 7), State::Incomplete);  // noise and two header bytes
    EXPECT_FALSE(assembler.headerComplete());
    EXPECT_EQ(assembler.headerMissing(), 3);
    EXPECT_EQ(assembler.append(packet.constData() + 7, 3), State::Incomplete);
    ASSERT_TRUE(assembler.headerComplete());
    EXPECT_EQ(assembler.expected(), 0) << "judged with the first byte after it";
    const QByteArray rest = packet.mid(10) + "surplus";
    memcpy(assembler.room(100), rest.constData(), size_t(rest.size()));
    EXPECT_EQ(assembler.commit(rest.size()), State::Complete);
    EXPECT_EQ(assembler.body(), "payload of a reply\x7Fsurplus");
    EXPECT_EQ(bcp::validate(assembler.header(), assembler.body(), bcp::LengthRule::Exact), Validity::Invalid);
    EXPECT_EQ(bcp::validate(assembler.header(), assembler.body(), bcp::LengthRule::AtMost), Validity::Valid);
    EXPECT_EQ(bcp::validate(assembler.header(), QByteArray(), bcp::LengthRule::Exact), Validity::TooShort);
}

// A length above the cap ends the collection as soon as the header is in,
// before anything of that size is allocated.
TEST(PacketAssembler, LengthsAboveThePayloadCapAreRefusedAtTheHeader)
{
    const std::pair<quint32, State> cases[] = {
        {bcp::kMaxPayload, State::Incomplete}, {bcp::kMaxPayload + 1, State::Oversized}, {0xFFFFFFFFu, State::Oversized}};
    for (const auto& [length, state] : cases) {
        bcp::PacketAssembler assembler;
        assembler.reset(true);
        QByteArray packet("\x7E\0\0\0\0x", 6);
        qToBigEndian(length, packet.data() + 1);
        EXPECT_EQ(assembler.append(packet.constData(), packet.size()), state) << length;
        EXPECT_EQ(assembler.append("more", 4), state) << length;
        EXPECT_LT(assembler.body().capacity(), 1 << 20);
    }
}

TEST(TakePacket, SplitsAStreamAndDiscardsAHostileOne)
{
    QByteArray stream = "zz" + bcp::frame("one") + bcp::frame("two") + bcp::frame("three").left(7);
    QByteArray payload;
    ASSERT_TRUE(bcp::takePacket(stream, payload));
    EXPECT_EQ(payload, QByteArray("one"));
    ASSERT_TRUE(bcp::takePacket(stream, payload));
    EXPECT_EQ(payload, QByteArray("two"));
    EXPECT_FALSE(bcp::takePacket(stream, payload));
    EXPECT_EQ(stream.size(), 7);  // a partial packet waits for the rest

    QByteArray hostile("\x7E\x7F\0\0\0\1\2", 7);
    bool oversized = false;
    EXPECT_FALSE(bcp::takePacket(hostile, payload, &oversized));
    EXPECT_TRUE(oversized);
    EXPECT_TRUE(hostile.isEmpty());
}

} // namespace
