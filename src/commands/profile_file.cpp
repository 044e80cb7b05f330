#include "commands/profile_file.h"

#include <QtEndian>
#include <cmath>
#include <cstring>

namespace vireo2 {
namespace {

constexpr int kTableValues = 400;
constexpr int kTableBytes = kTableValues * 4;
constexpr double kFirstOleDay = 36526.0;  // 2000-01-01
constexpr double kLastOleDay = 73051.0;   // 2100-01-01
constexpr float kLargestVersion = 100.0f;

template <typename T>
T readAt(const QByteArray& bytes, qint64 at)
{
    T value;
    std::memcpy(&value, bytes.constData() + at, sizeof value);
    return qFromLittleEndian(value);
}

float floatAt(const QByteArray& bytes, qint64 at)
{
    const quint32 bits = readAt<quint32>(bytes, at);
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

double doubleAt(const QByteArray& bytes, qint64 at)
{
    const quint64 bits = readAt<quint64>(bytes, at);
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

} // namespace

bool ProfileFile::holdsOnlyFiniteValues() const
{
    for (const auto& condition : conditions)
        for (const auto& array : condition)
            for (float value : array)
                if (!std::isfinite(value))
                    return false;
    return true;
}

std::optional<ProfileFile> ProfileFile::parse(const QByteArray& bytes)
{
    const qint64 size = bytes.size();
    if (size < kMinimumSize || size > kLargestSize)
        return std::nullopt;
    ProfileFile profile;
    profile.version = floatAt(bytes, 0);
    if (!(profile.version > 0.0f && profile.version < kLargestVersion))
        return std::nullopt;
    const qint64 first = readAt<qint32>(bytes, 16);
    if (first < 0 || 33 + first > size)
        return std::nullopt;
    profile.createdOleDate = doubleAt(bytes, 20 + first);
    // The instrument takes the year as two digits: a date outside
    // 2000-2099 (an all-zero file holds 1899-12-30) cannot be sent.
    if (!std::isfinite(profile.createdOleDate) || profile.createdOleDate < kFirstOleDay
        || profile.createdOleDate >= kLastOleDay)
        return std::nullopt;
    const qint64 second = readAt<qint32>(bytes, 29 + first);
    const qint64 table = 33 + first + second;
    if (second < 0 || table + kTableBytes > size)
        return std::nullopt;
    auto value = [&](int index) { return floatAt(bytes, table + 4 * qint64(index)); };
    for (int k = 0; k < kPoints; ++k) {
        const int group = kFirstPoint + k;
        for (int j = 0; j < 4; ++j) {
            profile.conditions[1][size_t(j)][size_t(k)] = value(4 * group + j);
            profile.conditions[0][size_t(j)][size_t(k)] = value(160 + 4 * group + j);
        }
        profile.conditions[1][Bandwidth][size_t(k)] = value(320 + group);
        profile.conditions[0][Bandwidth][size_t(k)] = value(360 + group);
    }
    if (!profile.holdsOnlyFiniteValues())
        return std::nullopt;
    return profile;
}

QDateTime ProfileFile::fromOleDate(double days)
{
    const double whole = std::floor(days);
    // Julian-day conversion of the whole days, then the time of day.
    // 2,483,588 = the Julian day of 1899-12-30 (2,415,019) + 68,569.
    qint64 a = qint64(whole) + 2483588;
    const qint64 n = 4 * a / 146097;
    a -= (146097 * n + 3) / 4;
    const qint64 i = 4000 * (a + 1) / 1461001;
    a = a - 1461 * i / 4 + 31;
    const qint64 j = 80 * a / 2447;
    const int day = int(a - 2447 * j / 80);
    const qint64 k = j / 11;
    const int month = int(j + 2 - 12 * k);
    const int year = int(100 * (n - 49) + i + k);
    qint64 seconds = std::llround((days - whole) * 24.0 * 60.0 * 60.0);
    seconds = qBound<qint64>(0, seconds, 86399);
    return QDateTime(QDate(year, month, day), QTime(int(seconds / 3600), int(seconds / 60 % 60), int(seconds % 60)));
}

} // namespace vireo2
