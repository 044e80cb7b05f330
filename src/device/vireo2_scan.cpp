#include "device/vireo2.h"

#include "scanning/vireo2_scanning.h"

namespace vireo2 {

int Vireo2::ScanIsSupported()
{
    return 1;
}

int Vireo2::ScanGetStatus()
{
    if (trackInUse_)
        return scanning_->status();
    if (scanAborted_.exchange(false))
        return Vireo2Scanning::kAbortedOnInstrument;
    return scanResultCode_.exchange(0);
}

int Vireo2::ScanGetCount()
{
    if (trackInUse_)
        return scanning_->patchCount();
    const int stored = scannedPatches_.size();
    return expectedPatchCount_ >= 1 ? qMin(stored, expectedPatchCount_) : stored;
}

QString Vireo2::ScanGetData(int patchIndex, int dataSet)
{
    if (trackInUse_) {
        if (patchIndex >= scanning_->patchCount()) {
            log_->LogError(0x5017, QStringLiteral("FAILED scanGetData: patchIndex out of range"));
            return QString();
        }
        log_->LogError(0x5017, QStringLiteral("FAILED scanGetData: dataSet out of range"));
        return QString();
    }
    if (patchIndex < 0 || patchIndex >= scannedPatches_.size())
        return QString();
    const auto& patch = scannedPatches_.at(patchIndex);
    if (dataSet < 0 || dataSet >= patch.size())
        return QString();
    QString text;
    for (double value : patch.at(dataSet))
        text += QString::number(value, 'g', 6) + QLatin1Char(' ');
    return text;
}

} // namespace vireo2

namespace vireo2 {

// Configuring, starting and stopping a scan drive the instrument; they land
// with the scanning engine. Until then they report failure.
int Vireo2::ScanConfig(int, float) { return 0; }
int Vireo2::ScanStart() { return 0; }
int Vireo2::ScanAbort() { return 0; }

} // namespace vireo2
