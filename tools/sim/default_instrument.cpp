#include "default_instrument.h"

#include "instrument_vireo2.h"

namespace vireo2::sim {

std::unique_ptr<InstrumentModel> createDefaultInstrument(const DefaultInstrumentOptions& options)
{
    return std::make_unique<SimulatedVireo2>(options);
}

} // namespace vireo2::sim
