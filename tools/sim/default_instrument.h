#pragma once

#include <QString>
#include <memory>

#include "instrument_model.h"

namespace vireo2::sim {

// What the simulated instrument reports about itself and how it behaves at
// start. Every field can also be changed later through the control interface
// (docs/simulator.md).
struct DefaultInstrumentOptions {
    QString productName = QStringLiteral("Hueron Vireo2");
    QString firmwareVersion = QStringLiteral("0.5.398");
    // Shown in "version get" between the product name and the firmware.
    QString edition = QStringLiteral("Plus");
    QString serialNumber = QStringLiteral("2025VR2041217X");
    QString plaqueSerial = QStringLiteral("HUGA-58812");
    QString deviceName = QStringLiteral("Vireo2 Lab");
    // Answer to "oem get identifier".
    QString oemIdentifier = QStringLiteral("HUERON-OEM-7731");
    QString aperture = QStringLiteral("4.0mm");
    bool polarizer = true;
    // A fresh instrument needs calibrating before it measures.
    bool calibrated = false;
    // A calibration stays valid this long (0: for ever).
    int calibrationLifetimeS = 8 * 3600;
    // How long a reading takes; "Meas Run" answers "in progress" meanwhile.
    int measurementMs = 300;
    // How long waking from sleep takes.
    int wakeMs = 150;
    // The instrument dozes off after this long without a reading (0: never).
    int dozeAfterMs = 0;
    // Largest deviation of a reading from the reference spectrum.
    double noise = 0.0005;
    // The sample under the instrument: a name ("TCS01" ... "TCS14",
    // "OBA-WHITE") or "cycle" for the next sample at every reading.
    QString sample = QStringLiteral("cycle");
    // Battery charge in percent, and whether the charger is connected.
    int batteryPercent = 87;
    bool charging = false;
};

// The simulated Vireo2: identification, calibration, measurement with four
// measurement conditions, readings taken with the instrument's own button,
// the power state, the correction-profile switch, and the housekeeping
// commands (clock, device name, tools, tethered screen, battery).
class TrackRig;
// `rig` is shared with a simulated track (createTrack) so that the
// instrument reads the sheet under the moving head.
std::unique_ptr<InstrumentModel> createDefaultInstrument(const DefaultInstrumentOptions& options = {},
                                                         std::shared_ptr<TrackRig> rig = nullptr);
// The TR3 track moving the head over the rig's sheet.
std::unique_ptr<InstrumentModel> createTrack(std::shared_ptr<TrackRig> rig);

} // namespace vireo2::sim
