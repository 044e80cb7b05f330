#pragma once

#include <QString>

#include "scanning/stream_poll.h"

namespace vireo2 {

class Vireo2Scanning;

// The device's scan operations as the scan and track commands reach them
// (CommandHost::scans()): the operations behind the scan exports, the
// scanning engine and the streamed-data poll of a track scan.
class ScanOperations {
public:
    virtual ~ScanOperations() = default;

    virtual int scanIsSupported() = 0;
    virtual int scanGetStatus() = 0;
    virtual int scanAbort() = 0;
    virtual int scanGetCount() = 0;
    virtual QString scanGetData(int patchIndex, int dataSet) = 0;
    virtual int scanStart() = 0;
    virtual Vireo2Scanning& scanning() = 0;
    virtual StreamPoll pollStreamedScan() = 0;
};

} // namespace vireo2
