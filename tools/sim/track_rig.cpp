#include "track_rig.h"

#include <algorithm>
#include <cmath>

namespace vireo2::sim {

double TrackRig::Move::rampMs() const
{
    if (speed <= 0.0)
        return 0.0;
    const double distance = std::abs(to - from);
    // A short move never reaches full speed: a triangle instead.
    const double fullRamp = speed / acceleration;
    const double rampDistance = 0.5 * acceleration * fullRamp * fullRamp;
    const double seconds = 2.0 * rampDistance <= distance ? fullRamp : std::sqrt(distance / acceleration);
    return seconds * 1000.0;
}

double TrackRig::Move::cruiseMs() const
{
    if (speed <= 0.0)
        return 0.0;
    const double ramp = rampMs() / 1000.0;
    const double rampDistance = 0.5 * acceleration * ramp * ramp;
    const double rest = std::abs(to - from) - 2.0 * rampDistance;
    return rest > 0.0 ? rest / speed * 1000.0 : 0.0;
}

double TrackRig::Move::travelled(double ms) const
{
    if (speed <= 0.0 || ms <= 0.0)
        return 0.0;
    const double ramp = rampMs() / 1000.0;
    const double cruise = cruiseMs() / 1000.0;
    const double top = acceleration * ramp;
    const double t = std::min(ms / 1000.0, 2.0 * ramp + cruise);
    if (t <= ramp)
        return 0.5 * acceleration * t * t;
    if (t <= ramp + cruise)
        return 0.5 * top * ramp + top * (t - ramp);
    const double s = t - ramp - cruise;
    return 0.5 * top * ramp + top * cruise + top * s - 0.5 * acceleration * s * s;
}

double TrackRig::Move::speedAfter(double ms) const
{
    if (speed <= 0.0 || ms <= 0.0 || ms >= durationMs())
        return 0.0;
    const double ramp = rampMs();
    const double top = acceleration * ramp / 1000.0;
    if (ms <= ramp)
        return acceleration * ms / 1000.0;
    if (ms <= ramp + cruiseMs())
        return top;
    return acceleration * (durationMs() - ms) / 1000.0;
}

TrackRig::TrackRig() : sheet_(SheetModel::defaultChart())
{
    clock_.start();
}

qint64 TrackRig::nowMs() const
{
    return clock_.elapsed();
}

double TrackRig::tick(qint64 ms) const
{
    MutexLocker lock(&mutex_);
    return double(ms - std::max<qint64>(zeroMs_, 0)) / kTickMs;
}

bool TrackRig::synchronised() const
{
    MutexLocker lock(&mutex_);
    return zeroMs_ >= 0;
}

void TrackRig::setSheet(const SheetModel& sheet)
{
    MutexLocker lock(&mutex_);
    sheet_ = sheet;
}

SheetModel TrackRig::sheet() const
{
    MutexLocker lock(&mutex_);
    return sheet_;
}

void TrackRig::setLength(double mm)
{
    MutexLocker lock(&mutex_);
    length_ = mm;
}

double TrackRig::length() const
{
    MutexLocker lock(&mutex_);
    return length_;
}

void TrackRig::setAcceleration(double mmPerS2)
{
    MutexLocker lock(&mutex_);
    acceleration_ = mmPerS2;
}

void TrackRig::setParkSensorStuck(bool stuck)
{
    MutexLocker lock(&mutex_);
    parkStuck_ = stuck;
}

void TrackRig::zeroClock()
{
    MutexLocker lock(&mutex_);
    zeroMs_ = clock_.elapsed();
}

void TrackRig::traverse(double speed, double distance)
{
    MutexLocker lock(&mutex_);
    const qint64 now = clock_.elapsed();
    const double from = positionLocked(now);
    move_ = Move{now, from, std::clamp(from + distance, 0.0, length_), std::max(speed, 0.0), acceleration_};
    lastTraverse_ = move_;
}

void TrackRig::halt()
{
    MutexLocker lock(&mutex_);
    const qint64 now = clock_.elapsed();
    const double here = positionLocked(now);
    move_ = Move{now, here, here, 0.0, acceleration_};
}

void TrackRig::returnHome()
{
    MutexLocker lock(&mutex_);
    const qint64 now = clock_.elapsed();
    move_ = Move{now, positionLocked(now), 0.0, kHomingSpeed, acceleration_};
}

double TrackRig::positionLocked(double ms) const
{
    const double travelled = move_.travelled(ms - double(move_.startMs));
    return move_.to >= move_.from ? move_.from + travelled : move_.from - travelled;
}

double TrackRig::positionAt(qint64 ms) const
{
    MutexLocker lock(&mutex_);
    return positionLocked(ms);
}

double TrackRig::positionAtTime(double ms) const
{
    MutexLocker lock(&mutex_);
    return positionLocked(ms);
}

double TrackRig::tickAtTime(double ms) const
{
    MutexLocker lock(&mutex_);
    return (ms - double(std::max<qint64>(zeroMs_, 0))) / kTickMs;
}

qint64 TrackRig::traverseStartMs() const
{
    MutexLocker lock(&mutex_);
    return lastTraverse_.startMs;
}

void TrackRig::setSamplingPhase(double fraction)
{
    MutexLocker lock(&mutex_);
    samplingPhase_ = fraction;
}

double TrackRig::samplingPhase() const
{
    MutexLocker lock(&mutex_);
    return samplingPhase_;
}

double TrackRig::speedAt(qint64 ms) const
{
    MutexLocker lock(&mutex_);
    return move_.speedAfter(double(ms - move_.startMs));
}

bool TrackRig::atHome() const
{
    MutexLocker lock(&mutex_);
    const qint64 now = clock_.elapsed();
    return !parkStuck_ && positionLocked(now) < 0.5 && move_.speedAfter(double(now - move_.startMs)) == 0.0;
}

void TrackRig::traverseTicks(double* a, double* b, double* c, double* d) const
{
    MutexLocker lock(&mutex_);
    const double zero = double(std::max<qint64>(zeroMs_, 0));
    const double start = double(lastTraverse_.startMs);
    *a = (start - zero) / kTickMs;
    *b = (start + lastTraverse_.rampMs() - zero) / kTickMs;
    *c = (start + lastTraverse_.rampMs() + lastTraverse_.cruiseMs() - zero) / kTickMs;
    *d = (start + lastTraverse_.durationMs() - zero) / kTickMs;
}

double TrackRig::traverseStartPosition() const
{
    MutexLocker lock(&mutex_);
    return lastTraverse_.from;
}

double TrackRig::brakingPosition() const
{
    MutexLocker lock(&mutex_);
    const double travelled = lastTraverse_.travelled(lastTraverse_.rampMs() + lastTraverse_.cruiseMs());
    return lastTraverse_.to >= lastTraverse_.from ? lastTraverse_.from + travelled : lastTraverse_.from - travelled;
}

} // namespace vireo2::sim
