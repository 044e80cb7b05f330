#include "screen_image.h"

#include <QtEndian>
#include <algorithm>
#include <cmath>

namespace vireo2::sim {
namespace {

constexpr int kWidth = 160;
constexpr int kHeight = 120;
constexpr int kRowBytes = (kWidth * 3 + 3) & ~3;

struct Rgb {
    quint8 r, g, b;
};

void put32(QByteArray& out, int at, quint32 value)
{
    qToLittleEndian(value, out.data() + at);
}

// A rough colour of a reflectance spectrum: the mean of its blue, green and
// red thirds, enough to recognise the sample.
Rgb colourOf(const QVector<double>& reflectance)
{
    if (reflectance.size() < 31)
        return {128, 128, 128};
    auto band = [&](int from, int to) {
        double sum = 0;
        for (int i = from; i < to; ++i)
            sum += reflectance[i];
        return quint8(std::clamp(std::pow(sum / (to - from), 1 / 2.2) * 255.0, 0.0, 255.0));
    };
    return {band(20, 31), band(10, 20), band(0, 10)};
}

Rgb toolColour(const QString& tool)
{
    const uint hash = qHash(tool.toLower());
    return {quint8(64 + hash % 160), quint8(64 + (hash / 160) % 160), quint8(64 + (hash / 25600) % 160)};
}

} // namespace

QByteArray screenBitmap(const QString& tool, const QVector<double>& lastReading)
{
    const int pixelBytes = kRowBytes * kHeight;
    QByteArray bmp(54 + pixelBytes, '\0');
    bmp[0] = 'B';
    bmp[1] = 'M';
    put32(bmp, 2, quint32(bmp.size()));
    put32(bmp, 10, 54);
    put32(bmp, 14, 40);
    put32(bmp, 18, kWidth);
    put32(bmp, 22, kHeight);
    qToLittleEndian<quint16>(1, bmp.data() + 26);
    qToLittleEndian<quint16>(24, bmp.data() + 28);
    put32(bmp, 34, quint32(pixelBytes));

    const Rgb band = toolColour(tool);
    const Rgb swatch = colourOf(lastReading);
    for (int y = 0; y < kHeight; ++y) {
        const int top = kHeight - 1 - y;  // rows are stored bottom up
        for (int x = 0; x < kWidth; ++x) {
            Rgb pixel{240, 240, 240};
            if (top < 20) {
                pixel = band;
            } else if (top >= 28 && top < 78 && x >= 40 && x < 120) {
                pixel = swatch;
            } else if (top >= 84 && lastReading.size() >= 31) {
                const int i = std::min(30, x * 31 / kWidth);
                const int height = int(std::clamp(lastReading[i], 0.0, 1.0) * 34.0);
                if (kHeight - 2 - top < height)
                    pixel = {60, 60, 60};
            }
            char* at = bmp.data() + 54 + y * kRowBytes + x * 3;
            at[0] = char(pixel.b);
            at[1] = char(pixel.g);
            at[2] = char(pixel.r);
        }
    }
    return bmp;
}

} // namespace vireo2::sim
