#include "device/vireo2.h"
#include "threading/locks.h"

#include "device/worker_thread.h"
#include "scanning/scan_host.h"
#include "scanning/vireo2_scanning.h"

namespace vireo2 {
namespace {

class DeviceScanHost : public ScanHost {
public:
    explicit DeviceScanHost(Vireo2& device) : device_(device) {}
    LogHelper& log() override { return *device_.log(); }
    int scanAbort() override { return device_.ScanAbort(); }

private:
    Vireo2& device_;
};

} // namespace

Vireo2::Vireo2()
    : settings_(DeviceSettings::load(QStringLiteral("Vireo2"))),
      scanning_(std::make_shared<Vireo2Scanning>())
{
    wavelengthCount_ = 31;
    scanHost_ = std::make_unique<DeviceScanHost>(*this);
    scanning_->setHost(scanHost_.get());
    if (!settings_.dataPathProblem.isEmpty())
        log_->WriteLine(settings_.dataPathProblem);
}

Vireo2::~Vireo2()
{
    Disconnect();
    // Long operations use the device until they end.
    for (const auto& worker : workers_) {
        worker->wait();
        worker->joined();
    }
}

void Vireo2::init()
{
    // The variant whose model text carries "Xp" has no polarised condition.
    modelCode_ = modelName_.contains(QLatin1String("Xp")) ? 88 : 78;
    scanning_->setTrackInUse(trackInUse_);
    MutexLocker lock(&storeMutex_);
    setCount_ = modelCode_ == 88 ? 3 : 4;
    for (int set = 0; set < 4; ++set)
        setNames_.insert(QStringLiteral("M%1").arg(set), set);
}

int Vireo2::GetMaxReferences()
{
    return 32000;
}

int Vireo2::GetMaxJobs()
{
    return 100;
}

} // namespace vireo2
