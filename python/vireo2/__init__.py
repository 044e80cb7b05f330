"""Python host for libVireo2, the driver library of the Vireo2
spectrophotometer: connect, calibrate, measure, turn spectra into colour.

    import vireo2
    with vireo2.Instrument(tcp="127.0.0.1:60001") as inst:
        inst.calibrate()
        reading = inst.measure()
        print(reading["M2"].lab("D50/2"))
"""

from ._library import library, load
from .colour import (Spectrum, WAVELENGTHS, delta_e, illuminant_index, illuminant_names, lab_to_lch,
                     spectra_to_lab, spectrum_to_lab, spectrum_to_xyz, xyz_to_xyy)
from .errors import (CalibrationFailed, CommandFailed, ConnectionFailed, Error, LibraryNotFound,
                     MeasurementFailed, ScanFailed, SettingsFailed)
from .instrument import Instrument
from .reading import Reading

__version__ = "1.2.0"


def interface_version():
    """The library's interface version text ("1.2")."""
    return library().GetInterfaceVersion().decode()


__all__ = [
    "Instrument", "Reading", "Spectrum", "WAVELENGTHS",
    "Error", "LibraryNotFound", "ConnectionFailed", "CalibrationFailed", "MeasurementFailed",
    "CommandFailed", "SettingsFailed", "ScanFailed",
    "delta_e", "illuminant_index", "illuminant_names", "lab_to_lch", "spectra_to_lab", "spectrum_to_lab", "spectrum_to_xyz",
    "xyz_to_xyy", "interface_version", "library", "load",
]
