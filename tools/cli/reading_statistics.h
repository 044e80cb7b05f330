#pragma once

#include <QString>
#include <QVector>

#include "measurement.h"

namespace vireo2::cli {

// Mean and sample standard deviation of every value of several readings:
// each condition's 31 reflectances and its L*, a*, b*. `mean` is a reading
// of its own (its colour values computed from the mean spectrum), so it
// prints, compares and saves like any other.
struct ReadingStatistics {
    int count = 0;
    Measurement mean;
    QVector<QVector<double>> percentSd; // [condition][wavelength]
    QVector<std::array<double, 3>> labSd; // [condition] over the readings' own L*a*b*
};

// The readings must have the same conditions; empty text on success.
QString readingStatistics(const QVector<Measurement>& readings, ReadingStatistics* statistics);

// For people: mean ± standard deviation per wavelength and per colour value.
QString statisticsTable(const ReadingStatistics& statistics);

} // namespace vireo2::cli
