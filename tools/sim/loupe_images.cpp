#include "loupe_images.h"

#include <QtEndian>
#include <cmath>

namespace vireo2::sim {
namespace {

// Luminance DC code lengths and values (the standard table of the JPEG
// standard's annex K); the AC table holds only end-of-block, code "0".
const quint8 kDcCounts[16] = {0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0};
const quint8 kDcValues[12] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
const quint8 kAcCounts[16] = {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
constexpr int kQuant = 8;

class BitWriter {
public:
    void put(quint32 bits, int count)
    {
        for (int i = count - 1; i >= 0; --i) {
            byte_ = quint8((byte_ << 1) | ((bits >> i) & 1));
            if (++filled_ == 8)
                flush();
        }
    }
    QByteArray finish()
    {
        while (filled_ != 0)
            put(1, 1);  // pad with ones
        return out_;
    }

private:
    void flush()
    {
        out_ += char(byte_);
        if (byte_ == 0xFF)
            out_ += char(0);  // a data 0xFF is followed by a stuffed zero
        byte_ = 0;
        filled_ = 0;
    }
    QByteArray out_;
    quint8 byte_ = 0;
    int filled_ = 0;
};

// The code of each DC category from the table's code lengths.
void dcCodes(quint32 codes[12], int lengths[12])
{
    quint32 code = 0;
    int k = 0;
    for (int length = 1; length <= 16; ++length) {
        for (int i = 0; i < kDcCounts[length - 1]; ++i) {
            codes[kDcValues[k]] = code++;
            lengths[kDcValues[k]] = length;
            ++k;
        }
        code <<= 1;
    }
}

void marker(QByteArray& out, quint8 type, const QByteArray& body)
{
    out += char(0xFF);
    out += char(type);
    QByteArray length(2, '\0');
    qToBigEndian<quint16>(quint16(body.size() + 2), length.data());
    out += length + body;
}

} // namespace

QByteArray blockJpeg(int width, int height, const QList<int>& tones)
{
    QByteArray out("\xFF\xD8", 2);
    marker(out, 0xE0, QByteArray("JFIF\0\x01\x01\0\0\x01\0\x01\0\0", 14));
    marker(out, 0xDB, QByteArray(1, '\0') + QByteArray(64, char(kQuant)));
    QByteArray frame("\x08", 1);
    QByteArray size(4, '\0');
    qToBigEndian<quint16>(quint16(height), size.data());
    qToBigEndian<quint16>(quint16(width), size.data() + 2);
    frame += size + QByteArray("\x01\x01\x11\x00", 4);
    marker(out, 0xC0, frame);
    marker(out, 0xC4, QByteArray(1, '\x00') + QByteArray(reinterpret_cast<const char*>(kDcCounts), 16)
                           + QByteArray(reinterpret_cast<const char*>(kDcValues), 12));
    marker(out, 0xC4, QByteArray(1, '\x10') + QByteArray(reinterpret_cast<const char*>(kAcCounts), 16) + QByteArray(1, '\0'));
    marker(out, 0xDA, QByteArray("\x01\x01\x00\x00\x3F\x00", 6));

    quint32 codes[12];
    int lengths[12];
    dcCodes(codes, lengths);
    BitWriter bits;
    int previous = 0;
    for (int block = 0; block < (width / 8) * (height / 8); ++block) {
        const int tone = qBound(0, tones.value(block, 128), 255);
        // The DC coefficient of an even block is 8 x (tone - 128), quantised.
        const int dc = int(std::lround(8.0 * (tone - 128) / kQuant));
        const int diff = dc - previous;
        previous = dc;
        int category = 0;
        for (int magnitude = std::abs(diff); magnitude > 0; magnitude >>= 1)
            ++category;
        bits.put(codes[category], lengths[category]);
        if (category > 0)
            bits.put(quint32(diff > 0 ? diff : diff + (1 << category) - 1), category);
        bits.put(0, 1);  // end of block
    }
    out += bits.finish();
    out += QByteArray("\xFF\xD9", 2);
    return out;
}

QStringList loupeImageNames()
{
    return {QStringLiteral("loupe-001.jpg"), QStringLiteral("loupe-002.jpg")};
}

QByteArray loupeImage(const QString& name)
{
    const int index = loupeImageNames().indexOf(name);
    if (index < 0)
        return QByteArray();
    // A 64 x 64 halftone: dark dots on paper, denser in the second picture.
    QList<int> tones;
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x)
            tones << (((x + y) % 2 == 0 || (index == 1 && x % 2 == 0)) ? 40 : 235);
    return blockJpeg(64, 64, tones);
}

} // namespace vireo2::sim
