// Feeds arbitrary bytes as "spot.csv", the stored reading that stands in
// for a measurement without an instrument, and reads every value back.
#include <QFile>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    vireo2::fuzz::privateFolder();
    static auto device = std::make_unique<vireo2::fuzz::DeviceWithoutInstrument>();
    QFile file(QStringLiteral("spot.csv"));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return 0;
    file.write(reinterpret_cast<const char*>(data), qint64(size));
    file.close();
    device->Measure();
    for (int set = -1; set <= 5; ++set) {
        for (int band = -1; band <= 32; ++band)
            device->GetSpectralData(set, band);
        float values[40];
        device->copySpectralSet(set, values, 40);
    }
    device->IsDataReady();
    return 0;
}
