#pragma once

#include <QByteArray>
#include <QDateTime>
#include <array>
#include <optional>

namespace vireo2 {

// A NetAdjuster correction-profile file (".pro" for M0 and M1, ".pr2" for
// M2 and M3; little-endian): its version, creation time and, per condition,
// the five arrays the instrument takes (31 points each, 400 to 700 nm).
struct ProfileFile {
    static constexpr int kMinimumSize = 1656;
    // Profiles are a few kilobytes; the two variable blocks hold names and
    // notes. A larger file is not a profile, and is not read beyond this.
    static constexpr qint64 kLargestSize = 1024 * 1024;
    static constexpr int kPoints = 31;
    static constexpr int kFirstPoint = 4;  // of the file's 40 wavelength groups

    enum Array { White, Wavelength, Linear, Dark, Bandwidth, kArrayCount };
    using Values = std::array<float, kPoints>;

    float version = 0.0f;
    double createdOleDate = 0.0;
    // [0] the file's first condition (M0 or M2), [1] its second (M1 or M3).
    std::array<std::array<Values, kArrayCount>, 2> conditions{};

    // Reads a file's bytes; nothing when it is shorter than kMinimumSize or
    // larger than kLargestSize, a length field points outside it (the two
    // variable blocks are skipped only after their lengths were checked), or
    // a field holds what no profile can: a version that is not a positive
    // number below 100, a creation date outside 2000-2099 (the instrument
    // takes a two-digit year), or a value sent to the instrument that is not
    // a finite number.
    static std::optional<ProfileFile> parse(const QByteArray& bytes);
    // An OLE automation date (days since 1899-12-30, the fraction the time
    // of day) as a date and time, by the Julian-day conversion.
    static QDateTime fromOleDate(double days);

private:
    bool holdsOnlyFiniteValues() const;
};

} // namespace vireo2
