// White and black calibration and the calibration state of the instrument.
#include "device/vireo2.h"
#include "threading/locks.h"

#include "device/brief_lock.h"
#include "transport/reply_parser.h"
#include "settings/library_errors.h"

namespace vireo2 {
namespace {

constexpr int kCalTimeoutMs = 3000;


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
        device.log()->LogErrorOnly(errors::kLongOperationRunning, errors::kLongOperationRunning.message());
        return false;
    }
    device.log()->LogErrorOnly(errors::kLockFailed, errors::kLockFailed.message());
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
        // Without any reply the code stays the one callers know, and the
        // text names the link's failure instead of blaming the data.
        const QString text = errors::kInvalidCalibrationData.message();
        log_->LogErrorOnly(errors::kInvalidCalibrationData,
                           lastTransactHadNoReply() ? text + QStringLiteral(" - no reply: ") + noReplyCause() : text);
        return -1;
    }
    const QString value = ResponseValue(reply);
    if (value.size() < 2) {
        log_->LogErrorOnly(errors::kInvalidCalibrationData, errors::kInvalidCalibrationData.message());
        return 1;
    }
    return value.contains(QLatin1String("OK")) ? 0 : 1;
}

bool Vireo2::Calibrate()
{
    if (!IsConnected()) {
        log_->LogErrorOnly(errors::kCalibrateNotConnected, errors::kCalibrateNotConnected.message());
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
    auto fail = [this](const LibraryError& error) {
        log_->LogErrorOnly(error, error.message());
        operationMutex_->unlock();
        return false;
    };
    if (!step.contains(QLatin1String("White")))
        return fail(errors::kInvalidCalibrationStep);
    if (!IsConnected())
        return fail(errors::kCalibrateStepNotConnected);

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
