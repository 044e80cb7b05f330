"""Colour values of reflectance spectra, computed by libVireo2.

The library's colour functions work on spectra in percent (a white near 90).
The instrument hands out reflectance factors (a white near 0.9). To keep the
two from being mixed up, every spectrum here carries its scale: build one
with `Spectrum.from_percent` or `Spectrum.from_fractions`, and the plain
functions below take `scale=` as a required keyword.
"""

import ctypes
import math

from ._library import library

WAVELENGTHS = tuple(range(400, 701, 10))
FORMULAS = ("76", "94", "2000", "cmc")


def _doubles(values):
    values = list(values)
    return (ctypes.c_double * len(values))(*values)


def _out(count):
    return (ctypes.c_double * count)()


def illuminant_names():
    """The 18 illuminant/observer names, by index: "A/2", "A/10", ... "D75/10"."""
    names = []
    for index in range(18):
        buffer = ctypes.create_string_buffer(16)
        library().Vireo2_IlluminantName(index, buffer, len(buffer))
        names.append(buffer.value.decode())
    return names


def illuminant_index(illuminant):
    """Index of an illuminant given as "D50/2", "D65/10", "D50" (2 degree) or
    an index 0..17."""
    if isinstance(illuminant, int):
        if 0 <= illuminant < 18:
            return illuminant
        raise ValueError(f"illuminant index {illuminant} is outside 0..17")
    name = str(illuminant).strip().upper()
    if "/" not in name:
        name += "/2"
    for index, known in enumerate(illuminant_names()):
        if known.upper() == name:
            return index
    raise ValueError(f"unknown illuminant {illuminant!r}; known: {', '.join(illuminant_names())}")


def _as_percent(values, scale):
    values = [float(v) for v in values]
    if len(values) != 31:
        raise ValueError(f"a spectrum has 31 values (400..700 nm), not {len(values)}")
    if scale == "percent":
        return values
    if scale == "fraction":
        return [v * 100.0 for v in values]
    raise ValueError(f"scale must be 'percent' or 'fraction', not {scale!r}")


def spectrum_to_xyz(values, *, scale, illuminant="D50/2"):
    """X, Y, Z (Y = 100 for white) of 31 reflectances given in `scale`."""
    out = _out(3)
    library().Vireo2_SpectrumToXYZ(_doubles(_as_percent(values, scale)), illuminant_index(illuminant), out)
    return tuple(out)


def spectrum_to_lab(values, *, scale, illuminant="D50/2"):
    """CIE L*, a*, b* of 31 reflectances given in `scale`."""
    out = _out(3)
    library().Vireo2_SpectrumToLab(_doubles(_as_percent(values, scale)), illuminant_index(illuminant), 0, out)
    return tuple(out)


def spectra_to_lab(spectra, *, scale, illuminant="D50/2"):
    """CIE L*a*b* of many spectra in one library call (Vireo2_SpectraToLab):
    `spectra` is a sequence of 31-value spectra in `scale`. Returns a list of
    (L*, a*, b*) tuples, or an (n, 3) numpy array when given a numpy array."""
    try:
        import numpy
    except ImportError:
        numpy = None
    if numpy is not None and isinstance(spectra, numpy.ndarray):
        data = numpy.ascontiguousarray(spectra, dtype=numpy.float64).reshape(-1, 31)
        if scale == "fraction":
            data = data * 100.0
        elif scale != "percent":
            raise ValueError(f"scale must be 'percent' or 'fraction', not {scale!r}")
        lab = numpy.empty((data.shape[0], 3))
        library().Vireo2_SpectraToLab(data.ctypes.data_as(ctypes.POINTER(ctypes.c_double)), data.shape[0],
                                      illuminant_index(illuminant),
                                      lab.ctypes.data_as(ctypes.POINTER(ctypes.c_double)))
        return lab
    flat = [v for spectrum in spectra for v in _as_percent(spectrum, scale)]
    count = len(flat) // 31
    out = _out(3 * count)
    library().Vireo2_SpectraToLab(_doubles(flat), count, illuminant_index(illuminant), out)
    return [tuple(out[3 * k:3 * k + 3]) for k in range(count)]


def lab_to_lch(lab):
    """L*, C*ab, hab (degrees, 0..360) of an L*a*b* triple."""
    L, a, b = lab
    return (L, math.hypot(a, b), math.degrees(math.atan2(b, a)) % 360.0)


def xyz_to_xyy(xyz):
    """Chromaticity x, y and luminance Y of an XYZ triple."""
    total = sum(xyz)
    if total <= 0.0:
        return (0.0, 0.0, 0.0)
    return (xyz[0] / total, xyz[1] / total, xyz[1])


def delta_e(reference, sample, formula="2000"):
    """Colour difference of two L*a*b* triples: "76", "94" (graphic arts),
    "2000" or "cmc" (2:1). CIE94 and CMC weigh by the reference."""
    formula = str(formula).lower().replace("de", "").replace("cie", "")
    value = ctypes.c_double()
    ref, smp = _doubles(reference), _doubles(sample)
    lib = library()
    if formula == "76":
        ok = lib.Vireo2_DeltaE76(ref, smp, ctypes.byref(value))
    elif formula == "94":
        ok = lib.Vireo2_DeltaE94(ref, smp, 0, ctypes.byref(value))
    elif formula == "2000":
        ok = lib.Vireo2_DeltaE2000(ref, smp, ctypes.byref(value))
    elif formula in ("cmc", "cmc2:1"):
        ok = lib.Vireo2_DeltaECMC(ref, smp, 2.0, 1.0, ctypes.byref(value))
    else:
        raise ValueError(f"formula must be one of {', '.join(FORMULAS)}, not {formula!r}")
    if not ok:
        raise ValueError("colour difference failed")
    return value.value


class Spectrum:
    """31 reflectances from 400 to 700 nm that know their scale."""

    def __init__(self, fractions, name=""):
        fractions = [float(v) for v in fractions]
        if len(fractions) != 31:
            raise ValueError(f"a spectrum has 31 values (400..700 nm), not {len(fractions)}")
        self._fractions = tuple(fractions)
        self.name = name

    @classmethod
    def from_fractions(cls, values, name=""):
        return cls(values, name)

    @classmethod
    def from_percent(cls, values, name=""):
        return cls([float(v) / 100.0 for v in values], name)

    wavelengths = WAVELENGTHS

    @property
    def fractions(self):
        """Reflectance factors, 1.0 = the white standard."""
        return self._fractions

    @property
    def percent(self):
        return tuple(v * 100.0 for v in self._fractions)

    def as_array(self, scale="fraction"):
        """The values as a numpy array (needs numpy)."""
        import numpy
        return numpy.array(self._fractions if scale == "fraction" else self.percent)

    def xyz(self, illuminant="D50/2"):
        return spectrum_to_xyz(self._fractions, scale="fraction", illuminant=illuminant)

    def lab(self, illuminant="D50/2"):
        return spectrum_to_lab(self._fractions, scale="fraction", illuminant=illuminant)

    def lch(self, illuminant="D50/2"):
        return lab_to_lch(self.lab(illuminant))

    def delta_e(self, other, formula="2000", illuminant="D50/2"):
        """Difference of this sample against `other` as the reference."""
        return delta_e(other.lab(illuminant), self.lab(illuminant), formula)

    def __len__(self):
        return 31

    def __iter__(self):
        return iter(self._fractions)

    def __repr__(self):
        return f"Spectrum({self.name or 'unnamed'}, {self._fractions[0]:.4f} .. {self._fractions[-1]:.4f})"
