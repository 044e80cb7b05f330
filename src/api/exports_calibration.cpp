// Calibration.
#include "api/export_frame.h"
#include "vireo2.h"

using namespace vireo2;
using namespace vireo2::api;

extern "C" {

VIREO2_API int GetCalStatus(void)
{
    return guarded(-1, [] { return locked([](Vireo2& d) { return d.GetCalStatus(); }); });
}

VIREO2_API bool WhiteCal(void)
{
    return guarded(false, [] { return locked([](Vireo2& d) { return d.WhiteCal(); }); });
}

VIREO2_API bool SetCalMode(void)
{
    return guarded(false, [] { return locked([](Vireo2& d) { return d.SetCalMode(); }); });
}

VIREO2_API const char* GetCalPlaqSN(void)
{
    return guardedText([] { return locked([](Vireo2& d) { return d.GetCalPlaqSN(); }); });
}

VIREO2_API float GetCalValues(int index)
{
    return guarded(0.0f, [index] { return locked([index](Vireo2& d) { return d.GetCalValues(index); }); });
}

// BlackCal, Calibrate and CalibrateStep take no lock here: Calibrate and
// CalibrateStep take it themselves, BlackCal leaves ordering to the caller.
VIREO2_API bool BlackCal(void)
{
    return guarded(false, [] { return device().BlackCal(); });
}

VIREO2_API bool Calibrate(void)
{
    return guarded(false, [] { return device().Calibrate(); });
}

VIREO2_API bool CalibrateStep(const char* step)
{
    return guarded(false, [step] {
        QString name;
        return readText(step, "CalibrateStep", name) && device().CalibrateStep(name);
    });
}

VIREO2_API const char* GetCalSteps(void)
{
    return guardedText([] { return device().GetCalSteps(); });
}

VIREO2_API const char* GetCalMode(void)
{
    return guardedText([] { return device().GetCalMode(); });
}

VIREO2_API const char* GetCalibrationStandard(void)
{
    return guardedText([] { return device().GetCalibrationStandard(); });
}

VIREO2_API int GetCalProgress(void)
{
    return guarded(-1, [] { return device().GetCalProgress(); });
}

VIREO2_API bool AbortCalibration(void)
{
    return guarded(false, [] { return device().AbortCalibration(); });
}

} // extern "C"
