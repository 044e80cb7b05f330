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

// XYZ under D65 (Y = 100 for white) as an sRGB hex text.
QString hexOfXyzD65(const double xyz[3])
{
    const double X = xyz[0] / 100.0, Y = xyz[1] / 100.0, Z = xyz[2] / 100.0;
    // XYZ (D65) to linear sRGB, IEC 61966-2-1.
    const double linear[3] = {3.2406 * X - 1.5372 * Y - 0.4986 * Z, -0.9689 * X + 1.8758 * Y + 0.0415 * Z,
                              0.0557 * X - 0.2040 * Y + 1.0570 * Z};
    QString hex = QStringLiteral("#");
    for (double channel : linear)
        hex += QStringLiteral("%1").arg(int(std::lround(encode(channel) * 255.0)), 2, 16, QLatin1Char('0'));
    return hex;
}

} // namespace

QString srgbHexOfSpectrum(const QVector<double>& percent)
{
    double xyz[3] = {0.0, 0.0, 0.0};
    if (percent.size() != 31 || !Vireo2_SpectrumToXYZ(percent.constData(), kD65TwoDegree, xyz))
        return QStringLiteral("#808080");
    return hexOfXyzD65(xyz);
}

QString srgbHexOfLab(const std::array<double, 3>& lab)
{
    // L*a*b* to XYZ against the D50 white (CIE 15 inverse).
    const double white[3] = {96.422, 100.0, 82.521};
    const double fy = (lab[0] + 16.0) / 116.0;
    const double f[3] = {fy + lab[1] / 500.0, fy, fy - lab[2] / 200.0};
    double d50[3];
    for (int i = 0; i < 3; ++i) {
        const double cube = f[i] * f[i] * f[i];
        d50[i] = white[i] * (cube > 0.008856 ? cube : (f[i] - 16.0 / 116.0) / 7.787);
    }
    // Bradford adaptation D50 to D65.
    const double xyz[3] = {0.9555766 * d50[0] - 0.0230393 * d50[1] + 0.0631636 * d50[2],
                           -0.0282895 * d50[0] + 1.0099416 * d50[1] + 0.0210077 * d50[2],
                           0.0122982 * d50[0] - 0.0204830 * d50[1] + 1.3299098 * d50[2]};
    return hexOfXyzD65(xyz);
}

} // namespace vireo2::cli
