// Feeds arbitrary data to the streamed-scan path. The first input byte
// chooses:
//   even: the rest is the JSON of a 0x90 packet, read by the packet parser
//         and handed twice to a fresh scanning engine (so the checks across
//         packets, a packet received again, run too);
//   odd:  the rest is the instrument's whole reply to "Scan Get Refls",
//         sent by the simulator in this process over a real TCP connection
//         and read by the device's streamed-data poll (status, packet, the
//         failure routine and its abort).
#include <cstddef>
#include <cstdint>
#include <memory>

#include "fuzz_support.h"
#include "scanning/scan_host.h"
#include "scanning/stream_packets.h"
#include "scanning/vireo2_scanning.h"
#include "settings/log_helper.h"
#include "sim_server.h"
#include "transport/reply_parser.h"

namespace {

using vireo2::sim::Fault;

class EngineHost : public vireo2::ScanHost {
public:
    vireo2::LogHelper& log() override { return log_; }
    int scanAbort() override { return 1; }

private:
    vireo2::LogHelper log_;
};

class ExposedDevice : public vireo2::Vireo2 {
public:
    using Vireo2::pollStreamedData;
};

struct Bench {
    vireo2::sim::SimServer sim;
    std::unique_ptr<ExposedDevice> device;
    int runs = 0;

    Bench()
    {
        vireo2::fuzz::privateFolder();
        sim.start();
        fresh();
    }

    // Now and then a new device: its engine's readings would otherwise pile
    // up to the limit and every later packet would be refused for that alone.
    void fresh()
    {
        if (device)
            device->Disconnect();
        device = vireo2::fuzz::deviceFor<ExposedDevice>(sim);
    }

    void ensureConnected()
    {
        if (++runs % 500 == 0)
            fresh();
        if (device->isPortValid())
            return;
        device->Disconnect();
        device->Connect();
        device->SetConfiguration(QStringLiteral("STOP_POLL"));
    }
};

void readPacket(const QByteArray& json)
{
    static EngineHost host;
    vireo2::StreamPacket packet;
    QString error;
    vireo2::parseStreamPacket(json, &packet, &error);
    vireo2::Vireo2Scanning engine(&host);
    engine.setState(vireo2::Vireo2Scanning::kScanning);
    engine.beginAcquisition();
    engine.acceptStreamPacket(json);
    engine.acceptStreamPacket(json);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    vireo2::fuzz::privateFolder();
    const QByteArray rest(reinterpret_cast<const char*>(data + 1), int(size - 1));
    if (data[0] % 2 == 0) {
        readPacket(rest);
        return 0;
    }
    // A reply announcing an operation in progress makes the exchange wait
    // as long as it asks (bounded, tested elsewhere): only the clock.
    qint32 status = 0, delayMs = 0, waitMs = 0;
    if (vireo2::reply::parseProgress(rest, &status, &delayMs, &waitMs) >= 2 && status == 5)
        return 0;
    static Bench bench;
    bench.ensureConnected();
    bench.sim.faults().add(Fault::on("Scan Get Refls").replying(rest));
    bench.device->pollStreamedData(data[0] % 4 == 3);
    bench.sim.faults().clear();
    return 0;
}
