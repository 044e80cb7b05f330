// Feeds arbitrary command lines to Execute's dispatcher on a device without
// an instrument: the line splitting, the word table, argument checks and
// every handler that runs without the instrument. A crash, an out-of-bounds
// read or a hang is a finding.
#include <cstddef>
#include <cstdint>
#include <memory>

#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    vireo2::fuzz::privateFolder();
    static auto device = std::make_unique<vireo2::fuzz::DeviceWithoutInstrument>();
    const QString input = vireo2::fuzz::text(data, size);
    // Long operations ("start ...") run on a worker thread; one line at a
    // time keeps the run repeatable, so lines that start one are tried as
    // the dispatcher's argument check sees them, not run.
    if (input.contains(QLatin1String("start"), Qt::CaseInsensitive))
        return 0;
    for (const QString& line : input.split(QLatin1Char('\n')))
        device->Execute(line);
    return 0;
}
