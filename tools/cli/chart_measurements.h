#pragma once

#include <QMap>
#include <QString>
#include <QVector>

#include "chart_layout.h"

namespace vireo2::cli::chart {

// The strips read so far: for each strip, the spectrum (percent) of every
// patch in place order, already turned the right way round.
struct ChartReading {
    QString chartDigest;        // SHA-1 of the .ti2 file the strips belong to
    int condition = 1;          // M0..M3
    int illuminant = 4;         // the colour functions' index (D50/2)
    QMap<int, QVector<QVector<double>>> strips;
};

// The progress file beside the output: JSON, replaced after every strip.
QString saveProgress(const ChartReading& reading, const QString& path);
QString loadProgress(const QString& path, ChartReading* reading);
QString fileDigest(const QString& path);

// A CTI3 measurement file as ArgyllCMS's profilers read it: SAMPLE_ID, the
// device values, XYZ_* and LAB_* under the reading's illuminant and the
// spectra, with DEVICE_CLASS, COLOR_REP and the spectral band keywords;
// one row per data patch, in the patch set's order. Written through Little CMS.
QString writeTi3(const Chart& chart, const ChartReading& reading, const QString& path);

} // namespace vireo2::cli::chart
