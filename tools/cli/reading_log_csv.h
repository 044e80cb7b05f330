#pragma once

#include <QString>

#include "measurement.h"

namespace vireo2::cli {

// Appends one row per condition of `reading` to a CSV file that collects a
// day's readings: id, time, condition, X, Y, Z, L*, a*, b* and the 31
// reflectances in percent. A new file gets the header row first; the id
// continues after the last id in the file. Empty text on success.
QString appendReadingCsv(const QString& path, const Measurement& reading);

} // namespace vireo2::cli
