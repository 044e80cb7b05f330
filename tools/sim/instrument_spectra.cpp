#include "instrument_spectra.h"

#include <QFile>
#include <QRegularExpression>
#include <QTextStream>
#include <cmath>

namespace vireo2::sim {
namespace {

// CIE test colour samples 1 to 14, spectral reflectance factors at 400, 410,
// ... 700 nm (every second value of the 5 nm table).
struct BuiltInSample {
    const char* name;
    double values[kBandCount];
};

const BuiltInSample kTestColourSamples[] = {
    {"TCS01", {0.26, 0.25, 0.24, 0.24, 0.23, 0.23, 0.22, 0.22, 0.21, 0.22, 0.22, 0.23, 0.23, 0.23, 0.24, 0.25, 0.27, 0.3, 0.34, 0.39, 0.42, 0.44, 0.45, 0.45, 0.45, 0.45, 0.45, 0.45, 0.46, 0.46, 0.46}},
    {"TCS02", {0.11, 0.12, 0.12, 0.12, 0.12, 0.13, 0.13, 0.14, 0.15, 0.17, 0.21, 0.24, 0.26, 0.27, 0.27, 0.28, 0.3, 0.32, 0.34, 0.34, 0.34, 0.34, 0.34, 0.34, 0.34, 0.34, 0.33, 0.33, 0.33, 0.33, 0.33}},
    {"TCS03", {0.07, 0.07, 0.07, 0.07, 0.07, 0.07, 0.08, 0.09, 0.11, 0.15, 0.2, 0.24, 0.28, 0.34, 0.39, 0.4, 0.38, 0.35, 0.32, 0.29, 0.26, 0.25, 0.24, 0.23, 0.22, 0.22, 0.22, 0.23, 0.25, 0.29, 0.34}},
    {"TCS04", {0.12, 0.12, 0.13, 0.14, 0.14, 0.16, 0.19, 0.23, 0.28, 0.33, 0.37, 0.39, 0.4, 0.39, 0.37, 0.34, 0.31, 0.28, 0.25, 0.21, 0.19, 0.17, 0.16, 0.15, 0.15, 0.15, 0.15, 0.15, 0.16, 0.17, 0.17}},
    {"TCS05", {0.31, 0.32, 0.33, 0.33, 0.35, 0.36, 0.38, 0.4, 0.42, 0.42, 0.41, 0.4, 0.39, 0.37, 0.35, 0.33, 0.31, 0.28, 0.26, 0.23, 0.21, 0.19, 0.19, 0.18, 0.18, 0.18, 0.18, 0.18, 0.19, 0.19, 0.2}},
    {"TCS06", {0.41, 0.49, 0.52, 0.53, 0.54, 0.56, 0.55, 0.54, 0.52, 0.49, 0.45, 0.41, 0.38, 0.34, 0.31, 0.28, 0.25, 0.23, 0.23, 0.22, 0.22, 0.22, 0.22, 0.23, 0.24, 0.26, 0.27, 0.28, 0.28, 0.29, 0.3}},
    {"TCS07", {0.55, 0.56, 0.56, 0.56, 0.54, 0.52, 0.49, 0.45, 0.41, 0.36, 0.32, 0.3, 0.28, 0.27, 0.26, 0.26, 0.26, 0.26, 0.25, 0.27, 0.3, 0.34, 0.38, 0.4, 0.42, 0.44, 0.45, 0.46, 0.47, 0.47, 0.48}},
    {"TCS08", {0.32, 0.46, 0.49, 0.48, 0.46, 0.44, 0.41, 0.38, 0.35, 0.33, 0.3, 0.28, 0.27, 0.26, 0.25, 0.25, 0.26, 0.27, 0.28, 0.3, 0.35, 0.43, 0.53, 0.6, 0.65, 0.68, 0.69, 0.71, 0.71, 0.72, 0.72}},
    {"TCS09", {0.052, 0.051, 0.050, 0.048, 0.046, 0.042, 0.038, 0.033, 0.030, 0.028, 0.028, 0.030, 0.031, 0.032, 0.033, 0.035, 0.041, 0.048, 0.060, 0.102, 0.190, 0.336, 0.505, 0.641, 0.717, 0.758, 0.781, 0.797, 0.809, 0.819, 0.828}},
    {"TCS10", {0.07, 0.07, 0.07, 0.07, 0.08, 0.08, 0.1, 0.11, 0.14, 0.19, 0.26, 0.37, 0.47, 0.55, 0.61, 0.65, 0.68, 0.69, 0.7, 0.71, 0.71, 0.71, 0.71, 0.71, 0.71, 0.72, 0.72, 0.73, 0.73, 0.74, 0.75}},
    {"TCS11", {0.13, 0.12, 0.11, 0.1, 0.11, 0.11, 0.12, 0.15, 0.19, 0.25, 0.33, 0.36, 0.35, 0.31, 0.27, 0.23, 0.19, 0.15, 0.13, 0.11, 0.1, 0.09, 0.09, 0.08, 0.08, 0.08, 0.08, 0.09, 0.1, 0.13, 0.16}},
    {"TCS12", {0.08, 0.06, 0.08, 0.12, 0.21, 0.3, 0.35, 0.34, 0.31, 0.26, 0.2, 0.15, 0.11, 0.08, 0.05, 0.04, 0.03, 0.02, 0.02, 0.02, 0.02, 0.02, 0.02, 0.02, 0.02, 0.02, 0.02, 0.03, 0.04, 0.06, 0.1}},
    {"TCS13", {0.26, 0.34, 0.36, 0.36, 0.37, 0.37, 0.38, 0.38, 0.4, 0.42, 0.44, 0.46, 0.47, 0.47, 0.48, 0.51, 0.55, 0.62, 0.68, 0.72, 0.74, 0.75, 0.75, 0.75, 0.75, 0.75, 0.75, 0.75, 0.75, 0.75, 0.75}},
    {"TCS14", {0.04, 0.04, 0.04, 0.04, 0.04, 0.05, 0.05, 0.05, 0.06, 0.06, 0.08, 0.09, 0.11, 0.13, 0.15, 0.16, 0.15, 0.13, 0.12, 0.11, 0.1, 0.09, 0.09, 0.09, 0.08, 0.08, 0.09, 0.09, 0.1, 0.12, 0.15}},
};

// A white office paper with optical brighteners: high, nearly flat
// reflectance with the usual dip towards the violet end.
ReferenceSample brightenedPaper()
{
    ReferenceSample paper;
    paper.name = QStringLiteral("OBA-WHITE");
    for (int i = 0; i < kBandCount; ++i) {
        const double nm = kFirstBandNm + kBandStepNm * i;
        paper.reflectance.append(0.91 - 0.11 * std::exp(-(nm - 400.0) / 25.0));
    }
    paper.fluorescence = 0.12;
    return paper;
}

// Emission of the brighteners: a blue band around 440 nm.
double brightenerEmission(double nm)
{
    const double x = (nm - 440.0) / 22.0;
    return std::exp(-x * x);
}

// Share of the UV excitation each condition's illuminant provides.
double excitation(Condition condition)
{
    switch (condition) {
    case Condition::M0: return 0.35;
    case Condition::M1: return 1.0;
    case Condition::M2: return 0.0;
    case Condition::M3: return 1.0;
    }
    return 0.0;
}

// First-surface reflection removed by the polarisers.
constexpr double kSurfaceReflection = 0.02;

// Repeatable noise in [-1, 1] from a 64-bit mix of the inputs.
double unitNoise(quint64 seed, int condition, int band)
{
    quint64 z = seed * 0x9E3779B97F4A7C15ull + quint64(condition) * 0xBF58476D1CE4E5B9ull + quint64(band) + 1;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    z ^= z >> 31;
    return double(z >> 11) / double(1ull << 53) * 2.0 - 1.0;
}

// Linear interpolation of a spectrum sampled from `startNm` every `stepNm`.
double resample(const QVector<double>& values, double startNm, double stepNm, double nm)
{
    const double position = (nm - startNm) / stepNm;
    if (position <= 0)
        return values.first();
    if (position >= values.size() - 1)
        return values.last();
    const int below = int(position);
    const double t = position - below;
    return values.at(below) * (1 - t) + values.at(below + 1) * t;
}

} // namespace

SampleLibrary SampleLibrary::builtIn()
{
    SampleLibrary library;
    for (const BuiltInSample& entry : kTestColourSamples) {
        ReferenceSample sample;
        sample.name = QString::fromLatin1(entry.name);
        for (double value : entry.values)
            sample.reflectance.append(value);
        library.samples_.append(sample);
    }
    library.samples_.append(brightenedPaper());
    return library;
}

std::optional<SampleLibrary> SampleLibrary::fromSpectralFile(const QString& path, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        *error = QStringLiteral("cannot open %1").arg(path);
        return std::nullopt;
    }
    const QRegularExpression blanks(QStringLiteral("\\s+"));
    double startNm = 0, endNm = 0;
    int bands = 0;
    bool inData = false;
    SampleLibrary library;
    QTextStream in(&file);
    while (!in.atEnd()) {
        const QStringList fields = in.readLine().trimmed().split(blanks, Qt::SkipEmptyParts);
        if (fields.isEmpty())
            continue;
        const QString& key = fields.first();
        if (key == QLatin1String("SPECTRAL_START_NM"))
            startNm = fields.value(1).toDouble();
        else if (key == QLatin1String("SPECTRAL_END_NM"))
            endNm = fields.value(1).toDouble();
        else if (key == QLatin1String("SPECTRAL_BANDS"))
            bands = fields.value(1).toInt();
        else if (key == QLatin1String("BEGIN_DATA"))
            inData = true;
        else if (key == QLatin1String("END_DATA"))
            inData = false;
        else if (inData) {
            if (bands < 2 || endNm <= startNm || fields.size() < bands + 1) {
                *error = QStringLiteral("%1: data row %2 does not match the spectral header").arg(path, key);
                return std::nullopt;
            }
            QVector<double> values;
            for (int i = 1; i <= bands; ++i) {
                bool ok = false;
                values.append(fields.at(i).toDouble(&ok));
                if (!ok) {
                    *error = QStringLiteral("%1: %2 is not a number in row %3").arg(path, fields.at(i), key);
                    return std::nullopt;
                }
            }
            const double stepNm = (endNm - startNm) / (bands - 1);
            ReferenceSample sample;
            sample.name = key;
            for (int band = 0; band < kBandCount; ++band)
                sample.reflectance.append(resample(values, startNm, stepNm, kFirstBandNm + kBandStepNm * band));
            library.samples_.append(sample);
        }
    }
    if (library.samples_.isEmpty()) {
        *error = QStringLiteral("%1: no spectral data").arg(path);
        return std::nullopt;
    }
    return library;
}

int SampleLibrary::indexOf(const QString& name) const
{
    for (int i = 0; i < samples_.size(); ++i) {
        if (samples_.at(i).name.compare(name, Qt::CaseInsensitive) == 0)
            return i;
    }
    return -1;
}

QStringList SampleLibrary::names() const
{
    QStringList list;
    for (const ReferenceSample& sample : samples_)
        list << sample.name;
    return list;
}

QVector<double> measuredSpectrum(const ReferenceSample& sample, Condition condition, quint64 seed, double noise)
{
    QVector<double> values;
    values.reserve(kBandCount);
    for (int band = 0; band < kBandCount; ++band) {
        const double nm = kFirstBandNm + kBandStepNm * band;
        double value = sample.reflectance.value(band) +
                       excitation(condition) * sample.fluorescence * brightenerEmission(nm);
        if (condition == Condition::M3)
            value -= kSurfaceReflection;
        values.append(value + noise * unitNoise(seed, int(condition), band));
    }
    return values;
}

} // namespace vireo2::sim
