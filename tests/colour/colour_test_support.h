#pragma once

#include <array>

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

// 100 % at one position, 0 elsewhere.
inline Spectrum spikeSpectrum(int position, double percent = 100.0)
{
    Spectrum spectrum = flatSpectrum(0.0);
    spectrum[position] = percent;
    return spectrum;
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

// Path of a file under data/colour in the source tree.
inline QString colourDataFile(const char* name)
{
    return QString::fromUtf8(VIREO2_SOURCE_DIR) + QStringLiteral("/data/colour/") + QString::fromUtf8(name);
}

}  // namespace vireo2::colour::test
