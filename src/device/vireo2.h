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

    // Overrides of the Nerva interface are added here as each instrument
    // operation lands; until then the Nerva defaults answer.
    int GetMaxReferences() override;
    int GetMaxJobs() override;
    void init() override;

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
