// White and black calibration and the calibration state of the instrument.
#include "device/vireo2.h"
#include "threading/locks.h"

#include "device/brief_lock.h"
#include "transport/reply_parser.h"

namespace vireo2 {
namespace {

constexpr qint32 kNotConnected = 0x500C;
constexpr qint32 kInvalidStep = 0x500E;
constexpr qint32 kInvalidCalData = 0x501A;
constexpr qint32 kOperationInProgress = 20510;
constexpr qint32 kLockFailed = 20497;
constexpr int kCalTimeoutMs = 3000;

const QString kInvalidCalDataText = QStringLiteral("Cal Query Status returned invalid data");

bool calibrationNotValid(qint32 status)
{
    return status >= 0x85 && status <= 0x88;
}

// The message for a failed "Cal Run".
QString calRunFailure(qint32 status)
{
    if (status == -1)
        return QStringLiteral("FAILED calibrateStep: Communications Error.");
    if (status == 0x8C || status == 0x8D)
        return QStringLiteral("FAILED calibrateStep: Incorrect or dirty White Calibration Standard.");
    return QStringLiteral("FAILED calibrateStep: Code %1").arg(status);
}

} // namespace

// Takes the operation lock as the locked exports do; on failure the reason
// is recorded and, when no long operation explains it, the instrument is
// disconnected so that the next call starts afresh.
static bool lockOperation(Vireo2& device, RecursiveMutex* mutex)
{
    if (mutex->tryLock(kOperationLockTimeoutMs))
        return true;
    if (device.isWorkerRunning()) {
        device.log()->LogErrorOnly(kOperationInProgress, QStringLiteral("FAILED Execute: Operation in Progress"));
        return false;
    }
    device.log()->LogErrorOnly(kLockFailed, QStringLiteral("FAILED LockPort"));
    device.Disconnect();
    device.log()->WriteLine(QStringLiteral("PORT IS VALID : %1").arg(device.isPortValid() ? 1 : 0));
    return false;
}

bool Vireo2::WhiteCal()
{
    QByteArray reply;
    return Transact(QStringLiteral("CalWhite"), reply, kCalTimeoutMs) == 0;
}

bool Vireo2::BlackCal()
{
    BriefLock pollWait(operationMutex_.get());
    QByteArray reply;
    return Transact(QStringLiteral("CalBlack"), reply, kCalTimeoutMs) == 0;
}

int Vireo2::GetCalStatus()
{
    QByteArray reply;
    const qint32 status = Transact(QStringLiteral("Cal Query Status"), reply, kCalTimeoutMs);
    if (status != 0) {
        if (calibrationNotValid(status))
            return 1;
        log_->LogErrorOnly(kInvalidCalData, kInvalidCalDataText);
        return -1;
    }
    const QString value = ResponseValue(reply);
    if (value.size() < 2) {
        log_->LogErrorOnly(kInvalidCalData, kInvalidCalDataText);
        return 1;
    }
    return value.contains(QLatin1String("OK")) ? 0 : 1;
}

bool Vireo2::Calibrate()
{
    if (!IsConnected()) {
        log_->LogErrorOnly(kNotConnected, QStringLiteral("FAILED calibrate: NOT Connected"));
        return false;
    }
    if (!lockOperation(*this, operationMutex_.get()))
        return false;

    QByteArray reply;
    const bool done = concludeCalRun(Transact(QStringLiteral("Cal Run"), reply, kCalTimeoutMs));
    operationMutex_->unlock();
    return done;
}

bool Vireo2::CalibrateStep(const QString& step)
{
    if (!lockOperation(*this, operationMutex_.get()))
        return false;
    auto fail = [this](qint32 code, const QString& message) {
        log_->LogErrorOnly(code, message);
        operationMutex_->unlock();
        return false;
    };
    if (!step.contains(QLatin1String("White")))
        return fail(kInvalidStep, QStringLiteral("FAILED calibrateStep: Invalid Step"));
    if (!IsConnected())
        return fail(kNotConnected, QStringLiteral("FAILED calibrateStep: NOT Connected"));

    QByteArray reply;
    const qint32 status = Transact(QStringLiteral("Cal Run"), reply, kCalTimeoutMs);
    log_->setError(status, QString::asprintf("<%02X>", unsigned(status)));
    const bool done = concludeCalRun(status);
    operationMutex_->unlock();
    return done;
}

// Ends a "Cal Run": refreshes the calibrated flag (not after a lost reply)
// and leaves the cause of a failure in the error record, over whatever the
// refresh's own exchange recorded.
bool Vireo2::concludeCalRun(qint32 status)
{
    if (status == 0) {
        refreshCalibrated();
        return true;
    }
    const QString message = calRunFailure(status);
    log_->LogError(status, message);
    if (status != -1)
        refreshCalibrated();
    log_->setError(status, message);
    return false;
}

QString Vireo2::GetCalSteps()
{
    return QStringLiteral("White");
}

QString Vireo2::GetCalMode()
{
    return QStringLiteral("Software");
}

QString Vireo2::GetCalibrationStandard()
{
    return QStringLiteral("HUGA");
}

QString Vireo2::GetCalPlaqSN()
{
    QByteArray reply;
    if (Transact(QStringLiteral("SerialNum Get Cal"), reply, kCalTimeoutMs) != 0)
        return QString();
    return ResponseValue(reply);
}

} // namespace vireo2
