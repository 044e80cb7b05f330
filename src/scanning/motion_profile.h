#pragma once

namespace vireo2 {

// Where the read head is at a time stamp of the traverse. The track reports
// four times on the clock that stamps the instrument's readings: A, when the
// head started accelerating; B, when it reached the commanded speed; C, when
// it started braking; D, when it stood still. Acceleration and braking are
// uniform, so between B and C the head runs at the commanded speed and the
// two ramps each cover half the distance that speed would in their time.
struct MotionProfile {
    // One time-stamp unit: the track and instrument count 2 ms ticks.
    static constexpr double kTickSeconds = 0.002;

    double a = 0.0, b = 0.0, c = 0.0, d = 0.0;  // ticks
    double speed = 0.0;                         // mm per second
    double start = 0.0;                         // head position at A, mm

    bool valid() const { return speed > 0.0 && a <= b && b <= c && c <= d; }
    // Position in mm at time stamp `t` (ticks); before A the start, after D
    // where the head stopped.
    double position(double t) const;
};

} // namespace vireo2
