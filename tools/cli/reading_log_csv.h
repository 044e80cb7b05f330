#pragma once

#include <QString>

#include "measurement.h"

namespace vireo2::cli {

// Appends one row per condition of `reading` to a CSV file that collects a
// day's readings: id, time, illuminant, condition, X, Y, Z, L*, a*, b* and
// the 31 reflectances in percent. A new file gets the header row first; the
// id continues after the last id in the file. Empty text on success.
QString appendReadingCsv(const QString& path, const Measurement& reading);

// Whether readings under `illuminantIndex` may be appended to `path`: an
// empty text when the file is absent or empty, or is such a log whose rows
// are under the same illuminant/observer; else why not. Checked before the
// instrument measures, so a run never ends in a file of mixed readings.
QString checkReadingCsv(const QString& path, int illuminantIndex);

} // namespace vireo2::cli
