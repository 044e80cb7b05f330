// Feeds arbitrary bytes to everything that reads what the instrument sends:
// stream reassembly (cut into chunks at positions taken from the input, read
// by appends or straight into the assembler's room, with and without memory
// offered for a large body), packet validation under both length rules,
// unwrapping, the simulator's packet splitter and the reply parsers. Any
// crash, out-of-bounds read or oversized allocation is a finding.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <sys/mman.h>

#include "transport/bcp_packet.h"
#include "transport/packet_assembler.h"
#include "transport/reply_destination.h"
#include "transport/reply_parser.h"

namespace bcp = vireo2::bcp;

namespace {

// Offers one lazily mapped region as large as the largest body, as a host's
// result pages are: a hostile length field costs address space, not memory.
class OfferedRegion : public vireo2::ReplyDestination {
public:
    char* reserve(qint64 bytes) override
    {
        static const qint64 size = qint64(bcp::kMaxPayload) + 2 * bcp::PacketAssembler::kSurplusLook;
        static char* region = static_cast<char*>(
            mmap(nullptr, size_t(size), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
        if (bytes > size || region == MAP_FAILED)
            __builtin_trap();
        return region;
    }
};

void reassemble(const QByteArray& input, bool skipNoise, bool offer)
{
    OfferedRegion offered;
    bcp::PacketAssembler assembler;
    assembler.reset(skipNoise);
    if (offer)
        assembler.offer(&offered);
    // The first byte chooses the chunk size, as TCP segments would vary, and
    // whether a chunk is read into the room (as the socket reads a body).
    const unsigned char choice = input.isEmpty() ? 0 : static_cast<unsigned char>(input.at(0));
    const int chunk = 1 + choice % 64;
    for (int offset = 0; offset < input.size(); offset += chunk) {
        const int count = qMin(chunk, input.size() - offset);
        bcp::PacketAssembler::State state;
        if ((choice & 0x40) && assembler.headerComplete()) {
            std::memcpy(assembler.room(count + (choice & 0x80 ? bcp::PacketAssembler::kSurplusLook : 0)),
                        input.constData() + offset, size_t(count));
            state = assembler.commit(count);
        } else {
            state = assembler.append(input.constData() + offset, count);
        }
        if (state != bcp::PacketAssembler::State::Incomplete)
            break;
    }
    const QByteArray body(assembler.bodyData(), int(assembler.bodySize()));
    QByteArray packet = assembler.packet();
    if (packet != assembler.header() + body)
        __builtin_trap();
    if (bcp::validate(assembler.header(), body, bcp::LengthRule::Exact) != bcp::validate(packet, bcp::LengthRule::Exact))
        __builtin_trap();
    if (packet.size() > qint64(bcp::kMaxPayload) + bcp::kOverhead + input.size())
        __builtin_trap();
    for (const auto rule : {bcp::LengthRule::Exact, bcp::LengthRule::AtMost}) {
        QByteArray copy = packet;
        if (bcp::validate(copy, rule) == bcp::Validity::Valid) {
            bcp::unwrap(copy);
            vireo2::ParseStatus(copy);
            vireo2::ResponseValue(copy);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray input(reinterpret_cast<const char*>(data), int(size));
    for (const bool offer : {false, true}) {
        reassemble(input, true, offer);
        reassemble(input, false, offer);
    }

    QByteArray stream = input;
    QByteArray payload;
    while (bcp::takePacket(stream, payload)) {
    }

    qint32 status = 0;
    qint32 delay = 0;
    qint32 wait = 0;
    vireo2::reply::parseProgress(input, &status, &delay, &wait);
    vireo2::reply::decimalStatusWord(input.split(' '));
    return 0;
}
