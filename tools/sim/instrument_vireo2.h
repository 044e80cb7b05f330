#pragma once

#include <QElapsedTimer>
#include <QMap>
#include "threading/locks.h"
#include <QStringList>
#include <QVariantMap>
#include <functional>
#include <optional>

#include "default_instrument.h"
#include "instrument_model.h"
#include "instrument_scanning.h"
#include "instrument_storage.h"
#include "instrument_spectra.h"

namespace vireo2::sim {

// The simulated Vireo2 instrument. Commands are matched ignoring case and
// extra blanks; replies follow the instrument's "<KEYWORD> 0x<status>
// [value]" form. The command set and the control interface are described in
// docs/simulator.md. Thread-safe: every entry point takes the model's lock.
class SimulatedVireo2 : public InstrumentModel {
public:
    // `rig` is the track and sheet under the read head (a parked head on an
    // empty track when none is given).
    explicit SimulatedVireo2(const DefaultInstrumentOptions& options = {}, std::shared_ptr<TrackRig> rig = nullptr);

    QByteArray reply(const QByteArray& command) override;
    QString control(const QString& line) override;

private:
    enum class Calibration { Needed, Valid, Expired };
    enum class Power { Active, Waking, Asleep };
    enum class Profile { Empty, Enabled, Disabled };

    // One reading: which sample, and the seed of its noise.
    struct Reading {
        int sample = 0;
        quint64 seed = 0;
    };

    using Handler = std::function<QByteArray(const QStringList& words)>;

    void installCommands();
    void installControls();
    // instrument_vireo2_housekeeping.cpp
    void installHousekeepingControls();
    // Commands that carry arguments (clock write, tool goto, ...); nothing
    // when the command is not one of them.
    std::optional<QByteArray> housekeepingReply(const QString& key, const QStringList& words,
                                                const QByteArray& command);

    // instrument_vireo2_maintenance.cpp: clones, firmware, NetAdjuster store.
    std::optional<QByteArray> maintenanceReply(const QString& key, const QStringList& words, const QByteArray& command);

    // Instrument commands.
    QByteArray calibrationStatus();
    QByteArray runCalibration(const QByteArray& keyword);
    QByteArray startMeasurement();
    QByteArray measurementDone();
    QByteArray reflectance(const QString& conditionName);
    QByteArray powerState();
    QByteArray setProfile(bool enable);

    // State helpers.
    Calibration calibration();
    void updatePower();
    Reading takeReading(int sample = -1);
    QString calibrationName();
    QString stateSummary();

    mutable Mutex mutex_;
    DefaultInstrumentOptions options_;
    QElapsedTimer clock_;
    QMap<QString, Handler> commands_;  // by the lower-case, simplified command
    QMap<QString, std::function<QString(const QStringList& arguments)>> controls_;

    SampleLibrary library_;
    int sampleIndex_ = 0;
    bool cycleSamples_ = true;
    quint64 readingCount_ = 0;

    bool calibrated_ = false;
    qint64 calibratedAtMs_ = 0;
    bool forcedExpiry_ = false;
    bool standardDirty_ = false;

    bool hostMeasuring_ = false;
    qint64 measurementStartMs_ = 0;
    std::optional<Reading> lastReading_;
    // A reading taken with the instrument's button, not yet reported; the
    // status it is reported with.
    std::optional<int> instrumentReadingStatus_;
    QStringList buttonReports_;

    Power power_ = Power::Active;
    qint64 wakeStartMs_ = 0;
    qint64 lastActivityMs_ = 0;

    bool refuseReadout_ = false;
    QMap<QString, int> truncatedConditions_;  // condition name -> values sent
    Profile profile_ = Profile::Disabled;

    // Housekeeping: the instrument clock as an offset from the host's UTC
    // clock, and the tool on its screen.
    qint64 clockOffsetS_ = 0;
    QString tool_ = QStringLiteral("ink");
    InstrumentScanning scanning_;
    InstrumentStorage storage_;
    QVariantMap profileValues_;       // NetAdjuster arrays by "M0 white", and version, whencreated
    QByteArray firmwareImage_;
    bool firmwareLastPacket_ = false;
    qint64 digestDueMs_ = 0;
    int digestDelayMs_ = 300;
    QString previousTool_ = QStringLiteral("ink");
    // The last "blob get N" reply, kept: asked again, it is ready at once,
    // so a transfer benchmark measures the transfer, not the building.
    QByteArray blobReply_;
    int blobSize_ = -1;
};

} // namespace vireo2::sim
