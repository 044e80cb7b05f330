#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>

#include "measurement.h"

namespace vireo2::cli {

// For people: wavelength rows by condition columns, then L*, a*, b*, C*, h
// per condition under the measurement's illuminant.
QString measurementTable(const Measurement& measurement);

// One line per condition under a title ("Reading 2"): L*a*b*, XYZ and the
// chromaticity, for runs of several readings.
QString readingSummary(const Measurement& measurement, const QString& title);

// For programs: one JSON object with the instrument, the illuminant and every
// condition's wavelengths, values, lab and lch.
QByteArray measurementJson(const Measurement& measurement);
QJsonObject measurementObject(const Measurement& measurement);

// For spreadsheets: a header row, then one row per wavelength.
QString measurementCsv(const Measurement& measurement);

// The reflectance curves of all conditions as an SVG document.
QByteArray spectrumChartSvg(const Measurement& measurement);

} // namespace vireo2::cli
