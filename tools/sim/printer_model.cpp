#include "printer_model.h"

#include <algorithm>
#include <cmath>

#include "sheet_model.h"

namespace vireo2::sim {
namespace {

// What every solid overprint keeps however much ink covers it: the light
// reflected by the ink film's surface before it enters the ink.
constexpr double kSurface = 0.004;

double clamp01(double value)
{
    return std::min(1.0, std::max(0.0, value));
}

// Unbleached paper: greyer, yellower and without brighteners.
ReferenceSample newsprint()
{
    ReferenceSample paper;
    paper.name = QStringLiteral("NEWSPRINT");
    for (int i = 0; i < kBandCount; ++i) {
        const double nm = kFirstBandNm + kBandStepNm * i;
        paper.reflectance.append(0.54 + 0.12 / (1.0 + std::exp(-(nm - 470.0) / 30.0)));
    }
    return paper;
}

// An ink's transmittance, from the spectrum of its solid on white paper:
// light crosses the film twice, so the single pass is the square root.
QVector<double> transmittance(const QString& ink, double density)
{
    const ReferenceSample solid = *SheetModel::namedSample(ink);
    QVector<double> t;
    for (double r : solid.reflectance)
        t.append(std::pow(std::sqrt(clamp01(r / 0.9)), density));
    return t;
}

} // namespace

std::optional<PrinterModel> PrinterModel::named(const QString& name)
{
    Process p;
    p.name = name.toLower();
    if (p.name == QLatin1String("offset")) {
        p.yuleNielsenN = 1.8;
        p.dotGain = {0.14, 0.15, 0.13, 0.17};
    } else if (p.name == QLatin1String("inkjet")) {
        p.yuleNielsenN = 1.4;
        p.dotGain = {0.07, 0.08, 0.06, 0.09};
        p.inkDensity = 1.3;
        p.blackReplacement = 0.3;
    } else if (p.name == QLatin1String("newsprint")) {
        p.yuleNielsenN = 2.3;
        p.dotGain = {0.24, 0.26, 0.22, 0.28};
        p.inkDensity = 0.8;
        p.paperTint = 1.0;
        p.blackReplacement = 0.7;
    } else {
        return std::nullopt;
    }
    return PrinterModel(p);
}

QStringList PrinterModel::names()
{
    return {QStringLiteral("offset"), QStringLiteral("inkjet"), QStringLiteral("newsprint")};
}

PrinterModel::PrinterModel(const Process& process) : process_(process)
{
    const SampleLibrary library = SampleLibrary::builtIn();
    paper_ = process.paperTint > 0.0 ? newsprint() : library.at(library.indexOf(QStringLiteral("OBA-WHITE")));
    const QStringList inks{QStringLiteral("cyan"), QStringLiteral("magenta"), QStringLiteral("yellow"),
                           QStringLiteral("black")};
    std::array<QVector<double>, 4> films;
    for (int i = 0; i < 4; ++i)
        films[size_t(i)] = transmittance(inks.at(i), process.inkDensity);
    const double inverseN = 1.0 / process.yuleNielsenN;
    for (int set = 0; set < 16; ++set) {
        QVector<double>& primary = primaries_[size_t(set)];
        for (int band = 0; band < kBandCount; ++band) {
            double r = paper_.reflectance[band];
            if (set != 0) {
                for (int i = 0; i < 4; ++i)
                    if (set & (1 << i))
                        r *= films[size_t(i)][band] * films[size_t(i)][band];
                r = kSurface + (1.0 - kSurface) * r;
            }
            primary.append(std::pow(r, inverseN));
        }
    }
}

double PrinterModel::gained(int ink, double coverage) const
{
    // Dot gain is largest at mid-tones and vanishes at 0 % and 100 %.
    const double a = clamp01(coverage);
    return clamp01(a + 4.0 * process_.dotGain[size_t(ink)] * a * (1.0 - a));
}

std::array<double, 4> PrinterModel::separate(double r, double g, double b) const
{
    const double c = 1.0 - clamp01(r / 100.0), m = 1.0 - clamp01(g / 100.0), y = 1.0 - clamp01(b / 100.0);
    const double grey = std::min({c, m, y});
    // Black comes in gently: light greys stay three-colour, deep ones get K.
    const double k = process_.blackReplacement * grey * grey;
    auto under = [k](double v) { return clamp01((v - k) / (1.0 - k)); };
    return {100.0 * under(c), 100.0 * under(m), 100.0 * under(y), 100.0 * k};
}

std::optional<ReferenceSample> PrinterModel::print(const QVector<double>& device) const
{
    std::array<double, 4> cmyk{};
    if (device.size() == 4)
        std::copy(device.begin(), device.end(), cmyk.begin());
    else if (device.size() == 3)
        cmyk = separate(device[0], device[1], device[2]);
    else
        return std::nullopt;
    std::array<double, 4> a{};
    for (int i = 0; i < 4; ++i)
        a[size_t(i)] = gained(i, cmyk[size_t(i)] / 100.0);
    QVector<double> mixed(kBandCount, 0.0);
    for (int set = 0; set < 16; ++set) {
        double weight = 1.0;
        for (int i = 0; i < 4; ++i)
            weight *= (set & (1 << i)) ? a[size_t(i)] : 1.0 - a[size_t(i)];
        if (weight <= 0.0)
            continue;
        for (int band = 0; band < kBandCount; ++band)
            mixed[band] += weight * primaries_[size_t(set)][band];
    }
    ReferenceSample sample;
    for (double v : mixed)
        sample.reflectance.append(std::pow(v, process_.yuleNielsenN));
    // Ink over the paper absorbs the brighteners' excitation and emission alike.
    constexpr int kBlueBand = 4;  // 440 nm
    sample.fluorescence = paper_.fluorescence * sample.reflectance[kBlueBand] / paper_.reflectance[kBlueBand];
    return sample;
}

} // namespace vireo2::sim
