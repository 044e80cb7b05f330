#pragma once

#include <QString>
#include <QVector>
#include <array>

namespace vireo2::cli {

// The colour of a reflectance spectrum (percent) as an sRGB hex text
// ("#a1b2c3") for swatches: CIE XYZ under D65/2 (sRGB's own white), the
// sRGB matrix and transfer curve, out-of-gamut values clipped.
QString srgbHexOfSpectrum(const QVector<double>& percent);

// The same for a CIE L*a*b* colour under D50/2: XYZ, Bradford adaptation to
// D65, then sRGB.
QString srgbHexOfLab(const std::array<double, 3>& lab);

} // namespace vireo2::cli
