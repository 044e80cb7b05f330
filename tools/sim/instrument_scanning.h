#pragma once

#include <QByteArray>
#include <QList>
#include <QStringList>
#include <memory>
#include <optional>

#include "instrument_spectra.h"
#include "track_rig.h"

namespace vireo2::sim {

// The instrument's scanning: streaming readings of the sheet under the read
// head while a track scan runs ("Scan Acquire Start", "Scan Get Refls",
// "Scan Acquire Stop"), and hand scans finished on the instrument ("scan
// done?", "scan get patchrecrefls"). Not locked: the instrument model calls
// it under its own lock.
class InstrumentScanning {
public:
    static constexpr double kSampleRate = 90.0;      // readings per second
    static constexpr int kReadingsPerPacket = 60;
    static constexpr int kBufferedReadings = 2000;   // more unread: overflow 0x91
    static constexpr double kScanAperture = 2.0;     // mm

    explicit InstrumentScanning(std::shared_ptr<TrackRig> rig);

    // The reply to a scan command (`key` lower-case, blanks simplified), or
    // nothing when the command is not one of them.
    std::optional<QByteArray> reply(const QString& key, const SampleLibrary& library, double noise);
    // "SIM scan <n> [sample...]": a hand scan of n patches has finished.
    QString control(const QStringList& args, const SampleLibrary& library);

    TrackRig& rig() { return *rig_; }

private:
    QByteArray streamedData(double noise);
    QByteArray handScanData(const SampleLibrary& library, double noise) const;
    double sampleTime(qint64 index) const;  // rig clock, ms
    qint64 readingsUntil(qint64 ms) const;
    void fixSamplingPhase();

    std::shared_ptr<TrackRig> rig_;
    bool acquiring_ = false;
    bool acquired_ = false;
    qint64 acquireStartMs_ = 0;
    qint64 acquireStopMs_ = 0;
    qint64 nextReading_ = 0;
    double phaseOffset_ = 0.0;   // readings fall at (index + this) intervals
    bool phaseFixed_ = false;
    int packetSequence_ = 0;
    quint64 seed_ = 1;

    // A hand scan finished on the instrument: the samples of its patches.
    bool handScanDone_ = false;
    QList<int> handScanPatches_;
    quint64 handScanSeed_ = 0;
};

} // namespace vireo2::sim
