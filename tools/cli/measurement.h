#pragma once

#include <QDateTime>
#include <QJsonObject>
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
    std::array<double, 3> xyz{}; // CIE X, Y, Z (Y = 100 for white) under the same illuminant

    std::array<double, 3> lab() const { return {lch[0], lch[1], lch[2]}; }
    // Luminance Y, then chromaticity x and y (the Yxy order).
    std::array<double, 3> yxy() const;
};

// The last reading of the instrument, as the library stores it.
struct Measurement {
    InstrumentInfo instrument;
    int illuminant = 0;
    QVector<int> wavelengths; // nm
    QVector<ConditionReading> conditions;
    QDateTime taken; // when the reading arrived, local time
    QString label;   // what a file called it ("reading 3", "S0P5"), may be empty

    // Reads every condition's spectrum from the library and computes its
    // colour values. Returns an empty text on success, else what went wrong.
    QString readFromLibrary(int illuminantIndex);

    // Recomputes every condition's colour values under another
    // illuminant/observer from the stored spectra, without the instrument.
    QString recompute(int illuminantIndex);

    // The condition of that name, or nullptr.
    const ConditionReading* condition(const QString& name) const;
};

// Reads a reading saved by `vireo2 measure --json` (its spectra; the colour
// values are recomputed under `illuminantIndex`). Returns an empty text on
// success.
QString readMeasurementJson(const QByteArray& json, int illuminantIndex, Measurement* measurement);
// The same for one reading's object of such a document.
QString readMeasurementObject(const QJsonObject& object, int illuminantIndex, Measurement* measurement);

// The library hands out reflectance factors (1.0 = the white standard); the
// colour functions, tables and charts work in percent.
double factorToPercent(float factor);

} // namespace vireo2::cli
