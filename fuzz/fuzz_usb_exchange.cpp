// Plays the instrument to the USB transport through the libusb functions of
// the test device (tests/transport/fake_libusb.cpp, linked instead of
// libusb): a reply packet with bytes before and after it, cut into bulk
// reads, with stale bytes waiting from an earlier command. The transport
// must drain the stale bytes, validate each read with the USB length rule
// (a packet followed by surplus bytes), unwrap and parse it, or fail with an
// error. Input: byte 0 the size of the pieces (0: one read), then the reply
// payload, the bytes after it, the bytes before it and the stale bytes, cut
// at 0x1E.
#include <cstddef>
#include <cstdint>

#include "default_instrument.h"
#include "fake_libusb.h"
#include "fuzz_support.h"
#include "transport/reply_parser.h"
#include "transport/usb_transport.h"

namespace {

constexpr quint16 kProduct = 0x30E1;

struct Bench {
    vireo2::test::FakeUsbDevice& device = vireo2::test::FakeUsbDevice::instance();
    std::unique_ptr<vireo2::USB> usb;

    Bench()
    {
        vireo2::fuzz::privateFolder();
        usb = std::make_unique<vireo2::USB>();
        device.reset(vireo2::sim::createDefaultInstrument(), usb->defaultVendorId(), kProduct);
        usb->OpenPort("30E1");
    }
};

// "WORD 0x05 DELAY WAIT" makes the exchange wait as long as it announces;
// that bound is tested on its own.
bool announcesProgress(const QByteArray& payload)
{
    const QList<QByteArray> words = payload.split(' ');
    return words.size() == 4 && vireo2::reply::decimalStatusWord(words) == 5;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static Bench bench;
    if (size < 1)
        return 0;
    const QList<QByteArray> parts = QByteArray(reinterpret_cast<const char*>(data + 1), int(size - 1)).split('\x1e');
    const QByteArray payload = parts.value(0);
    if (announcesProgress(payload))
        return 0;
    bench.device.clearCalls();
    bench.device.engine().faults().clear();
    // Pieces an earlier input left on the endpoint would pile up over a run.
    for (QByteArray left; bench.usb->Receive(left, 1) > 0;) {
    }
    vireo2::sim::Fault fault = vireo2::sim::Fault::on("probe").replying(payload).withGarbage(parts.value(2), parts.value(1));
    if (data[0] != 0)
        fault.splitInto({int(data[0])});
    bench.device.engine().faults().add(fault);
    if (!parts.value(3).isEmpty())
        bench.device.queueIn(parts.value(3));
    QByteArray reply;
    if (bench.usb->SendReceive("probe", reply, 50, 0)) {
        vireo2::ParseStatus(reply);
        vireo2::ResponseValue(reply);
    }
    return 0;
}
