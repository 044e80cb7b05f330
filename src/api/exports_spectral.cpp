// Spectral geometry, data and measurement.
#include "api/export_frame.h"
#include "vireo2.h"

using namespace vireo2;
using namespace vireo2::api;

extern "C" {

VIREO2_API int GetAngles(void)
{
    return guarded(-1, [] { return device().GetSpectralSetCount(); });
}

VIREO2_API int GetSpectralSetCount(void)
{
    return guarded(-1, [] { return device().GetSpectralSetCount(); });
}

VIREO2_API int GetWavelengths(void)
{
    return guarded(-1, [] { return device().GetWavelengthCount(); });
}

VIREO2_API int GetWavelengthCount(void)
{
    return guarded(-1, [] { return device().GetWavelengthCount(); });
}

VIREO2_API const char* GetAngleValue(int index)
{
    return guardedText([index] { return device().GetSpectralSetName(index); });
}

VIREO2_API const char* GetSpectralSetName(int index)
{
    return guardedText([index] { return device().GetSpectralSetName(index); });
}

VIREO2_API int GetWavelengthValue(int index)
{
    return guarded(-1, [index] { return device().GetWavelengthValue(index); });
}

VIREO2_API bool IsDataReady(void)
{
    return guarded(false, [] { return device().IsDataReady(); });
}

VIREO2_API float GetSpectralData(int set, int wavelength)
{
    return guarded(-1.0f, [=] { return device().GetSpectralData(set, wavelength); });
}

VIREO2_API int GetSpectralSetData(int set, float* values, int capacity)
{
    return guarded(-1, [=] { return values ? device().copySpectralSet(set, values, capacity) : -1; });
}

VIREO2_API const char* GetMeasAttributes(void)
{
    return guardedText([] { return device().GetMeasAttributes(); });
}

VIREO2_API bool Measure(void)
{
    return guarded(false, [] { return locked([](Vireo2& d) { return d.Measure(); }); });
}

} // extern "C"
