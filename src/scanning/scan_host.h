#pragma once

namespace vireo2 {

class LogHelper;

// What the scanning engine needs from the device that owns it: the error
// record and communication log, and the device's scan abort (which stops the
// track and tells the instrument). The device implements it, so the engine
// does not depend on the device library.
class ScanHost {
public:
    virtual ~ScanHost() = default;

    virtual LogHelper& log() = 0;
    // The ScanAbort operation of the device (takes the operation lock).
    virtual int scanAbort() = 0;
};

} // namespace vireo2
