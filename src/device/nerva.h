#pragma once

#include <QList>
#include <QMap>
#include "threading/locks.h"
#include <QObject>
#include <QString>
#include <atomic>
#include <memory>

#include "device/guarded_text.h"
#include "settings/log_helper.h"

namespace vireo2 {

class StatusThread;
class WorkerThread;

// How long locked operations wait for the operation lock.
constexpr int kOperationLockTimeoutMs = 10000;

// The abstract instrument. Its virtual operations are the whole device
// interface behind the C exports, each with a harmless default, so that a
// concrete instrument overrides only what it supports. The declaration order
// of the virtual operations is part of the design and must not change.
class Nerva : public QObject {
    Q_OBJECT
public:
    Nerva();
    ~Nerva() override;

    // 1-3: connection
    virtual bool Connect();
    virtual bool Disconnect();
    virtual bool IsConnected();
    // 4-7: named settings
    virtual QString GetAvailableSettings();
    virtual QString GetSettingOptions(const QString& name);
    virtual QString GetOption(const QString& name);
    virtual bool SetOption(const QString& name, const QString& value);
    // 8-15: measurement and spectral store
    virtual bool Measure();
    virtual bool IsDataReady();
    virtual int GetSpectralSetCount();
    virtual int GetWavelengthCount();
    virtual QString GetSpectralSetName(int index);
    virtual int GetWavelengthValue(int index);
    virtual QString GetMeasAttributes();
    virtual float GetSpectralData(int set, int wavelength);
    // 16-25: samples
    virtual bool ClearSamples();
    virtual int GetSampleCount();
    virtual bool SetCurrentSample(int index);
    virtual int GetSampleTagCount();
    virtual QString GetSampleTag(int index);
    virtual float GetSampleData(int set, int wavelength);
    virtual QString GetSampleReference();
    virtual const void* GetSampleDateTime();
    virtual QString GetSampleGroup();
    virtual QString GetSampleAttributes();
    // 26-39: references and tolerances
    virtual int GetMaxReferences();
    virtual bool ClearReferences();
    virtual int GetStoredReferences();
    virtual bool SetCurrentReference(int index);
    virtual QString GetRefName();
    virtual int GetRefID();
    virtual float GetRefValue(int set, int wavelength);
    virtual int GetRefToleranceCount();
    virtual bool SetCurrentTolerance(int index);
    virtual QString GetTolType();
    virtual QString GetTolAngle();
    virtual QString GetTolPrimaryIllumObs();
    virtual QString GetTolSecondaryIllumObs();
    virtual float GetTolValue(int index);
    // 40-43: jobs
    virtual int GetMaxJobs();
    virtual bool ClearJobs();
    virtual bool AddJob(const QString& job);
    virtual bool TransmitJobs();
    // 44-57: calibration
    virtual bool SetCalMode();
    virtual bool WhiteCal();
    virtual bool BlackCal();
    virtual bool Calibrate();
    virtual int GetCalStatus();
    virtual int GetCalProgress();
    virtual float GetCalValues(int index);
    virtual bool CalibrateWithData(int kind, void* data);
    virtual bool CalibrateStep(const QString& step);
    virtual QString GetCalSteps();
    virtual QString GetCalMode();
    virtual QString GetCalibrationStandard();
    virtual bool AbortCalibration();
    virtual QString GetCalPlaqSN();
    // 58-62: configuration
    virtual bool Configure();
    virtual QString GetConfiguration();
    virtual bool SetConfiguration(const QString& configuration);
    virtual bool SetNormalMode();
    virtual bool SetOfflineMode();
    // 63-65: commands
    virtual QString Execute(const QString& commandLine);
    virtual int ExecuteBinary(const unsigned char* message, int messageLength, int timeoutMs,
                              unsigned char* buffer, int bufferSize);
    virtual QString SendCommand(const QString& command, int timeoutMs);
    // 66-69
    virtual QString GetStatusWord();
    virtual void init();
    virtual void CheckStatus();
    virtual bool SetLanguage(int language);

    bool startStatusThread();
    // Asks the status thread to end, waits a bounded time, and frees the
    // operation lock if a status thread that has ended left it held.
    bool stopStatusThread();
    // The status thread's last step: a check that found the link gone keeps
    // the operation lock held, so the next locked export waits out its
    // timeout; the hold outlives the thread until stopStatusThread frees it.
    void statusThreadEnding();

    // Shared state reached by the export frame and the threads.
    RecursiveMutex* operationMutex() { return operationMutex_.get(); }
    const std::shared_ptr<LogHelper>& log() const { return log_; }
    WorkerThread* workerThread() const { return workerThread_; }
    bool isWorkerRunning() const;
    bool pollEnabled() const { return pollEnabled_; }
    // Switches polling and wakes the status thread to notice it.
    void setPollEnabled(bool on);
    // Counts the switches of polling (and stop requests): the status thread
    // reads it before it looks at the state, then sleeps with
    // waitForPollChange until it moves on, so no switch is missed.
    quint64 pollGeneration();
    // Returns after `timeoutMs` (ULONG_MAX: no limit), or as soon as the
    // generation differs from `seen` or a stop is asked for.
    void waitForPollChange(quint64 seen, const std::atomic<bool>& stopRequested, unsigned long timeoutMs);
    // Wakes the status thread (a stop was asked for).
    void wakeStatusThread();
    // Tests whether the transport is open (used when a lock is abandoned).
    virtual bool isPortValid();
    // Copies condition `set` of the last reading (reflectance factors) into
    // `out`, at most `capacity` values, under the store lock so the values
    // all come from one reading. Returns the count copied, -1 for an unknown
    // set or no data. Clears the data-ready flag like GetSpectralData.
    int copySpectralSet(int set, float* out, int capacity);
    // Serial number as stored at identification.
    virtual QString serialNumber() const { return identity_[2].get(); }

protected:
    // The spectral store is read by host threads while the status thread
    // fills it: these publish a whole readout at once, under the store lock.
    void publishSpectra(const QList<QList<double>>& sets);
    // Sets the number of spectral sets and names them "M0", "M1", ...
    void useSpectralSets(int count);
    void releaseAbandonedLock();

    std::unique_ptr<RecursiveMutex> operationMutex_;
    StatusThread* statusThread_ = nullptr;
    WorkerThread* workerThread_ = nullptr;
    std::shared_ptr<LogHelper> log_;
    // model, firmware, serial, and a fourth identity text
    GuardedText identity_[4] = {QStringLiteral("NA"), QStringLiteral("NA"), QStringLiteral("NA"),
                                QStringLiteral("NA")};
    std::atomic<bool> calibrated_{false};
    std::atomic<bool> pollEnabled_{false};
    // The status thread sleeps on this until polling changes or it must stop,
    // so an idle or disconnected device has no thread waking up.
    Mutex pollMutex_;
    WaitCondition pollChanged_;
    quint64 pollGeneration_ = 0;
    std::atomic<bool> dataReady_{false};
    qint32 modelCode_ = 0;
    qint32 setCount_ = 1;
    qint32 wavelengthCount_ = 31;
    unsigned char stateBytes_[9] = {};
    mutable Mutex storeMutex_;
    QList<QList<double>> spectra_;
    QMap<QString, int> setNames_;
};

} // namespace vireo2
