#pragma once

#include <QString>
#include <QVector>

#include "measurement.h"

namespace vireo2::cli {

// Every reading of a file that vireo2 writes, whichever it is:
// `measure --json` (one reading or a run), `measure --cgats`, the
// `measure --append` CSV log, `measure --csv`, and `scan --json`, `--csv`
// and `--cgats` (each patch a reading). Each reading's colour values are
// computed under `illuminantIndex`. `kind` tells "spot" or "strip".
// Empty text on success.
QString loadReadings(const QString& path, int illuminantIndex, QVector<Measurement>* readings, QString* kind);

} // namespace vireo2::cli
