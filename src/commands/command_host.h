#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <memory>

#include "commands/device_marks.h"
#include "commands/scan_operations.h"

namespace vireo2 {

class LogHelper;
class ReplyDestination;
struct DeviceSettings;

// The operation lock held for one command line. Destroying it releases the
// lock; release() does so earlier (a long operation takes the lock itself).
class PortHold {
public:
    virtual ~PortHold() = default;
    // False when the lock could not be had; the failure is already recorded.
    virtual bool held() const = 0;
    virtual void release() = 0;
};

// A long operation running on the device's worker thread.
class LongOperation {
public:
    virtual ~LongOperation() = default;
    // 0 while running, 100 when done, -1 when failed.
    virtual double progress() const = 0;
    virtual bool running() const = 0;
    virtual bool finished() const = 0;
    virtual void requestAbort() = 0;
};

// What the command dispatcher needs from the device. The device implements
// it; the commands library cannot call the device library directly because
// the device links the commands.
class CommandHost {
public:
    virtual ~CommandHost() = default;

    // Error record, communication log and settings stores.
    virtual LogHelper& log() = 0;
    virtual const DeviceSettings& settings() const = 0;

    // One instrument exchange (status, or -1 / a library code on failure). A
    // large reply goes into memory `destination` offers (the response is
    // then a view of it).
    virtual qint32 transact(const QString& command, QByteArray& response, int timeoutMs,
                            ReplyDestination* destination = nullptr) = 0;
    virtual bool setOption(const QString& name, const QString& value) = 0;
    // 0 valid, 1 not valid, -1 invalid data (recorded).
    virtual int calibrationStatus() = 0;
    virtual QString aperture() const = 0;
    // Asks the instrument once more for button presses, then hands over and
    // forgets every report gathered so far (blank-separated, oldest first).
    virtual QString takeButtonReports() = 0;

    virtual std::unique_ptr<PortHold> lockPort() = 0;

    // The most recent long operation, null before the first one. (A line
    // starts one, or chooses the model, through its answer's follow-up.)
    virtual LongOperation* longOperation() = 0;

    virtual bool isM0M1Compliant() const = 0;
    // "1" when the track reported a scan trigger since the last question.
    virtual QString takeScanRequested() = 0;
    // The handlers' own marks on the device (transfer, paper task, ...).
    virtual DeviceMarks& marks() = 0;

    // The scan operations, for the scan and track commands.
    virtual ScanOperations& scans() = 0;

    // ExecuteBinary's raw mode: one message out, the reply into `reply`
    // (at most its size); the byte count, 0 on failure (recorded).
    virtual int executeBinary(const QByteArray& message, int timeoutMs, QByteArray* reply) = 0;
    // A stored setting ("Connection_Method", ...).
    virtual QString option(const QString& name) = 0;
    // A status check of the background poll is running right now.
    virtual bool statusCheckRunning() const = 0;
    virtual bool isConnected() = 0;
};

} // namespace vireo2
