// Feeds arbitrary instrument replies to the code that reads them: the
// identification, the measurement readout (polarizer and reflectance
// replies), the calibration status, button reports and the generic status
// and value parsing of the exchange. The replies come from the simulator in
// this process over a real TCP connection on 127.0.0.1, as well-formed
// packets whose payload is the fuzz input. The first input byte chooses the
// command; polling is stopped so the fuzzer's replies meet only the calls
// made here.
#include <QElapsedTimer>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "fuzz_support.h"
#include "sim_server.h"
#include "transport/reply_parser.h"

namespace {

using vireo2::sim::Fault;

class ExposedDevice : public vireo2::Vireo2 {
public:
    using Vireo2::checkButton;
    using Vireo2::Identify;
    using Vireo2::readMeasurementData;
};

struct Bench {
    vireo2::sim::SimServer sim;
    std::unique_ptr<ExposedDevice> device;

    Bench()
    {
        vireo2::fuzz::privateFolder();
        sim.start();
        device = vireo2::fuzz::deviceFor<ExposedDevice>(sim);
    }

    void ensureConnected()
    {
        if (device->isPortValid())
            return;
        device->Disconnect();
        device->Connect();
        device->SetConfiguration(QStringLiteral("STOP_POLL"));
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static Bench bench;
    if (size < 1)
        return 0;
    bench.ensureConnected();
    const QByteArray reply(reinterpret_cast<const char*>(data + 1), int(size - 1));
    // A reply that announces an operation in progress makes the library wait
    // as long as it asks (bounded at a minute, tested elsewhere); fuzzing
    // those waits would only measure the clock.
    qint32 status = 0, delayMs = 0, waitMs = 0;
    if (vireo2::reply::parseProgress(reply, &status, &delayMs, &waitMs) >= 2 && status == 5)
        return 0;
    auto& device = *bench.device;
    auto answer = [&](const char* command) { bench.sim.faults().add(Fault::on(command).replying(reply)); };
    QByteArray response;
    switch (data[0] % 6) {
    case 0:
        answer("meas get refls");
        device.readMeasurementData();
        break;
    case 1:
        answer("measconfig");
        device.readMeasurementData();
        break;
    case 2:
        answer("cal query status");
        device.GetCalStatus();
        break;
    case 3:
        answer("version");
        device.Identify();
        break;
    case 4:
        answer("button triggered?");
        device.checkButton();
        break;
    default:
        answer("probe");
        device.Transact(QStringLiteral("probe"), response, 1000);
        break;
    }
    bench.sim.faults().clear();
    return 0;
}
