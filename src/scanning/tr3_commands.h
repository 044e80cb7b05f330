#pragma once

#include <QString>

namespace vireo2::tr3 {

// The TR3 track's commands: short ASCII words, a two-digit number and a
// two-letter code, some with arguments in front.

// Park sensor: answers "1" when the head is at home, "0" otherwise.
inline constexpr char kParkSensor[] = "01pk";
// Position report "XP, position, speed, usable length" (mm, mm/s, mm).
inline constexpr char kPosition[] = "xp";
// Halts the head where it is. A head that has already stopped may be
// refused with a non-zero status, which is no error: it is not logged as one.
inline constexpr char kHalt[] = "01xm";
// Sends the head back to the home end.
inline constexpr char kReturnHome[] = "07xm";
// Zeroes the track's clock before a traverse; the references count from it.
inline constexpr char kZeroClock[] = "00001ps";
// The reference readings of the last traverse: "04,A,pA,B" (at speed from
// time stamp A until B) and "14,C,pC,D" (braking from C, standing at D).
inline constexpr char kStartReferences[] = "04ps";
inline constexpr char kStopReferences[] = "14ps";
// Charging of the track's battery on and off.
inline constexpr char kChargingOn[] = "01BC";
inline constexpr char kChargingOff[] = "00BC";
// Position polls whose unchanged replies are logged only once.
inline constexpr char kPollQM[] = "QM";
inline constexpr char kPollLS[] = "LS";

// A traverse at `speed` mm/s over `length` mm: "%.2f,%.2f24xm".
inline QString traverse(double speed, double length)
{
    return QString::asprintf("%.2f,%.2f24xm", speed, length);
}

} // namespace vireo2::tr3
