#pragma once

#include <QByteArray>
#include <QMap>
#include "threading/locks.h"
#include <QStringList>
#include <atomic>
#include <memory>
#include <vector>

#include "commands/command_answer.h"
#include "commands/device_marks.h"
#include "device/nerva.h"
#include "scanning/stream_poll.h"
#include "settings/settings_store.h"

namespace vireo2 {

class CTransport;
class ReplyDestination;
class CEthernet;
class USB;
class Vireo2Scanning;
class ScanHost;
class WorkerThread;

// The Vireo2 instrument: connection, identification, status polling,
// measurement, calibration and settings on top of the Nerva interface.
class Vireo2 : public Nerva {
    Q_OBJECT
public:
    Vireo2();
    ~Vireo2() override;

    // Connection (vireo2_connection.cpp)
    bool Connect() override;
    bool Disconnect() override;
    bool IsConnected() override;
    // Named settings (vireo2_options.cpp)
    QString GetAvailableSettings() override;
    QString GetSettingOptions(const QString& name) override;
    QString GetOption(const QString& name) override;
    bool SetOption(const QString& name, const QString& value) override;
    // Measurement (vireo2_measure.cpp)
    bool Measure() override;
    QString GetMeasAttributes() override;
    int GetMaxReferences() override;
    int GetMaxJobs() override;
    // Calibration (vireo2_calibration.cpp)
    bool WhiteCal() override;
    bool BlackCal() override;
    bool Calibrate() override;
    int GetCalStatus() override;
    bool CalibrateStep(const QString& step) override;
    QString GetCalSteps() override;
    QString GetCalMode() override;
    QString GetCalibrationStandard() override;
    QString GetCalPlaqSN() override;
    // Configuration (vireo2_options.cpp)
    QString GetConfiguration() override;
    bool SetConfiguration(const QString& configuration) override;
    // Free-form commands (vireo2_execute.cpp, vireo2_execute_binary.cpp)
    QString Execute(const QString& commandLine) override;
    int ExecuteBinary(const unsigned char* message, int messageLength, int timeoutMs, unsigned char* buffer,
                      int bufferSize) override;
    // Execute's answer as UTF-8, without converting a passed-on reply (read
    // into `destination`'s memory when large and one is given).
    CommandAnswer executeAnswer(const QString& commandLine, ReplyDestination* destination = nullptr);
    // What a line's answer asks of the device once the line is done.
    void carryOut(const DeviceFollowUp& followUp);
    void startLongOperation(bool needsFile, const QStringList& words);
    // Raw command (vireo2_transact.cpp)
    QString SendCommand(const QString& command, int timeoutMs) override;
    // The reply of SendCommand as the bytes it came in (in `destination`'s
    // memory when large and one is given); empty on failure.
    QByteArray sendCommandBytes(const QString& command, int timeoutMs, ReplyDestination* destination = nullptr);
    void init() override;
    // Status poll (vireo2_status.cpp)
    void CheckStatus() override;

    bool isPortValid() override;

    // One command/reply exchange with status parsing, logging and error
    // recording. Returns the instrument status, -1, kNoConnection, kExchangeInProgress or a
    // transport error code. Length 0 means the command's UTF-8 length. A
    // large reply goes into memory `destination` offers, if any; the
    // response is then a view of it.
    qint32 Transact(const QString& command, QByteArray& response, int timeoutMs, int length = 0,
                    ReplyDestination* destination = nullptr);
    qint32 transactOnce(const QString& command, QByteArray& response, int timeoutMs, int length, QString* noReplyCause,
                        ReplyDestination* destination);
    // The last Transact got no reply: it returned a library or transport
    // code (USB's are errno values, so the number alone does not tell).
    bool lastTransactHadNoReply() const { return noReply_; }
    // Why the last Transact got no reply: the transport's text, what the
    // wake-up check recorded, or "No connection to the instrument".
    QString noReplyCause() const { return noReplyCause_.get(); }

    // Button reports gathered by the status poll, oldest first.
    QString buttonText() const;
    QStringList buttonWords() const;

    // Scanning exports (not part of the virtual interface).
    int ScanIsSupported();
    int ScanConfig(int patchCount, float patchWidthMm);
    int ScanStart();
    int ScanAbort();
    int ScanGetStatus();
    int ScanGetCount();
    QString ScanGetData(int patchIndex, int dataSet);
    // The header values of a track-mode patch; -1 when there is none.
    int copyPatchRecord(int patchIndex, double* values, int capacity);
    // Quality flags of a scanned patch, or of the strip for -1 (ScanGetQuality).
    int scanQuality(int patchIndex);

    const DeviceSettings& settings() const { return settings_; }
    const std::shared_ptr<Vireo2Scanning>& scanning() const { return scanning_; }
    QString modelName() const { return modelName_; }
    QString aperture() const { return aperture_.get(); }
    QString firmwareVersion() const { return firmwareVersion_.get(); }

protected:
    // The command dispatcher's view of the device (vireo2_command_host.cpp).
    friend class Vireo2CommandHost;

    // Connection (vireo2_connection.cpp)
    bool OpenPort();
    bool Identify();
    // Closes the open transport, keeping the transport object.
    void ClosePort();
    // Syncs a settings store; false (kSettingsNotWritten recorded) when it did not
    // reach the disk.
    bool settingsReachedDisk(SettingsStore& store);
    // Destroys the transport objects (Disconnect).
    void releaseTransports();
    // The instrument's address on its USB network link.
    virtual QByteArray usbNetworkAddress() const;
    // The track accessory link, opened first when the track is in use.
    virtual bool connectTrack(const QString& address);
    virtual void disconnectTrack();

    // ExecuteBinary's modes (vireo2_execute_binary.cpp)
    struct ImageReceive {
        QStringList prepare;   // exchanges before the first receive
        QString receiveFirst;  // "... !"
        QString receiveNext;
        QString codeText;      // printf format of a bad status
        QString invalidText;   // a reply without "|"
    };
    int sendRaw(const unsigned char* message, int messageLength, int timeoutMs, unsigned char* buffer, int bufferSize);
    int receiveImage(const ImageReceive& mode, int timeoutMs, unsigned char* buffer, int bufferSize);

    // Exchange (vireo2_transact.cpp)
    // Whether the firmware dozes and commands that need the optics must wake
    // it first; worked out once, when the version is read.
    bool firmwareGateOn() const { return firmwareGateOn_.load(); }
    static bool firmwareHasGate(const QString& version);
    void setFirmwareVersion(const QString& version);
    // Wakes the instrument and waits until it reports itself active.
    bool powerStateCheck();
    qint32 simulatedReply(const QString& command, QByteArray& response);

    // Measurement (vireo2_measure.cpp)
    bool readMeasurementData();
    void readSpotFile();
    void refreshCalibrated();
    bool concludeCalRun(qint32 status);
    void useSetCount(int count);

    // Status poll (vireo2_status.cpp)
    QString checkButton();
    // Returns false when the lock must stay held (device found disconnected).
    bool checkMeasurement(bool& finished);
    bool checkScanDone();

    // Scan parts of the status poll (vireo2_scan_poll.cpp); the scanning
    // engine supplies them.
    StreamPoll pollInstrumentScan();
    // One "Scan Get Refls"; `status` receives the reply's status. After
    // "Scan Acquire Stop" (`instrumentStopped`) the end of the data ends the
    // scan wherever the head is.
    StreamPoll pollStreamedData(bool instrumentStopped = false, qint32* status = nullptr);
    bool streamedScan() const;
    bool scanEngineFinished();
    // Sends "Scan Acquire Stop", collects the last readings, builds.
    void collectScanData();
    bool drainAfterStop();
    bool readScanData();
    void checkTrackCompletion();
    void startTrackScan();

    DeviceSettings settings_;
    std::shared_ptr<Vireo2Scanning> scanning_;

    // Connection state
    bool instrumentPresent_ = true;
    // The track accessory is attached ("setmodel"); Connect then opens it.
    std::atomic<bool> trackInUse_{false};
    std::atomic<bool> connected_{false};
    std::atomic<bool> disconnecting_{false};
    std::atomic<bool> switchingMethod_{false};
    std::atomic<bool> connecting_{false};
    bool identified_ = true;
    std::atomic<CTransport*> transport_{nullptr};
    CEthernet* ethernetTransport_ = nullptr;
    USB* usbTransport_ = nullptr;
    // Transports another thread may still be using when Disconnect ran
    // without the operation lock; released with the device.
    std::vector<std::shared_ptr<CTransport>> retiredTransports_;
    bool storedDataRead_ = false;

    // Identity
    QString modelName_ = QStringLiteral("Vireo2");
    GuardedText aperture_{QStringLiteral("2.0mm")};
    GuardedText firmwareVersion_;
    std::atomic<bool> firmwareGateOn_{false};
    QString stateText_ = QStringLiteral("0");
    qint32 readingIndex_ = -1;

    // Status polling
    std::atomic<bool> noReply_{false};
    GuardedText noReplyCause_;
    std::atomic<bool> checkBusy_{false};
    std::atomic<qint32> scanState_{0};
    mutable Mutex buttonMutex_;
    QString buttonText_;
    QStringList buttonWords_;
    std::atomic<bool> scanFinished_{false};

    // Measurement
    std::atomic<bool> measuring_{false};
    bool singleAngle_ = false;

    // Correction profile: 'N' on, 'X' off, 'E' expired
    char profileState_ = 'X';
    qint32 profileEnabled_ = 0;

    // Remembered replies of the polled commands, for the debug log.
    QMap<QString, QByteArray> lastPolledReply_;

    // Instrument-mode scanning
    std::atomic<qint32> scanResultCode_{0};
    std::atomic<bool> scanAborted_{false};
    std::atomic<bool> scanDataRead_{false};
    mutable Mutex scannedMutex_;  // the store is read by host threads beside the poll
    QList<QList<QList<double>>> scannedPatches_;
    bool headSeenMoving_ = false;
    // The scanning engine's view of the device (error record, ScanAbort).
    std::unique_ptr<ScanHost> scanHost_;
    QString scanTrigger_ = QStringLiteral("0");

    // Command interface
    std::atomic<bool> trackModel_{false};    // the instrument is the track model ("setmodel")
    std::atomic<bool> m0m1Compliant_{false}; // no identification reply reports it yet
    DeviceMarks commandMarks_;  // the command handlers' marks
    // Every long operation started, newest last: a host may still ask the
    // last one for its progress, so none is released before the device.
    Mutex workerMutex_;
    std::vector<std::unique_ptr<WorkerThread>> workers_;
};

} // namespace vireo2
