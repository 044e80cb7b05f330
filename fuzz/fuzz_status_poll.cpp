// Plays the instrument to the background status check: the button report,
// "meas done?" and the readout of a reading taken at the instrument,
// "scan done?" and the read-back of a hand scan ("scan get patchrecrefls",
// JSON after the first "|"). The input scripts the replies in that order
// (see scripted_instrument.h); the scanned patches and the spectra are then
// read through the exports' own getters.
#include <cstddef>
#include <cstdint>

#include "scripted_instrument.h"

namespace {

const QList<QByteArray> kCommands{
    "button triggered?",       "meas done?",        "measconfig get polarizer", "Meas Get Refls M0",
    "Meas Get Refls M1",       "Meas Get Refls M2", "Meas Get Refls M3",        "scan done?",
    "scan get patchrecrefls",
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static vireo2::fuzz::ScriptedInstrument instrument;
    if (!instrument.ready())
        return 0;
    instrument.script(QByteArray(reinterpret_cast<const char*>(data), int(size)), kCommands, kCommands.size());
    vireo2::Vireo2& device = *instrument.device;
    device.CheckStatus();
    double sum = 0.0;
    for (int set = 0; set < device.GetSpectralSetCount(); ++set)
        for (int i = 0; i < device.GetWavelengthCount(); ++i)
            sum += device.GetSpectralData(set, i);
    const int patches = device.ScanGetCount();
    for (int patch = 0; patch < patches; ++patch)
        device.ScanGetData(patch, 0);
    device.ScanGetStatus();
    device.IsDataReady();
    return sum == sum ? 0 : 0;
}
