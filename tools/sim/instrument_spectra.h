#pragma once

#include <QList>
#include <QString>
#include <QVector>
#include <optional>

namespace vireo2::sim {

// The spectral grid of the instrument: 31 values, 400 to 700 nm in 10 nm steps.
constexpr int kBandCount = 31;
constexpr int kFirstBandNm = 400;
constexpr int kBandStepNm = 10;

// A surface the simulated instrument can be put on.
struct ReferenceSample {
    QString name;
    QVector<double> reflectance;  // kBandCount values
    // Strength of the blue emission of optical brighteners excited by UV
    // (0 for surfaces without brighteners).
    double fluorescence = 0.0;
};

// The measurement conditions the instrument reports.
enum class Condition { M0 = 0, M1 = 1, M2 = 2, M3 = 3 };

// A set of reference samples. The built-in set holds the fourteen CIE test
// colour samples TCS01 to TCS14 and a brightened white paper "OBA-WHITE".
class SampleLibrary {
public:
    static SampleLibrary builtIn();

    // Reads a spectral data file in the text format of colour-measurement
    // exchange files (SPECTRAL_START_NM, SPECTRAL_END_NM, SPECTRAL_BANDS, then
    // the rows between BEGIN_DATA and END_DATA: a name followed by one value
    // per band), resampled to the instrument's grid.
    static std::optional<SampleLibrary> fromSpectralFile(const QString& path, QString* error);

    int size() const { return samples_.size(); }
    const ReferenceSample& at(int index) const { return samples_.at(index); }
    // Index of a sample by name (ignoring case), or -1.
    int indexOf(const QString& name) const;
    QStringList names() const;

private:
    QList<ReferenceSample> samples_;
};

// What the instrument reads from `sample` under `condition`:
//   M0  illuminant A: little UV, so brighteners glow weakly;
//   M1  daylight with UV: brighteners glow fully;
//   M2  UV cut off: no brightener emission;
//   M3  M1 through crossed polarisers: the first-surface reflection is
//       removed, so dark colours read darker (values may go below zero).
// Each value carries repeatable noise of at most `noise` (same `seed`, same
// numbers).
QVector<double> measuredSpectrum(const ReferenceSample& sample, Condition condition, quint64 seed, double noise);

} // namespace vireo2::sim
