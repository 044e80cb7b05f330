#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <memory>

#include "scanning/stream_poll.h"

namespace vireo2 {

class LogHelper;
class ReplyDestination;
class Vireo2Scanning;
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
    // The raw-command operation behind the SendCommand export.
    virtual QString sendCommand(const QString& command, int timeoutMs) = 0;
    virtual bool setOption(const QString& name, const QString& value) = 0;
    // 0 valid, 1 not valid, -1 invalid data (recorded).
    virtual int calibrationStatus() = 0;
    virtual QString aperture() const = 0;
    // Asks the instrument once more for button presses, then hands over and
    // forgets every report gathered so far (blank-separated, oldest first).
    virtual QString takeButtonReports() = 0;

    virtual std::unique_ptr<PortHold> lockPort() = 0;

    // The most recent long operation, null before the first one.
    virtual LongOperation* longOperation() = 0;
    // Starts the long operation `words` name (name, then its arguments).
    virtual void startLongOperation(bool needsFile, const QStringList& words) = 0;

    // Chooses the model ("setmodel") and re-runs the device's initialisation.
    virtual void setModel(bool trackAttached, bool trackModel) = 0;
    virtual bool isM0M1Compliant() const = 0;
    // "1" when the track reported a scan trigger since the last question.
    virtual QString takeScanRequested() = 0;
    virtual int preparednessCounter() const = 0;
    virtual void setPaperTask(bool on) = 0;

    // The scanning operations behind the scan exports.
    virtual int scanIsSupported() = 0;
    virtual int scanGetStatus() = 0;
    virtual int scanAbort() = 0;
    virtual int scanGetCount() = 0;
    virtual QString scanGetData(int patchIndex, int dataSet) = 0;
    virtual int scanStart() = 0;
    // The scanning engine and the streamed-data poll of a track scan.
    virtual Vireo2Scanning& scanning() = 0;
    virtual StreamPoll pollStreamedScan() = 0;

    // ExecuteBinary's raw mode: one message out, the reply into `reply`
    // (at most its size); the byte count, 0 on failure (recorded).
    virtual int executeBinary(const QByteArray& message, int timeoutMs, QByteArray* reply) = 0;
    // A stored setting ("Connection_Method", ...).
    virtual QString option(const QString& name) = 0;
    // The device's transfer flag: cleared while an object push runs.
    virtual void setTransferComplete(bool complete) = 0;
    // A status check of the background poll is running right now.
    virtual bool statusCheckRunning() const = 0;
    virtual bool isConnected() = 0;
};

} // namespace vireo2
