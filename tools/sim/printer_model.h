#pragma once

#include <QString>
#include <QStringList>
#include <QVector>
#include <array>
#include <optional>

#include "instrument_spectra.h"

namespace vireo2::sim {

// A simulated printing process: turns device values into the spectrum a
// press would put on paper. CMYK goes through a spectral Yule–Nielsen
// modified Neugebauer model: each ink's coverage is raised by dot gain, the
// Demichel equations weigh the sixteen overprints of paper and inks, and the
// overprints' spectra are mixed in the 1/n power of reflectance, which stands
// for light scattered sideways in the paper under and beside the dots. RGB
// values go through the printer's own separation to CMYK first (the way an
// RGB printer's driver separates), so an RGB chart prints on the same inks.
class PrinterModel {
public:
    struct Process {
        QString name;
        double yuleNielsenN = 1.8;
        std::array<double, 4> dotGain{};   // C, M, Y, K: gain at 50 % coverage
        double inkDensity = 1.0;           // >1: denser inks than the reference set
        double paperTint = 0.0;            // 0: white brightened paper; 1: unbleached newsprint
        double blackReplacement = 0.5;     // RGB separation: share of grey taken by K
    };

    // "offset" (coated paper, the default), "inkjet" (glossy photo paper,
    // dense inks, little gain) and "newsprint" (uncoated, grey, high gain).
    static std::optional<PrinterModel> named(const QString& name);
    static QStringList names();

    const Process& process() const { return process_; }

    // The printed surface for device values in percent (0..100): four for
    // CMYK, three for RGB. Nothing for another channel count.
    std::optional<ReferenceSample> print(const QVector<double>& device) const;
    // The bare paper.
    const ReferenceSample& paper() const { return paper_; }

    // The printer's separation of RGB percentages into CMYK percentages.
    std::array<double, 4> separate(double r, double g, double b) const;

private:
    explicit PrinterModel(const Process& process);
    double gained(int ink, double coverage) const;

    Process process_;
    ReferenceSample paper_;
    // Reflectance of each overprint (bit i set: ink i printed), 1/n power taken.
    std::array<QVector<double>, 16> primaries_;
};

} // namespace vireo2::sim
