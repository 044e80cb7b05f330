#include "srgb_colour.h"

#include <algorithm>
#include <cmath>

#include "vireo2_colour.h"

namespace vireo2::cli {

namespace {

constexpr int kD65TwoDegree = 6;

// IEC 61966-2-1 transfer curve of a linear value 0..1.
double encode(double linear)
{
    linear = std::clamp(linear, 0.0, 1.0);
    return linear <= 0.0031308 ? 12.92 * linear : 1.055 * std::pow(linear, 1.0 / 2.4) - 0.055;
}

} // namespace

QString srgbHexOfSpectrum(const QVector<double>& percent)
{
    double xyz[3] = {0.0, 0.0, 0.0};
    if (percent.size() != 31 || !Vireo2_SpectrumToXYZ(percent.constData(), kD65TwoDegree, xyz))
        return QStringLiteral("#808080");
    const double X = xyz[0] / 100.0, Y = xyz[1] / 100.0, Z = xyz[2] / 100.0;
    // XYZ (D65) to linear sRGB, IEC 61966-2-1.
    const double linear[3] = {3.2406 * X - 1.5372 * Y - 0.4986 * Z, -0.9689 * X + 1.8758 * Y + 0.0415 * Z,
                              0.0557 * X - 0.2040 * Y + 1.0570 * Z};
    QString hex = QStringLiteral("#");
    for (double channel : linear)
        hex += QStringLiteral("%1").arg(int(std::lround(encode(channel) * 255.0)), 2, 16, QLatin1Char('0'));
    return hex;
}

} // namespace vireo2::cli
