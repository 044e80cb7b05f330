#pragma once

#include <QString>

#include "cgats_writer.h"
#include "measurement.h"

namespace vireo2::cli {

// The CGATS table of spot readings: one row per reading, of one condition,
// with the reading's number in its run and its time. A profiler reads each
// row as one patch, so a reading is never spread over several rows.
CgatsTable spotReadingTable(int illuminantIndex, const QString& condition);

// Appends `reading`'s `condition` to the spot reading file `path` as reading
// `number`. Empty text on success.
QString appendSpotReading(const QString& path, const Measurement& reading, const QString& condition, int number);

// "yyyy-MM-dd HH:mm:ss" of a reading's time, as the files write it.
QString readingTime(const QDateTime& taken);

} // namespace vireo2::cli
