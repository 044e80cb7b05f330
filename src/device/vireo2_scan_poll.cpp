// The scan parts of the status poll. The scanning engine does not drive
// scans yet: its state stays idle, so these are reached only once scanning
// lands, and until then they report "nothing happened".
#include "device/vireo2.h"

#include "scanning/vireo2_scanning.h"

namespace vireo2 {

// Poll code of a running instrument scan (0 nothing, 2 more to come,
// 8 complete, anything else failed).
int Vireo2::pollInstrumentScan()
{
    return 0;
}

bool Vireo2::scanEngineFinished()
{
    return false;
}

void Vireo2::scanEngineFailed()
{
    scanning_->setState(Vireo2Scanning::kFailed);
}

void Vireo2::collectScanData() {}

// Read-back of a scan made on the instrument.
bool Vireo2::readScanData()
{
    scanDataRead_ = true;
    return false;
}

void Vireo2::checkTrackCompletion() {}

void Vireo2::startTrackScan() {}

} // namespace vireo2
