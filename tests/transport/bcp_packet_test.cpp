// BCP framing, validation under both length rules, and stream reassembly.
#include <gtest/gtest.h>

#include <QtEndian>

#include "transport/bcp_packet.h"
#include "transport/packet_assembler.h"
#include "transport/reply_destination.h"

#include <vector>

namespace bcp = vireo2::bcp;
using bcp::Validity;
using State = bcp::PacketAssembler::State;
using vireo2::ReplyDestination;

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

namespace {

QByteArray bodyOf(const bcp::PacketAssembler& assembler)
{
    return QByteArray(assembler.bodyData(), int(assembler.bodySize()));
}

} // namespace

// (Noise, pieces and trailing bytes are covered end to end by the TCP tests.)
TEST(PacketAssembler, ResetKeepsTheBlockOfEarlierRepliesAndSetsTheMode)
{
    bcp::PacketAssembler assembler;
    const QByteArray packet = bcp::frame(QByteArray(100000, 'p'));
    assembler.reset(true);
    assembler.append(packet.constData(), packet.size());
    const char* block = assembler.bodyData();
    assembler.reset(false);  // without packet mode nothing is skipped
    assembler.append("abcdefg", 7);
    EXPECT_EQ(assembler.packet(), QByteArray("abcdefg"));
    EXPECT_EQ(assembler.bodyData(), block);
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
    EXPECT_EQ(bodyOf(assembler), "payload of a reply\x7Fsurplus");
    EXPECT_EQ(bcp::validate(assembler.header(), bodyOf(assembler), bcp::LengthRule::Exact), Validity::Invalid);
    EXPECT_EQ(bcp::validate(assembler.header(), bodyOf(assembler), bcp::LengthRule::AtMost), Validity::Valid);
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
        QByteArray body;
        assembler.handBodyTo(body);
        EXPECT_LT(body.capacity(), 1 << 20);
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

namespace {

// Offers one block of memory and counts the questions.
class OfferedBlock : public ReplyDestination {
public:
    explicit OfferedBlock(bool decline = false) : decline_(decline) {}
    char* reserve(qint64 bytes) override
    {
        ++asked;
        askedFor = bytes;
        if (decline_)
            return nullptr;
        memory.resize(size_t(bytes));
        return memory.data();
    }
    std::vector<char> memory;
    int asked = 0;
    qint64 askedFor = 0;

private:
    bool decline_;
};

// Feeds `packet` as a socket read would: header first, then chunks read
// into room() with the surplus look.
State readInPieces(bcp::PacketAssembler& assembler, const QByteArray& packet, int chunk)
{
    assembler.append(packet.constData(), bcp::kHeaderSize);
    State state = State::Incomplete;
    for (int at = bcp::kHeaderSize; at < packet.size() && state == State::Incomplete; at += chunk) {
        const int count = qMin(chunk, packet.size() - at);
        memcpy(assembler.room(count + bcp::PacketAssembler::kSurplusLook), packet.constData() + at, size_t(count));
        state = assembler.commit(count);
    }
    return state;
}

} // namespace

// A large body is read into the memory offered for it, asked once for all
// of it (plus the surplus look) after the first bytes past the header; the
// body is then handed on as a view of that memory.
TEST(PacketAssembler, ALargeBodyIsReadIntoOfferedMemory)
{
    const QByteArray payload = QByteArray(3 << 20, 'x') + "end";
    const QByteArray packet = bcp::frame(payload);
    OfferedBlock offered;
    bcp::PacketAssembler assembler;
    assembler.reset(true);
    assembler.offer(&offered);
    ASSERT_EQ(readInPieces(assembler, packet, 100000), State::Complete);
    EXPECT_EQ(offered.asked, 1);
    EXPECT_EQ(offered.askedFor, payload.size() + 1 + bcp::PacketAssembler::kSurplusLook);
    EXPECT_EQ(assembler.bodyData(), offered.memory.data());
    QByteArray body("old");
    EXPECT_TRUE(assembler.handBodyTo(body));
    EXPECT_EQ(body.constData(), offered.memory.data());
    EXPECT_EQ(body, payload + '\x7F');
}

// Small bodies, a header alone and a declined offer keep the assembler's
// own array; a body that outgrows its offered memory moves back into it.
TEST(PacketAssembler, OtherBodiesStayInTheAssemblersOwnArray)
{
    {
        OfferedBlock offered;
        bcp::PacketAssembler assembler;
        assembler.reset(true);
        assembler.offer(&offered);
        ASSERT_EQ(readInPieces(assembler, bcp::frame(QByteArray(500000, 's')), 65536), State::Complete);
        EXPECT_EQ(offered.asked, 0) << "a small reply";
    }
    {
        OfferedBlock offered;
        bcp::PacketAssembler assembler;
        assembler.reset(true);
        assembler.offer(&offered);
        QByteArray header("\x7E\0\0\0\0", 5);
        qToBigEndian(bcp::kMaxPayload, header.data() + 1);
        assembler.append(header.constData(), header.size());
        EXPECT_EQ(offered.asked, 0) << "a header alone reserves nothing";
    }
    {
        OfferedBlock declining(true);
        const QByteArray packet = bcp::frame(QByteArray(2 << 20, 'd'));
        bcp::PacketAssembler assembler;
        assembler.reset(true);
        assembler.offer(&declining);
        ASSERT_EQ(readInPieces(assembler, packet, 300000), State::Complete);
        QByteArray body;
        EXPECT_FALSE(assembler.handBodyTo(body));
        EXPECT_EQ(body, packet.mid(bcp::kHeaderSize));
    }
    {
        OfferedBlock offered;
        const QByteArray packet = bcp::frame(QByteArray(2 << 20, 'o'));
        bcp::PacketAssembler assembler;
        assembler.reset(true);
        assembler.offer(&offered);
        ASSERT_EQ(readInPieces(assembler, packet, 300000), State::Complete);
        const QByteArray trailing(200000, 't');  // more than the surplus look
        memcpy(assembler.room(trailing.size()), trailing.constData(), size_t(trailing.size()));
        assembler.commit(trailing.size());
        QByteArray body;
        EXPECT_FALSE(assembler.handBodyTo(body));
        EXPECT_EQ(body, packet.mid(bcp::kHeaderSize) + trailing);
    }
}
