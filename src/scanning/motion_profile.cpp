#include "scanning/motion_profile.h"

#include <algorithm>

namespace vireo2 {

double MotionProfile::position(double t) const
{
    const double v = speed * kTickSeconds;  // mm per tick
    const double rampUp = b - a;
    const double rampDown = d - c;
    t = std::clamp(t, a, d);
    double travelled = 0.0;
    if (t <= b) {
        const double s = t - a;
        travelled = rampUp > 0.0 ? 0.5 * v * s * s / rampUp : 0.0;
    } else {
        travelled = 0.5 * v * rampUp + v * (std::min(t, c) - b);
        if (t > c) {
            const double s = t - c;
            travelled += v * s - (rampDown > 0.0 ? 0.5 * v * s * s / rampDown : 0.0);
        }
    }
    return start + travelled;
}

} // namespace vireo2
