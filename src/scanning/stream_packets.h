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
struct StreamPacket {
    int sequence = -1;
    ScanRecordList readings;
};

// False, with `error` set, for anything but a packet of that form.
bool parseStreamPacket(const QByteArray& json, StreamPacket* packet, QString* error);

} // namespace vireo2
