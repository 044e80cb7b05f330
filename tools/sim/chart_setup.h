#pragma once

#include <QString>
#include <memory>

#include "instrument_model.h"
#include "sim_command_line.h"
#include "track_rig.h"

namespace vireo2::sim {

// The track model the command line asks for: the plain track, or with
// --chart the track beside a printed chart (ChartTrack) with its faults.
// Nothing, with `error` set, when the chart or a fault cannot be used.
std::unique_ptr<InstrumentModel> createTrackFor(const SimCommandLine& options, std::shared_ptr<TrackRig> rig,
                                               QString* error);

// --printer-truth: the CGATS text of what the printer's patches measure;
// empty with `error` set on failure.
QByteArray printerTruthFor(const SimCommandLine& options, QString* error);

} // namespace vireo2::sim
