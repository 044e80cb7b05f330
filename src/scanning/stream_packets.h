#pragma once

#include <QByteArray>
#include <QString>

#include "scanning/scan_record.h"

namespace vireo2 {

// The readings of one streamed-scan packet, the JSON that follows the first
// 11 characters of a status-0x90 reply to "Scan Get Refls":
//
//   {"seq": 7, "readings": [
//      {"t": 1234.5, "M0": [31 factors], "M1": [...], "M2": [...], "M3": [...]},
//      ...]}
//
// "seq" counts packets from 0 at "Scan Acquire Start"; "t" is the reading's
// time stamp in 2 ms ticks of the track's clock; the spectra are reflectance
// factors, 400 to 700 nm in 10 nm steps, under the condition names the
// instrument uses. A reading may carry fewer conditions (an instrument that
// reports M1 only): its data sets are filled in the order M0..M3 from those
// present. Records get the time stamp and the spectra in percent; positions,
// colour and Ripple are added when the scan ends.
//
// Refused, with the reason in `error`: text that is not such an object, a
// key repeated within one object, a "seq" that is not a whole number from 0
// to 2^31-1, a reading without a finite time stamp or with a spectrum that
// is not 31 numbers from kLowestFactor to kHighestFactor, readings of one
// packet whose time stamps do not rise, and readings whose conditions differ
// from the first reading's.
struct StreamPacket {
    // Reflectance factors beyond these are not readings of a sheet (noise
    // takes a black a little below 0; fluorescent inks reach about 2).
    static constexpr double kLowestFactor = -0.1;
    static constexpr double kHighestFactor = 3.0;

    int sequence = -1;
    // Bit n set: the readings carry condition Mn.
    unsigned conditions = 0;
    ScanRecordList readings;
};

bool parseStreamPacket(const QByteArray& json, StreamPacket* packet, QString* error);

} // namespace vireo2
