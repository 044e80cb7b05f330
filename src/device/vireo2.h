#pragma once

#include <QByteArray>
#include <QMap>
#include <QStringList>
#include <atomic>
#include <memory>

#include "device/nerva.h"
#include "settings/settings_store.h"

namespace vireo2 {

class CTransport;
class CEthernet;
class USB;
class Vireo2Scanning;

// The Vireo2 instrument: connection, identification, status polling,
// measurement, calibration and settings on top of the Nerva interface.
class Vireo2 : public Nerva {
    Q_OBJECT
public:
    Vireo2();
    ~Vireo2() override;

    bool Connect() override;
    bool Disconnect() override;
    bool IsConnected() override;
    QString GetAvailableSettings() override;
    QString GetSettingOptions(const QString& name) override;
    QString GetOption(const QString& name) override;
    bool SetOption(const QString& name, const QString& value) override;
    bool Measure() override;
    QString GetMeasAttributes() override;
    int GetMaxReferences() override;
    int GetMaxJobs() override;
    bool WhiteCal() override;
    bool BlackCal() override;
    bool Calibrate() override;
    int GetCalStatus() override;
    bool CalibrateStep(const QString& step) override;
    QString GetCalSteps() override;
    QString GetCalMode() override;
    QString GetCalibrationStandard() override;
    QString GetCalPlaqSN() override;
    QString GetConfiguration() override;
    bool SetConfiguration(const QString& configuration) override;
    QString Execute(const QString& commandLine) override;
    int ExecuteBinary(const unsigned char* message, int messageLength, int timeoutMs,
                      unsigned char* buffer, int bufferSize) override;
    QString SendCommand(const QString& command, int timeoutMs) override;
    void init() override;
    void CheckStatus() override;

    bool isPortValid() override;

    // One command/reply exchange with status parsing, logging and error
    // recording. Returns the instrument status, -1, 0x5000, 0x501E or a
    // transport error code.
    qint32 Transact(const QString& command, QByteArray& response, int timeoutMs, int length = 0);

    // Scanning exports (not part of the virtual interface).
    int ScanIsSupported();
    int ScanConfig(int patchCount, float patchWidthMm);
    int ScanStart();
    int ScanAbort();
    int ScanGetStatus();
    int ScanGetCount();
    QString ScanGetData(int patchIndex, int dataSet);

    const DeviceSettings& settings() const { return settings_; }
    const std::shared_ptr<Vireo2Scanning>& scanning() const { return scanning_; }
    QString modelName() const { return modelName_; }
    QString aperture() const { return aperture_; }
    QString firmwareVersion() const { return firmwareVersion_; }

protected:
    bool OpenPort();
    bool Identify();
    bool readMeasurementData();
    void refreshCalibrated();
    bool powerStateCheck();

    DeviceSettings settings_;
    std::shared_ptr<Vireo2Scanning> scanning_;
    QMap<QString, qint32> commandIds_;

    // Connection state
    bool instrumentPresent_ = true;
    bool trackInUse_ = false;
    std::atomic<bool> connected_{false};
    std::atomic<bool> disconnecting_{false};
    std::atomic<bool> switchingMethod_{false};
    std::atomic<bool> connecting_{false};
    bool identified_ = true;
    CTransport* transport_ = nullptr;
    CEthernet* ethernetTransport_ = nullptr;
    USB* usbTransport_ = nullptr;
    bool storedDataRead_ = false;

    // Identity
    QString modelName_ = QStringLiteral("Vireo2");
    QString aperture_ = QStringLiteral("2.0mm");
    QString firmwareVersion_;
    QString stateText_ = QStringLiteral("0");
    qint32 readingIndex_ = -1;

    // Status polling
    std::atomic<bool> checkBusy_{false};
    std::atomic<qint32> scanState_{0};
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
    qint32 expectedPatchCount_ = 0;
    double patchWidth_ = 0.0;
    std::atomic<qint32> scanResultCode_{0};
    std::atomic<bool> scanAborted_{false};
    std::atomic<bool> scanDataRead_{false};
    QList<QList<QList<double>>> scannedPatches_;
    QString scanTrigger_ = QStringLiteral("0");
};

} // namespace vireo2
