#pragma once

#include <QString>
#include <QVector>
#include <array>

#include "instrument_info.h"

namespace vireo2::cli {

// One measurement condition (M0..M3) of a reading.
struct ConditionReading {
    QString name;
    QVector<double> percent;     // reflectance in percent, one per wavelength
    std::array<double, 5> lch{}; // CIE L*, a*, b*, C*, h under the chosen illuminant
};

// The last reading of the instrument, as the library stores it.
struct Measurement {
    InstrumentInfo instrument;
    int illuminant = 0;
    QVector<int> wavelengths; // nm
    QVector<ConditionReading> conditions;

    // Reads every condition's spectrum from the library and computes its
    // colour values. Returns an empty text on success, else what went wrong.
    QString readFromLibrary(int illuminantIndex);
};

// The library hands out reflectance factors (1.0 = the white standard); the
// colour functions, tables and charts work in percent.
double factorToPercent(float factor);

} // namespace vireo2::cli
