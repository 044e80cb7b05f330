#pragma once

#include <QElapsedTimer>
#include <memory>

#include "sheet_model.h"
#include "threading/locks.h"

namespace vireo2::sim {

// The simulated TR3 track with a sheet on it: where the read head is at any
// moment, shared by the track's command model (which moves the head) and
// the instrument (which reads the sheet under it while streaming). Times are
// milliseconds on the rig's monotonic clock; the track's time stamps count
// 2 ms ticks from its last zero ("00001ps"). Thread-safe.
class TrackRig {
public:
    static constexpr double kTickMs = 2.0;
    static constexpr double kDefaultAcceleration = 1500.0;  // mm/s²
    static constexpr double kHomingSpeed = 200.0;           // mm/s

    TrackRig();

    qint64 nowMs() const;
    double tick(qint64 ms) const;    // time stamp of a moment
    bool synchronised() const;

    void setSheet(const SheetModel& sheet);
    SheetModel sheet() const;
    void setLength(double mm);
    double length() const;
    void setAcceleration(double mmPerS2);
    // A park sensor that never reports home (a jammed head).
    void setParkSensorStuck(bool stuck);
    // Where the instrument's readings fall against the head's motion: a
    // fraction (0 to 1) of the reading interval after the traverse's start.
    // Negative (the default): wherever the acquisition's start puts them.
    void setSamplingPhase(double fraction);
    double samplingPhase() const;

    // Motion commands.
    void zeroClock();                               // "00001ps"
    void traverse(double speed, double distance);   // "%.2f,%.2f24xm"
    void halt();                                    // "01xm"
    void returnHome();                              // "07xm"

    double positionAt(qint64 ms) const;
    // The same at a fraction of a millisecond.
    double positionAtTime(double ms) const;
    double tickAtTime(double ms) const;
    // When the last traverse started (rig clock, ms).
    qint64 traverseStartMs() const;
    double speedAt(qint64 ms) const;
    bool atHome() const;
    // The last traverse's times as ticks: start, at speed, braking, stopped.
    void traverseTicks(double* a, double* b, double* c, double* d) const;
    double traverseStartPosition() const;
    // Where the head was when it began braking at the end of the last traverse.
    double brakingPosition() const;

private:
    // One trapezoidal move from `from` towards `to`.
    struct Move {
        qint64 startMs = 0;
        double from = 0.0;
        double to = 0.0;
        double speed = 0.0;
        double acceleration = kDefaultAcceleration;
        double rampMs() const;
        double cruiseMs() const;
        double durationMs() const { return 2.0 * rampMs() + cruiseMs(); }
        double travelled(double ms) const;
        double speedAfter(double ms) const;
    };

    double positionLocked(double ms) const;

    mutable Mutex mutex_;
    QElapsedTimer clock_;
    SheetModel sheet_;
    double length_ = 1060.0;
    double acceleration_ = kDefaultAcceleration;
    bool parkStuck_ = false;
    double samplingPhase_ = -1.0;
    qint64 zeroMs_ = -1;
    Move move_;
    Move lastTraverse_;
};

} // namespace vireo2::sim
