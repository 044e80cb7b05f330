#pragma once

#include <QString>
#include <QVector>
#include <array>

namespace vireo2::cli {

// One sample of a measurement data file: its id, an optional name, its
// L*a*b* under the table's illuminant and its reflectance spectrum.
struct CgatsSample {
    QString id;                 // SAMPLE_ID
    QString name;               // SAMPLE_NAME; the column exists when any sample has a name
    std::array<double, 3> lab{}; // LAB_L, LAB_A, LAB_B
    QVector<double> percent;    // SPEC_<nm>: reflectance in percent, one per wavelength
    int reading = 0;            // READING: its number in its run; the column exists when any sample has a time
    QString time;               // TIME: when it was read, "yyyy-MM-dd HH:mm:ss" local time
};

// A CGATS.17 measurement data table as colour-management tools read it:
// SAMPLE_ID, optional SAMPLE_NAME, LAB_L/A/B, then SPEC_400 ... SPEC_700.
struct CgatsTable {
    QString descriptor;          // DESCRIPTOR: what was measured
    QString illuminant = QStringLiteral("D50");
    QString observer = QStringLiteral("2");
    QString condition;           // measurement condition (M0..M3), may be empty
    QString kind;                // what the rows are: "spot" readings or "strip" patches; may be empty
    QVector<int> wavelengths;    // nm, one per spectral column
    QVector<CgatsSample> samples;
};

// Writes the table to `path`, replacing the file. Returns an empty text on
// success, else what went wrong.
QString writeCgats(const CgatsTable& table, const QString& path);

// Reads a file written by writeCgats (or any CGATS file with LAB_L/A/B and
// SPEC_<nm> columns). Returns an empty text on success.
QString readCgats(const QString& path, CgatsTable* table);

// Adds the table's samples to `path`. When the file exists, its samples are
// kept and numeric ids continue after its last one, so several strips or runs
// collect in one file. A file whose rows are of another kind, condition or
// illuminant/observer, or have other columns, is refused and left as it
// was: its header would otherwise stop describing its rows. Returns an
// empty text on success.
QString appendCgats(CgatsTable table, const QString& path);

// Whether samples of `table`'s kind, condition and illuminant/observer may
// be appended to `path` (absent, or holding the same): an empty text when
// they may, else why not. Checked before the instrument measures.
QString checkCgatsAppend(const CgatsTable& table, const QString& path);

// "spot readings of M1 under D50/2" (for messages).
QString describeTable(const CgatsTable& table);

} // namespace vireo2::cli
