// The scan parts of the status poll: the read-back of a scan made on the
// instrument, the streamed-data poll of a track scan ("Scan Get Refls"),
// and the end of a traverse.
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>

#include "device/vireo2.h"
#include "scanning/vireo2_scanning.h"
#include "transport/reply_json.h"
#include "transport/reply_parser.h"
#include "settings/library_errors.h"

namespace vireo2 {
namespace {

constexpr int kReadBackTimeoutMs = 10000;
constexpr int kStreamPollTimeoutMs = 6000;
constexpr int kStopTimeoutMs = 3000;
constexpr int kPacketPrefix = 11;  // "SCAN 0x90 |"
constexpr int kShortestPacket = 10;
constexpr float kFloor = 0.0001f;

// After "Scan Acquire Stop" the instrument hands out what it took before the
// stop and then says it has no more. Readings still announced or arriving
// this long after the stop are not the traverse's: the scan fails.
constexpr int kDrainLimitMs = 2000;
// Between polls that are answered "more will follow" after the stop.
constexpr int kDrainPauseMs = 50;


} // namespace

// The streamed-scan flag: the instrument streams its readings while the head
// moves ("Options/StreamedScan" in the device store, on unless "0").
bool Vireo2::streamedScan() const
{
    return settings_.device->with([](QSettings& store) {
        return store.value(QStringLiteral("Options/StreamedScan"), QStringLiteral("1")).toString() != QLatin1String("0");
    });
}

StreamPoll Vireo2::pollInstrumentScan()
{
    if (!streamedScan()) {
        // Without streamed data the head's motion tells when the traverse
        // ended; the patches then come from "scan.csv".
        if (scanning_->headMoving()) {
            headSeenMoving_ = true;
            return StreamPoll::MoreData;
        }
        if (headSeenMoving_) {
            headSeenMoving_ = false;
            scanning_->replayScanCsv();
        }
        return StreamPoll::Nothing;
    }
    return pollStreamedData();
}

StreamPoll Vireo2::pollStreamedData(bool instrumentStopped, qint32* statusOut)
{
    QByteArray reply;
    const qint32 status = Transact(QStringLiteral("Scan Get Refls"), reply, kStreamPollTimeoutMs);
    if (statusOut)
        *statusOut = status;
    switch (status) {
    case -1:
        scanning_->fail();
        return StreamPoll::Failed;
    case 0x00:
        // Once the instrument was told to stop, the end of its data is the
        // end of the scan, wherever the head is.
        if (instrumentStopped || !scanning_->headMoving())
            return StreamPoll::Complete;
        log_->LogError(errors::kScanData, QStringLiteral("FAILED: Scan data ended prematurely %1").arg(status));
        scanning_->fail();
        return StreamPoll::Failed;
    case kStatusInProgress:  // more will follow
        return StreamPoll::MoreData;
    case kStatusNothingNew:
        return StreamPoll::Complete;
    case 0x90: {
        const QByteArray packet = reply.mid(kPacketPrefix);
        if (packet.size() >= kShortestPacket)
            return scanning_->acceptStreamPacket(packet);
        log_->LogErrorOnly(errors::kScanData, QStringLiteral("Code 0x90 with no json packet"));
        return StreamPoll::MoreData;
    }
    case 0x91:
        log_->LogError(errors::kScanData, QStringLiteral("FAILED: Instrument scan buffer overflow"));
        scanning_->fail();
        return StreamPoll::Failed;
    default:
        log_->LogError(status, QString::asprintf("FAILED: Status Error %02X", unsigned(status)));
        scanning_->fail();
        return StreamPoll::Failed;
    }
}

bool Vireo2::scanEngineFinished()
{
    return !scanning_->headMoving();
}

// The traverse is over: the instrument is stopped, its last readings are
// collected, then the patches are built.
void Vireo2::collectScanData()
{
    QByteArray reply;
    const qint32 stopStatus = Transact(QStringLiteral("Scan Acquire Stop"), reply, kStopTimeoutMs);
    if (!streamedScan() || scanning_->state() != Vireo2Scanning::kScanning)
        return;
    // An instrument that did not take the stop would stream on: its data
    // cannot be told from the traverse's.
    if (stopStatus != 0) {
        if (stopStatus != -1)
            log_->LogError(stopStatus, QString::asprintf("FAILED: Scan Acquire Stop Status Error %02X", unsigned(stopStatus)));
        scanning_->fail();
        return;
    }
    if (drainAfterStop())
        scanning_->finishStreamedScan();
}

// Polls until the stopped instrument has handed out its last readings, for
// at most kDrainLimitMs (plus the poll under way then). False when the scan
// failed (the failure routine has run).
bool Vireo2::drainAfterStop()
{
    QElapsedTimer elapsed;
    elapsed.start();
    bool packets = false;
    for (;;) {
        qint32 status = 0;
        const StreamPoll answer = pollStreamedData(true, &status);
        if (answer == StreamPoll::Complete)
            return scanning_->state() == Vireo2Scanning::kScanning;
        if (answer != StreamPoll::MoreData || scanning_->state() != Vireo2Scanning::kScanning)
            return false;
        packets = packets || status != kStatusInProgress;
        if (elapsed.elapsed() >= kDrainLimitMs) {
            log_->LogErrorOnly(errors::kScanData,
                               QStringLiteral("FAILED: Scan data did not end within %1 ms of Scan Acquire Stop (%2)")
                                   .arg(kDrainLimitMs)
                                   .arg(packets ? QStringLiteral("packets still arriving")
                                                : QStringLiteral("more announced")));
            scanning_->fail();
            return false;
        }
        if (status == kStatusInProgress)
            QThread::msleep(kDrainPauseMs);
    }
}

// Read-back of a scan made on the instrument: "scan get patchrecrefls"
// answers with the patches as JSON after the first "|".
bool Vireo2::readScanData()
{
    scanDataRead_ = false;
    QByteArray reply;
    if (Transact(QStringLiteral("scan get patchrecrefls"), reply, kReadBackTimeoutMs) != 0) {
        scanDataRead_ = true;
        return false;
    }
    const int bar = reply.indexOf('|');
    const QByteArray json = bar >= 0 ? reply.mid(bar + 1) : reply;
    QString error;
    const QJsonDocument document = parseReplyJson(json, &error);
    if (json.isEmpty() || document.isNull()) {
        scanDataRead_ = true;
        return false;
    }
    const int sets = GetSpectralSetCount();
    const int values = GetWavelengthCount();
    QList<QList<QList<double>>> patches;
    // The store holds what was read, also when a patch falls short.
    auto store = [&] {
        MutexLocker lock(&scannedMutex_);
        scannedPatches_ = patches;
        scanDataRead_ = true;
    };
    for (const QJsonValue& element : document.object().value(QLatin1String("scan")).toArray()) {
        QList<QList<double>> patch;
        for (int set = 0; set < sets; ++set) {
            const QString name = GetSpectralSetName(set);
            const QJsonArray spectrum = element.toObject().value(name).toArray();
            if (spectrum.size() < values) {
                log_->LogError(errors::kInsufficientData, QStringLiteral("FAILED readMeasurementData: Insufficient spectral data - Angle=%1").arg(name));
                patch.append(QList<double>());
                patches.append(patch);
                store();
                return false;
            }
            QList<double> data;
            data.reserve(values);
            for (int i = 0; i < values; ++i) {
                const double value = spectrum.at(i).toDouble();
                data.append(value < 0.0001 ? double(kFloor) : value);
            }
            patch.append(data);
        }
        patches.append(patch);
    }
    store();
    return true;
}

// Without the instrument the track's own completion: nothing to check when
// the instrument reports every reading itself.
void Vireo2::checkTrackCompletion()
{
    if (scanning_->state() == Vireo2Scanning::kScanning && !scanning_->headMoving())
        scanning_->replayScanCsv();
}

// The instrument's button asked for a track scan: a host asks
// "IsScanRequested" and starts it with "autoscanstart".
void Vireo2::startTrackScan()
{
    scanning_->setScanRequested(true);
}

} // namespace vireo2
