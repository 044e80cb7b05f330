#include "colour/colour_difference.h"

#include <algorithm>
#include <cmath>

namespace vireo2::colour {

namespace {

constexpr double kPi = 3.14159265358979323846;

double radians(double degrees) noexcept
{
    return degrees * kPi / 180.0;
}

double degrees(double radians) noexcept
{
    return radians * 180.0 / kPi;
}

double chroma(const double* lab) noexcept
{
    return std::hypot(lab[1], lab[2]);
}

// Hue angle in degrees, 0..360; 0 for a neutral colour.
double hueDegrees(double a, double b) noexcept
{
    if (a == 0.0 && b == 0.0)
        return 0.0;
    const double h = degrees(std::atan2(b, a));
    return h < 0.0 ? h + 360.0 : h;
}

// Squared hue difference of the 1976 space: Da^2 + Db^2 - DC^2, never negative.
double squaredHueDifference(const double* reference, const double* sample) noexcept
{
    const double da = sample[1] - reference[1];
    const double db = sample[2] - reference[2];
    const double dc = chroma(sample) - chroma(reference);
    return std::max(da * da + db * db - dc * dc, 0.0);
}

// CIEDE2000 mean hue of two hue angles (degrees), Sharma, Wu and Dalal eq. 14.
double meanHue(double h1, double h2, double c1c2) noexcept
{
    if (c1c2 == 0.0)
        return h1 + h2;
    if (std::fabs(h1 - h2) <= 180.0)
        return (h1 + h2) / 2.0;
    return h1 + h2 < 360.0 ? (h1 + h2 + 360.0) / 2.0 : (h1 + h2 - 360.0) / 2.0;
}

// CIEDE2000 hue difference h2 - h1 brought into -180..180 (eq. 10).
double hueDelta(double h1, double h2, double c1c2) noexcept
{
    if (c1c2 == 0.0)
        return 0.0;
    const double d = h2 - h1;
    if (d > 180.0)
        return d - 360.0;
    if (d < -180.0)
        return d + 360.0;
    return d;
}

}  // namespace

double DeltaE2000(const double* lab1, const double* lab2, double kL, double kC, double kH) noexcept
{
    const double meanChroma = (chroma(lab1) + chroma(lab2)) / 2.0;
    const double c7 = std::pow(meanChroma, 7.0);
    const double g = 0.5 * (1.0 - std::sqrt(c7 / (c7 + std::pow(25.0, 7.0))));
    const double a1 = (1.0 + g) * lab1[1];
    const double a2 = (1.0 + g) * lab2[1];
    const double c1 = std::hypot(a1, lab1[2]);
    const double c2 = std::hypot(a2, lab2[2]);
    const double h1 = hueDegrees(a1, lab1[2]);
    const double h2 = hueDegrees(a2, lab2[2]);

    const double dL = lab2[0] - lab1[0];
    const double dC = c2 - c1;
    const double dh = hueDelta(h1, h2, c1 * c2);
    const double dH = 2.0 * std::sqrt(c1 * c2) * std::sin(radians(dh / 2.0));

    const double meanL = (lab1[0] + lab2[0]) / 2.0;
    const double meanC = (c1 + c2) / 2.0;
    const double meanH = meanHue(h1, h2, c1 * c2);
    const double t = 1.0 - 0.17 * std::cos(radians(meanH - 30.0)) + 0.24 * std::cos(radians(2.0 * meanH))
                     + 0.32 * std::cos(radians(3.0 * meanH + 6.0)) - 0.20 * std::cos(radians(4.0 * meanH - 63.0));
    const double dTheta = 30.0 * std::exp(-std::pow((meanH - 275.0) / 25.0, 2.0));
    const double meanC7 = std::pow(meanC, 7.0);
    const double rc = 2.0 * std::sqrt(meanC7 / (meanC7 + std::pow(25.0, 7.0)));
    const double l50 = (meanL - 50.0) * (meanL - 50.0);
    const double sl = 1.0 + 0.015 * l50 / std::sqrt(20.0 + l50);
    const double sc = 1.0 + 0.045 * meanC;
    const double sh = 1.0 + 0.015 * meanC * t;
    const double rt = -std::sin(radians(2.0 * dTheta)) * rc;

    const double lTerm = dL / (kL * sl);
    const double cTerm = dC / (kC * sc);
    const double hTerm = dH / (kH * sh);
    return std::sqrt(lTerm * lTerm + cTerm * cTerm + hTerm * hTerm + rt * cTerm * hTerm);
}

double DeltaE94(const double* reference, const double* sample, Cie94Application application) noexcept
{
    const bool textiles = application == Cie94Application::Textiles;
    const double kL = textiles ? 2.0 : 1.0;
    const double k1 = textiles ? 0.048 : 0.045;
    const double k2 = textiles ? 0.014 : 0.015;
    const double referenceChroma = chroma(reference);
    const double lTerm = (sample[0] - reference[0]) / kL;
    const double cTerm = (chroma(sample) - referenceChroma) / (1.0 + k1 * referenceChroma);
    const double sh = 1.0 + k2 * referenceChroma;
    return std::sqrt(lTerm * lTerm + cTerm * cTerm + squaredHueDifference(reference, sample) / (sh * sh));
}

double DeltaECMC(const double* reference, const double* sample, double lightnessWeight,
                 double chromaWeight) noexcept
{
    const double l1 = reference[0];
    const double c1 = chroma(reference);
    const double h1 = hueDegrees(reference[1], reference[2]);
    const double sl = l1 < 16.0 ? 0.511 : 0.040975 * l1 / (1.0 + 0.01765 * l1);
    const double sc = 0.0638 * c1 / (1.0 + 0.0131 * c1) + 0.638;
    const double c14 = c1 * c1 * c1 * c1;
    const double f = std::sqrt(c14 / (c14 + 1900.0));
    const double t = (h1 >= 164.0 && h1 <= 345.0) ? 0.56 + std::fabs(0.2 * std::cos(radians(h1 + 168.0)))
                                                   : 0.36 + std::fabs(0.4 * std::cos(radians(h1 + 35.0)));
    const double sh = sc * (f * t + 1.0 - f);
    const double lTerm = (sample[0] - l1) / (lightnessWeight * sl);
    const double cTerm = (chroma(sample) - c1) / (chromaWeight * sc);
    return std::sqrt(lTerm * lTerm + cTerm * cTerm + squaredHueDifference(reference, sample) / (sh * sh));
}

}  // namespace vireo2::colour
