"""One reading of the instrument: a spectrum per measurement condition."""

import datetime

from .colour import Spectrum, WAVELENGTHS


class Reading:
    """The spectra of one measurement, by condition name ("M0".."M3").

    `reading["M1"]` is a `Spectrum`; `reading.lab()` gives L*a*b* of every
    condition; `reading.delta_e(reference)` the difference to another
    reading, per condition they share.
    """

    def __init__(self, spectra, taken=None, attributes=""):
        self._spectra = dict(spectra)
        self.taken = taken or datetime.datetime.now()
        self.attributes = attributes

    wavelengths = WAVELENGTHS

    @property
    def conditions(self):
        return list(self._spectra)

    def __getitem__(self, condition):
        return self._spectra[condition]

    def __contains__(self, condition):
        return condition in self._spectra

    def __iter__(self):
        return iter(self._spectra.items())

    def __len__(self):
        return len(self._spectra)

    def _per_condition(self, method, illuminant):
        return {name: getattr(spectrum, method)(illuminant) for name, spectrum in self._spectra.items()}

    def xyz(self, illuminant="D50/2"):
        return self._per_condition("xyz", illuminant)

    def lab(self, illuminant="D50/2"):
        return self._per_condition("lab", illuminant)

    def lch(self, illuminant="D50/2"):
        return self._per_condition("lch", illuminant)

    def delta_e(self, reference, formula="2000", illuminant="D50/2"):
        """Difference of this reading against `reference`, per shared condition."""
        return {name: spectrum.delta_e(reference[name], formula, illuminant)
                for name, spectrum in self._spectra.items() if name in reference}

    def to_dict(self):
        return {"taken": self.taken.isoformat(timespec="seconds"),
                "wavelengths_nm": list(WAVELENGTHS),
                "conditions": [{"name": name, "reflectance_percent": list(s.percent)}
                               for name, s in self._spectra.items()]}

    @classmethod
    def from_dict(cls, data):
        """A reading saved by `to_dict` or by `vireo2 measure --json`."""
        spectra = {}
        for condition in data["conditions"]:
            values = condition.get("reflectance_percent") or condition.get("percent")
            spectra[condition["name"]] = Spectrum.from_percent(values, condition["name"])
        return cls(spectra)

    def __repr__(self):
        return f"Reading({', '.join(self.conditions)}, {self.taken:%Y-%m-%d %H:%M:%S})"
