// Strip scanning: no lock at this level; the device takes it where needed.
#include "api/export_frame.h"
#include "scanning/patch_quality.h"
#include "vireo2.h"

using namespace vireo2;
using namespace vireo2::api;

static_assert(VIREO2_SCAN_CORRECTED == quality::kCorrected && VIREO2_SCAN_UNSTEADY == quality::kUnsteady &&
                  VIREO2_SCAN_UNCERTAIN == quality::kUncertain && VIREO2_SCAN_LIKE_PAPER == quality::kLikePaper &&
                  VIREO2_SCAN_SHORT == quality::kShort && VIREO2_SCAN_WIDTH_MISMATCH == quality::kWidthMismatch &&
                  VIREO2_SCAN_SUSPECT == quality::kSuspect,
              "the header's scan quality flags are the engine's");

extern "C" {

VIREO2_API int ScanIsSupported(void)
{
    return guarded(1, [] { return device().ScanIsSupported(); });
}

VIREO2_API int ScanConfig(int patchCount, float patchWidthMm)
{
    return guarded(0, [=] { return device().ScanConfig(patchCount, patchWidthMm); });
}

VIREO2_API int ScanStart(void)
{
    return guarded(0, [] { return device().ScanStart(); });
}

VIREO2_API int ScanAbort(void)
{
    return guarded(0, [] { return device().ScanAbort(); });
}

VIREO2_API int ScanGetStatus(void)
{
    return guarded(-1, [] { return device().ScanGetStatus(); });
}

VIREO2_API int ScanGetCount(void)
{
    return guarded(0, [] { return device().ScanGetCount(); });
}

VIREO2_API int ScanGetPatchRecord(int patchIndex, double* values, int capacity)
{
    return guarded(-1, [=] { return values ? device().copyPatchRecord(patchIndex, values, capacity) : -1; });
}

VIREO2_API int ScanGetQuality(int patchIndex)
{
    return guarded(-1, [=] { return device().scanQuality(patchIndex); });
}

// ScanGetData keeps its own result buffer, separate from the other texts.
VIREO2_API const char* ScanGetData(int patchIndex, int dataSet)
{
    try {
        thread_local QByteArray buffer;
        buffer = device().ScanGetData(patchIndex, dataSet).toUtf8();
        return buffer.constData();
    } catch (...) {
        return "";
    }
}

} // extern "C"
