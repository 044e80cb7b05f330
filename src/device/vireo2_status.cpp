// The background status check: button presses, readings taken at the
// instrument and the end of scans.
#include "device/vireo2.h"
#include "threading/locks.h"

#include "scanning/vireo2_scanning.h"
#include "transport/ctransport.h"
#include "transport/reply_parser.h"

namespace vireo2 {
namespace {

constexpr int kButtonTimeoutMs = 5000;
constexpr int kPollTimeoutMs = 3000;

// The check's three questions to the instrument.
const QString kButtonQuery = QStringLiteral("button triggered?");
const QString kMeasurementQuery = QStringLiteral("meas done?");
const QString kScanQuery = QStringLiteral("scan done?");
// How much of the instrument's button reports is kept for the command
// interface; older words are dropped first.
constexpr int kButtonWordLimit = 256;

bool needsCalibration(qint32 status)
{
    return (status >= 0x85 && status <= 0x89) || status == 0x8E;
}

// Clears a flag on every way out of the check.
class BusyFlag {
public:
    explicit BusyFlag(std::atomic<bool>& flag) : flag_(flag) {}
    ~BusyFlag() { flag_ = false; }

private:
    std::atomic<bool>& flag_;
};

// While the instrument answers "nothing new", the check asks its three
// questions one after the other whatever else it finds: the transport may
// ask the next one as soon as such an answer arrives, without first handing
// it back to this thread (one thread hand-over for the three instead of
// three). Any other answer, and the end of the check, ends the plan.
class PollReadAhead {
public:
    explicit PollReadAhead(CTransport* transport) : transport_(transport)
    {
        // Built once: the plan is made five times a second.
        static const QByteArray lead = kButtonQuery.toUtf8();
        static const QList<ReadAheadStep> steps{{kMeasurementQuery.toUtf8(), kPollTimeoutMs, kStatusNothingNew},
                                                {kScanQuery.toUtf8(), kPollTimeoutMs, kStatusNothingNew}};
        if (transport_)
            transport_->planReadAhead(lead, steps);
    }
    ~PollReadAhead()
    {
        if (transport_)
            transport_->dropReadAhead();
    }
    PollReadAhead(const PollReadAhead&) = delete;
    PollReadAhead& operator=(const PollReadAhead&) = delete;

private:
    CTransport* transport_;
};

} // namespace

void Vireo2::CheckStatus()
{
    // The check's steps are timing marks: written with profiling on
    // (Options/Profile), they show where a check stopped when the instrument
    // stalls; otherwise an idle poll leaves the log alone.
    auto mark = [this](const QString& text) { log_->ProfileMark(text); };

    mark(QStringLiteral("In Check Status Method"));
    if (checkBusy_.exchange(true))
        return;
    BusyFlag busy(checkBusy_);

    if (!IsConnected())
        return;
    mark(QStringLiteral("CHECK STATUS PRE LOCK"));
    if (!operationMutex_->tryLock(0))
        return;
    mark(QStringLiteral("CHECK STATUS POST LOCK"));
    // Background failures are logged, never seen in the host's error record.
    LogHelper::PrivateErrorRecord ownRecord(*log_);
    auto unlock = [&] { operationMutex_->unlock(); };

    const int scanStatus = ScanGetStatus();
    mark(QStringLiteral("CHECK STATUS POST SCAN"));
    // Reading the status consumes terminal values; keep those the host must
    // still see.
    if (scanStatus == Vireo2Scanning::kAbortedOnInstrument) {
        scanFinished_ = true;
        scanAborted_ = true;
    } else if (scanStatus == Vireo2Scanning::kDataReady) {
        scanResultCode_ = Vireo2Scanning::kDataReady;
    }

    if (instrumentPresent_ && scanStatus == Vireo2Scanning::kScanning) {
        const StreamPoll answer = pollInstrumentScan();
        // A failed poll has already ended the scan (abort, state -1).
        if (answer == StreamPoll::Failed) {
            unlock();
            return;
        }
        if (answer == StreamPoll::Complete || scanEngineFinished())
            collectScanData();
        unlock();
        return;
    }
    if (!instrumentPresent_ && trackInUse_) {
        checkTrackCompletion();
        unlock();
        return;
    }
    if (scanStatus == Vireo2Scanning::kDataReady)
        scanState_ = 3;

    // Found disconnected after taking the lock: the lock stays held.
    if (!IsConnected())
        return;

    const PollReadAhead readAhead(transport_.load());
    const QString pressed = checkButton();
    const bool scanButton = pressed.section(QLatin1Char(' '), 0, 0)
                                .contains(QLatin1String("Start_Scan_Measurement"), Qt::CaseInsensitive);
    if (scanButton && !instrumentPresent_ && trackInUse_) {
        startTrackScan();
        unlock();
        return;
    }
    // On the track the instrument's scan button asks the host for a
    // traverse: "IsScanRequested" answers "1" until the host asked.
    if (scanButton && trackInUse_)
        scanning_->setScanRequested(true);

    bool finished = false;
    if (!checkMeasurement(finished))
        return;
    if (finished) {
        unlock();
        return;
    }
    if (!checkScanDone())
        return;
    unlock();
}

// Asks for button presses made on the instrument; returns the report, empty
// when there was none.
QString Vireo2::checkButton()
{
    log_->ProfileMark(QStringLiteral("CHECK STATUS PRE BTN TRIGGERED"));
    QByteArray reply;
    const qint32 status = Transact(kButtonQuery, reply, kButtonTimeoutMs);
    log_->ProfileMark(QStringLiteral("CHECK STATUS POST BTN TRIGGERED"));
    if (status != 0)
        return QString();
    const QString text = ResponseValue(reply);
    MutexLocker lock(&buttonMutex_);
    if (!buttonText_.isEmpty())
        buttonText_ += QLatin1Char(' ');
    buttonText_ += text;
    buttonWords_ += text.split(QLatin1Char(' '));
    if (buttonWords_.size() > kButtonWordLimit) {
        buttonWords_ = buttonWords_.mid(buttonWords_.size() - kButtonWordLimit);
        buttonText_ = buttonWords_.join(QLatin1Char(' '));
    }
    return text;
}

// Asks whether the instrument took a reading by itself and reads it out.
// `finished` tells the caller the check is over (lock to be released);
// returns false when the lock must stay held.
bool Vireo2::checkMeasurement(bool& finished)
{
    finished = true;
    log_->ProfileMark(QStringLiteral("CHECK STATUS PRE MEAS"));
    if (!IsConnected()) {
        log_->ProfileMark(QStringLiteral("CHECK STATUS NO CONNECTION MEAS"));
        return false;
    }
    QByteArray reply;
    const qint32 status = Transact(kMeasurementQuery, reply, kPollTimeoutMs);
    log_->ProfileMark(QStringLiteral("CHECK STATUS POST MEAS"));

    if (status == 0x80) {
        log_->WriteLine(QStringLiteral("Measurement on the device returned code 0x80 -- 'STATUS_CALC_ERROR'"));
        return true;
    }
    if (needsCalibration(status)) {
        calibrated_ = false;
        return true;
    }
    if (status != 0) {
        finished = false;
        return true;
    }
    if (reply != "MEAS 0x00") {
        log_->WriteLine(QStringLiteral("***** COMMAND/RESPONSE OUT OF SEQUENCE ***** SEND:meas done? RECV:%1")
                            .arg(QString::fromUtf8(reply)));
        return true;
    }
    // A reading taken with the instrument's own button.
    dataReady_ = false;
    publishSpectra({});
    if (!IsConnected())
        return false;
    if (readMeasurementData())
        dataReady_ = true;
    return true;
}

// Asks whether a scan made on the instrument has ended and reads it back.
// Returns false when the lock must stay held.
bool Vireo2::checkScanDone()
{
    if (!IsConnected())
        return false;
    QByteArray reply;
    const qint32 status = Transact(kScanQuery, reply, kPollTimeoutMs);
    if (status != 0) {
        if (needsCalibration(status))
            calibrated_ = false;
        return true;
    }
    if (reply != "SCAN 0x00") {
        log_->WriteLine(QStringLiteral("***** COMMAND/RESPONSE OUT OF SEQUENCE ***** SEND:scan done? RECV:%1")
                            .arg(QString::fromUtf8(reply)));
        return true;
    }
    scanState_ = 0;
    publishSpectra({});
    if (!IsConnected())
        return false;
    if (readScanData()) {
        scanState_ = 3;
        scanResultCode_ = Vireo2Scanning::kDataReady;
    }
    return true;
}

} // namespace vireo2
