"""Finding libVireo2 and declaring every export it has, in one place.

Each export gets its exact argument and result types here, so a call with a
wrong argument fails in Python (ctypes.ArgumentError) instead of passing
garbage to the library.
"""

import ctypes
import ctypes.util
import os
import sys
from pathlib import Path

from .errors import LibraryNotFound

_c_bool = ctypes.c_bool
_c_int = ctypes.c_int
_c_float = ctypes.c_float
_c_double = ctypes.c_double
_c_text = ctypes.c_char_p
_double_p = ctypes.POINTER(ctypes.c_double)
_float_p = ctypes.POINTER(ctypes.c_float)
_byte_p = ctypes.POINTER(ctypes.c_ubyte)


class SampleDateTime(ctypes.Structure):
    _fields_ = [(name, ctypes.c_int) for name in ("year", "month", "day", "hour", "minute", "second")]


# name: (result type, [argument types])
PROTOTYPES = {
    # library and errors
    "GetInterfaceVersion": (_c_text, []),
    "GetLastErrorCode": (_c_int, []),
    "GetLastErrorString": (_c_text, []),
    # connection
    "Connect": (_c_bool, []),
    "Disconnect": (_c_bool, []),
    "IsConnected": (_c_bool, []),
    "GetSerialNum": (_c_text, []),
    # spectral geometry and data
    "GetAngles": (_c_int, []),
    "GetSpectralSetCount": (_c_int, []),
    "GetWavelengths": (_c_int, []),
    "GetWavelengthCount": (_c_int, []),
    "GetAngleValue": (_c_text, [_c_int]),
    "GetSpectralSetName": (_c_text, [_c_int]),
    "GetWavelengthValue": (_c_int, [_c_int]),
    "IsDataReady": (_c_bool, []),
    "GetSpectralData": (_c_float, [_c_int, _c_int]),
    "GetSpectralSetData": (_c_int, [_c_int, _float_p, _c_int]),
    "GetMeasAttributes": (_c_text, []),
    "Measure": (_c_bool, []),
    # calibration
    "GetCalStatus": (_c_int, []),
    "WhiteCal": (_c_bool, []),
    "BlackCal": (_c_bool, []),
    "Calibrate": (_c_bool, []),
    "CalibrateStep": (_c_bool, [_c_text]),
    "SetCalMode": (_c_bool, []),
    "GetCalSteps": (_c_text, []),
    "GetCalMode": (_c_text, []),
    "GetCalibrationStandard": (_c_text, []),
    "GetCalProgress": (_c_int, []),
    "GetCalValues": (_c_float, [_c_int]),
    "AbortCalibration": (_c_bool, []),
    "GetCalPlaqSN": (_c_text, []),
    # settings and options
    "GetAvailableSettings": (_c_text, []),
    "GetSettingOptions": (_c_text, [_c_text]),
    "GetOption": (_c_text, [_c_text]),
    "SetOption": (_c_bool, [_c_text, _c_text]),
    "GetConfiguration": (_c_text, []),
    "SetConfiguration": (_c_bool, [_c_text]),
    "Configure": (_c_bool, []),
    "SetNormalMode": (_c_bool, []),
    "SetOfflineMode": (_c_bool, []),
    "SetLanguage": (_c_bool, [_c_int]),
    # commands
    "Execute": (_c_text, [_c_text]),
    "ExecuteBinary": (_c_int, [_byte_p, _c_int, _c_int, _byte_p, _c_int]),
    "SendCommand": (_c_text, [_c_text, _c_int]),
    # samples, references, tolerances and jobs (the instrument keeps none)
    "ClearSamples": (_c_bool, []),
    "GetSampleCount": (_c_int, []),
    "SetCurrentSample": (_c_bool, [_c_int]),
    "GetSampleTagCount": (_c_int, []),
    "GetSampleTag": (_c_text, [_c_int]),
    "GetSampleData": (_c_float, [_c_int, _c_int]),
    "GetSampleReference": (_c_text, []),
    "GetSampleDateTime": (ctypes.POINTER(SampleDateTime), []),
    "GetSampleGroup": (_c_text, []),
    "GetSampleAttributes": (_c_text, []),
    "GetMaxReferences": (_c_int, []),
    "ClearReferences": (_c_bool, []),
    "GetStoredReferences": (_c_int, []),
    "SetCurrentReference": (_c_bool, [_c_int]),
    "GetRefName": (_c_text, []),
    "GetRefID": (_c_int, []),
    "GetRefValue": (_c_float, [_c_int, _c_int]),
    "GetRefToleranceCount": (_c_int, []),
    "SetCurrentTolerance": (_c_bool, [_c_int]),
    "GetTolType": (_c_text, []),
    "GetTolAngle": (_c_text, []),
    "GetTolPrimaryIllumObs": (_c_text, []),
    "GetTolSecondaryIllumObs": (_c_text, []),
    "GetTolValue": (_c_float, [_c_int]),
    "GetMaxJobs": (_c_int, []),
    "ClearJobs": (_c_bool, []),
    "AddJob": (_c_bool, [_c_text]),
    "TransmitJobs": (_c_bool, []),
    # strip scanning
    "ScanIsSupported": (_c_int, []),
    "ScanConfig": (_c_int, [_c_int, _c_float]),
    "ScanStart": (_c_int, []),
    "ScanAbort": (_c_int, []),
    "ScanGetStatus": (_c_int, []),
    "ScanGetCount": (_c_int, []),
    "ScanGetData": (_c_text, [_c_int, _c_int]),
    "ScanGetPatchRecord": (_c_int, [_c_int, _double_p, _c_int]),
    "ScanGetQuality": (_c_int, [_c_int]),
    # colorimetry (spectra in percent)
    "Vireo2_SpectrumToXYZ": (_c_int, [_double_p, _c_int, _double_p]),
    "Vireo2_SpectrumToLab": (_c_int, [_double_p, _c_int, _c_int, _double_p]),
    "Vireo2_SpectrumToLabCh": (_c_int, [_double_p, _c_int, _c_int, _double_p]),
    "Vireo2_SpectraToLab": (_c_int, [_double_p, _c_int, _c_int, _double_p]),
    "Vireo2_XYZToLab": (_c_int, [_double_p, _c_int, _double_p]),
    "Vireo2_DeltaE76": (_c_int, [_double_p, _double_p, _double_p]),
    "Vireo2_DeltaE2000": (_c_int, [_double_p, _double_p, _double_p]),
    "Vireo2_DeltaE94": (_c_int, [_double_p, _double_p, _c_int, _double_p]),
    "Vireo2_DeltaECMC": (_c_int, [_double_p, _double_p, _c_double, _c_double, _double_p]),
    "Vireo2_MetamerismIndex": (_c_int, [_double_p, _double_p, _c_int, _c_int, _double_p]),
    "Vireo2_StrengthSum": (_c_int, [_double_p, _double_p, _double_p]),
    "Vireo2_IlluminantName": (_c_int, [_c_int, ctypes.c_char_p, _c_int]),
}

_LIBRARY_NAMES = {"win32": ["Vireo2.dll"], "darwin": ["libVireo2.dylib"]}.get(
    sys.platform, ["libVireo2.so.1", "libVireo2.so"])


def _candidates():
    """Where the library is looked for, in order."""
    explicit = os.environ.get("VIREO2_LIBRARY")
    if explicit:
        yield Path(explicit)
        return
    package = Path(__file__).resolve().parent
    for name in _LIBRARY_NAMES:
        yield package / name
    # Imported from the source tree: python/vireo2 -> build/lib
    for build in ("build", "build-sanitize"):
        for name in _LIBRARY_NAMES:
            yield package.parent.parent / build / "lib" / name
    found = ctypes.util.find_library("Vireo2")
    if found:
        yield Path(found)
    for name in _LIBRARY_NAMES:
        yield Path(name)  # the system loader's own search (LD_LIBRARY_PATH, ld.so.cache)


def _declare(library):
    missing = []
    for name, (result, arguments) in PROTOTYPES.items():
        try:
            function = getattr(library, name)
        except AttributeError:
            missing.append(name)
            continue
        function.restype = result
        function.argtypes = arguments
    return missing


def load(path=None):
    """Loads libVireo2 from `path`, or from the first place it is found."""
    tried = []
    for candidate in ([Path(path)] if path else _candidates()):
        if candidate.is_absolute() and not candidate.exists():
            tried.append(f"{candidate} (not there)")
            continue
        try:
            library = ctypes.CDLL(str(candidate))
        except OSError as error:
            tried.append(f"{candidate} ({error})")
            continue
        missing = _declare(library)
        if missing:
            raise LibraryNotFound(
                f"{candidate} is a libVireo2 without {', '.join(missing)}: it is older than this package")
        return library
    raise LibraryNotFound(
        "libVireo2 was not found. Set VIREO2_LIBRARY to the library file, install the library where the "
        "system loader finds it, or build it (build/lib/) next to this package. Tried:\n  "
        + "\n  ".join(tried))


_library = None


def library():
    """The process's one libVireo2, loaded on first use."""
    global _library
    if _library is None:
        _library = load()
    return _library
