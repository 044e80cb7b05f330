#include "device/vireo2_command_host.h"
#include "threading/locks.h"

#include "device/port_lock.h"
#include "device/vireo2.h"
#include "device/worker_thread.h"
#include "scanning/vireo2_scanning.h"

namespace vireo2 {
namespace {

// The operation lock for one command line, taken as every locked export
// takes it (a failure is recorded, and may reset the port).
class DevicePortHold : public PortHold {
public:
    explicit DevicePortHold(Nerva& device) : device_(device) { LockPort(device_, token_); }
    ~DevicePortHold() override { release(); }

    bool held() const override { return !token_.lockFailed; }
    void release() override
    {
        if (released_)
            return;
        released_ = true;
        UnlockPort(device_, token_);
    }

private:
    Nerva& device_;
    PortLockToken token_;
    bool released_ = false;
};

} // namespace

LogHelper& Vireo2CommandHost::log()
{
    return *device_.log();
}

const DeviceSettings& Vireo2CommandHost::settings() const
{
    return device_.settings();
}

qint32 Vireo2CommandHost::transact(const QString& command, QByteArray& response, int timeoutMs,
                                   ReplyDestination* destination)
{
    return device_.Transact(command, response, timeoutMs, 0, destination);
}

bool Vireo2CommandHost::setOption(const QString& name, const QString& value)
{
    return device_.SetOption(name, value);
}

int Vireo2CommandHost::calibrationStatus()
{
    return device_.GetCalStatus();
}

QString Vireo2CommandHost::aperture() const
{
    return device_.aperture();
}

QString Vireo2CommandHost::takeButtonReports()
{
    if (device_.IsConnected())
        device_.checkButton();
    MutexLocker lock(&device_.buttonMutex_);
    const QString reports = device_.buttonText_;
    device_.buttonText_.clear();
    device_.buttonWords_.clear();
    return reports;
}

std::unique_ptr<PortHold> Vireo2CommandHost::lockPort()
{
    return std::make_unique<DevicePortHold>(device_);
}

LongOperation* Vireo2CommandHost::longOperation()
{
    MutexLocker lock(&device_.workerMutex_);
    return device_.workerThread_;
}

bool Vireo2CommandHost::isM0M1Compliant() const
{
    return device_.m0m1Compliant_;
}

QString Vireo2CommandHost::takeScanRequested()
{
    return device_.scanning()->takeScanRequested() ? QStringLiteral("1") : QStringLiteral("0");
}

DeviceMarks& Vireo2CommandHost::marks()
{
    return device_.commandMarks_;
}

int Vireo2CommandHost::scanIsSupported()
{
    return device_.ScanIsSupported();
}

int Vireo2CommandHost::scanGetStatus()
{
    return device_.ScanGetStatus();
}

int Vireo2CommandHost::scanAbort()
{
    return device_.ScanAbort();
}

int Vireo2CommandHost::scanGetCount()
{
    return device_.ScanGetCount();
}

QString Vireo2CommandHost::scanGetData(int patchIndex, int dataSet)
{
    return device_.ScanGetData(patchIndex, dataSet);
}

int Vireo2CommandHost::scanStart()
{
    return device_.ScanStart();
}

Vireo2Scanning& Vireo2CommandHost::scanning()
{
    return *device_.scanning();
}

StreamPoll Vireo2CommandHost::pollStreamedScan()
{
    return device_.pollStreamedData();
}

int Vireo2CommandHost::executeBinary(const QByteArray& message, int timeoutMs, QByteArray* reply)
{
    return device_.ExecuteBinary(reinterpret_cast<const unsigned char*>(message.constData()), int(message.size()),
                                 timeoutMs, reinterpret_cast<unsigned char*>(reply->data()), int(reply->size()));
}

QString Vireo2CommandHost::option(const QString& name)
{
    return device_.GetOption(name);
}

bool Vireo2CommandHost::statusCheckRunning() const
{
    return device_.checkBusy_;
}

bool Vireo2CommandHost::isConnected()
{
    return device_.IsConnected();
}

} // namespace vireo2
