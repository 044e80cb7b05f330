#pragma once

#include <array>

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

#include "colour/illuminants.h"

namespace vireo2::colour::test {

using Spectrum = std::array<double, kSpectrumLength>;

inline Spectrum flatSpectrum(double percent)
{
    Spectrum spectrum;
    spectrum.fill(percent);
    return spectrum;
}

// `base` with positions first..last set to `percent`.
inline Spectrum withBand(Spectrum base, int first, int last, double percent)
{
    for (int i = first; i <= last; ++i)
        base[i] = percent;
    return base;
}

// A rising and a falling spectrum with a bump at 540-560 nm: far from
// metameric, so the difference between them changes with the illuminant.
inline Spectrum risingSpectrum()
{
    Spectrum spectrum;
    for (int i = 0; i < kSpectrumLength; ++i)
        spectrum[i] = 20.0 + 2.0 * i;
    return spectrum;
}

inline Spectrum fallingBumpSpectrum()
{
    Spectrum spectrum;
    for (int i = 0; i < kSpectrumLength; ++i)
        spectrum[i] = 60.0 - 1.5 * i + (i >= 14 && i <= 16 ? 10.0 : 0.0);
    return spectrum;
}

// A JSON file under data/colour in the source tree (empty when unreadable).
inline QJsonObject colourData(const char* name)
{
    QFile file(QStringLiteral(VIREO2_SOURCE_DIR "/data/colour/") + QString::fromUtf8(name));
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object() : QJsonObject();
}

}  // namespace vireo2::colour::test
