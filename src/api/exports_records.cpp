// Samples, references, tolerances and jobs: answered by the device at once,
// without the operation lock and without talking to the instrument.
#include "api/export_frame.h"
#include "vireo2.h"

using namespace vireo2;
using namespace vireo2::api;

extern "C" {

VIREO2_API bool ClearSamples(void)
{
    return guarded(false, [] { return device().ClearSamples(); });
}

VIREO2_API int GetSampleCount(void)
{
    return guarded(0, [] { return device().GetSampleCount(); });
}

VIREO2_API bool SetCurrentSample(int index)
{
    return guarded(false, [index] { return device().SetCurrentSample(index); });
}

VIREO2_API int GetSampleTagCount(void)
{
    return guarded(0, [] { return device().GetSampleTagCount(); });
}

VIREO2_API const char* GetSampleTag(int index)
{
    return guardedText([index] { return device().GetSampleTag(index); });
}

VIREO2_API float GetSampleData(int set, int wavelength)
{
    return guarded(-1.0f, [=] { return device().GetSampleData(set, wavelength); });
}

VIREO2_API const char* GetSampleReference(void)
{
    return guardedText([] { return device().GetSampleReference(); });
}

VIREO2_API const char* GetSampleGroup(void)
{
    return guardedText([] { return device().GetSampleGroup(); });
}

VIREO2_API const char* GetSampleAttributes(void)
{
    return guardedText([] { return device().GetSampleAttributes(); });
}

VIREO2_API int GetMaxReferences(void)
{
    return guarded(0, [] { return device().GetMaxReferences(); });
}

VIREO2_API bool ClearReferences(void)
{
    return guarded(false, [] { return device().ClearReferences(); });
}

VIREO2_API int GetStoredReferences(void)
{
    return guarded(0, [] { return device().GetStoredReferences(); });
}

VIREO2_API bool SetCurrentReference(int index)
{
    return guarded(false, [index] { return device().SetCurrentReference(index); });
}

VIREO2_API const char* GetRefName(void)
{
    return guardedText([] { return device().GetRefName(); });
}

VIREO2_API int GetRefID(void)
{
    return guarded(-1, [] { return device().GetRefID(); });
}

VIREO2_API float GetRefValue(int set, int wavelength)
{
    return guarded(-1.0f, [=] { return device().GetRefValue(set, wavelength); });
}

VIREO2_API int GetRefToleranceCount(void)
{
    return guarded(-1, [] { return device().GetRefToleranceCount(); });
}

VIREO2_API bool SetCurrentTolerance(int index)
{
    return guarded(false, [index] { return device().SetCurrentTolerance(index); });
}

VIREO2_API const char* GetTolType(void)
{
    return guardedText([] { return device().GetTolType(); });
}

VIREO2_API const char* GetTolAngle(void)
{
    return guardedText([] { return device().GetTolAngle(); });
}

VIREO2_API const char* GetTolPrimaryIllumObs(void)
{
    return guardedText([] { return device().GetTolPrimaryIllumObs(); });
}

VIREO2_API const char* GetTolSecondaryIllumObs(void)
{
    return guardedText([] { return device().GetTolSecondaryIllumObs(); });
}

VIREO2_API float GetTolValue(int index)
{
    return guarded(-1.0f, [index] { return device().GetTolValue(index); });
}

VIREO2_API int GetMaxJobs(void)
{
    return guarded(0, [] { return device().GetMaxJobs(); });
}

VIREO2_API bool ClearJobs(void)
{
    return guarded(false, [] { return device().ClearJobs(); });
}

VIREO2_API bool TransmitJobs(void)
{
    return guarded(false, [] { return device().TransmitJobs(); });
}

VIREO2_API const Vireo2SampleDateTime* GetSampleDateTime(void)
{
    return guarded<const Vireo2SampleDateTime*>(nullptr, [] {
        return static_cast<const Vireo2SampleDateTime*>(device().GetSampleDateTime());
    });
}

VIREO2_API bool AddJob(const char* job)
{
    return guarded(false, [job] {
        QString text;
        return readText(job, "AddJob", text) && device().AddJob(text);
    });
}

} // extern "C"
