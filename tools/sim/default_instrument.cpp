#include "default_instrument.h"

#include "instrument_vireo2.h"
#include "track_model.h"

namespace vireo2::sim {

std::unique_ptr<InstrumentModel> createDefaultInstrument(const DefaultInstrumentOptions& options,
                                                         std::shared_ptr<TrackRig> rig)
{
    return std::make_unique<SimulatedVireo2>(options, std::move(rig));
}

std::unique_ptr<InstrumentModel> createTrack(std::shared_ptr<TrackRig> rig)
{
    return std::make_unique<SimulatedTrack>(std::move(rig));
}

} // namespace vireo2::sim
