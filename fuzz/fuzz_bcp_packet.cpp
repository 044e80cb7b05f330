// Feeds arbitrary bytes to everything that reads what the instrument sends:
// stream reassembly (cut into chunks at positions taken from the input),
// packet validation under both length rules, unwrapping, the simulator's
// packet splitter and the reply parsers. Any crash, out-of-bounds read or
// oversized allocation is a finding.
#include <cstddef>
#include <cstdint>

#include "transport/bcp_packet.h"
#include "transport/packet_assembler.h"
#include "transport/reply_parser.h"

namespace bcp = vireo2::bcp;

namespace {

void reassemble(const QByteArray& input, bool skipNoise)
{
    bcp::PacketAssembler assembler;
    assembler.reset(skipNoise);
    // The first byte chooses the chunk size, as TCP segments would vary.
    const int chunk = input.isEmpty() ? 1 : 1 + static_cast<unsigned char>(input.at(0)) % 64;
    for (int offset = 0; offset < input.size(); offset += chunk) {
        if (assembler.append(input.constData() + offset, qMin(chunk, input.size() - offset))
            != bcp::PacketAssembler::State::Incomplete)
            break;
    }
    QByteArray packet = assembler.packet();
    if (bcp::validate(assembler.header(), assembler.body(), bcp::LengthRule::Exact) != bcp::validate(packet, bcp::LengthRule::Exact))
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
    reassemble(input, true);
    reassemble(input, false);

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
