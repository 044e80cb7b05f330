"""The instrument, driven through libVireo2's exports."""

import ctypes

from . import errors
from ._library import library
from .colour import Spectrum
from .reading import Reading


def _record():
    lib = library()
    return lib.GetLastErrorCode(), (lib.GetLastErrorString() or b"").decode("utf-8", "replace")


def _fail(kind, operation):
    code, text = _record()
    raise kind(operation, code, text)


def _text(raw):
    return (raw or b"").decode("utf-8", "replace")


class Instrument:
    """A Vireo2 reached over TCP (`tcp="HOST:PORT"`), the USB network link
    (`method="USB_TCPIP"`) or USB (`method="USB"`).

    The library holds one device per process: two Instrument objects drive
    the same instrument. Use it as a context manager, so the connection is
    closed even when the block raises::

        with vireo2.Instrument(tcp="127.0.0.1:60001") as inst:
            inst.calibrate()
            reading = inst.measure()
    """

    def __init__(self, tcp=None, method=None, settings=None):
        self._settings = dict(settings or {})
        if tcp is not None:
            self._settings.setdefault("connection_method", "TCP")
            self._settings["device_ip_address"] = tcp
        elif method is not None:
            self._settings["connection_method"] = method
        self._lib = library()

    # connection
    def connect(self):
        for name, value in self._settings.items():
            self.set_option(name, value)
        if not self._lib.Connect():
            _fail(errors.ConnectionFailed, "Connect")
        return self

    def disconnect(self):
        if self._lib.IsConnected() and not self._lib.Disconnect():
            _fail(errors.ConnectionFailed, "Disconnect")

    def __enter__(self):
        return self.connect()

    def __exit__(self, *exc):
        try:
            self.disconnect()
        except errors.Error:
            if exc[0] is None:
                raise
        return False

    @property
    def connected(self):
        return bool(self._lib.IsConnected())

    @property
    def serial_number(self):
        return _text(self._lib.GetSerialNum())

    @property
    def attributes(self):
        return _text(self._lib.GetMeasAttributes())

    # calibration
    @property
    def calibration_status(self):
        """0 calibrated, otherwise the instrument's status (see the C header)."""
        return self._lib.GetCalStatus()

    def calibrate(self):
        if not self._lib.Calibrate():
            _fail(errors.CalibrationFailed, "Calibrate")

    # measuring
    def measure(self):
        """Measures and returns the `Reading`."""
        if not self._lib.Measure():
            _fail(errors.MeasurementFailed, "Measure")
        return self.last_reading()

    def last_reading(self):
        """The instrument's last reading, as the library stores it."""
        spectra = {}
        for index in range(max(self._lib.GetSpectralSetCount(), 0)):
            name = _text(self._lib.GetSpectralSetName(index))
            values = (ctypes.c_float * 31)()
            if self._lib.GetSpectralSetData(index, values, 31) != 31:
                raise errors.MeasurementFailed("GetSpectralSetData", -1, f"no data for condition {name}")
            spectra[name] = Spectrum.from_fractions(values, name)
        if not spectra:
            raise errors.MeasurementFailed("reading", -1, "there is no reading")
        return Reading(spectra, attributes=self.attributes)

    @property
    def data_ready(self):
        """True once after a new reading arrived (also one taken at the instrument)."""
        return bool(self._lib.IsDataReady())

    # commands
    def execute(self, command_line):
        """Runs an `Execute` command line; returns its answer ("<00>" for
        success without a value)."""
        answer = self._lib.Execute(command_line.encode())
        # Execute clears the error record when it starts, so an empty answer
        # with a code is a failure; an empty answer without one is the
        # command's own (empty) result.
        if not answer and self._lib.GetLastErrorCode() != 0:
            _fail(errors.CommandFailed, f"Execute {command_line.split(' ')[0]}")
        return _text(answer)

    def send_command(self, command, timeout_ms=3000):
        answer = self._lib.SendCommand(command.encode(), int(timeout_ms))
        if not answer:
            _fail(errors.CommandFailed, "SendCommand")
        return _text(answer)

    # settings
    def get_option(self, name):
        return _text(self._lib.GetOption(name.encode()))

    def set_option(self, name, value):
        if not self._lib.SetOption(name.encode(), str(value).encode()):
            _fail(errors.SettingsFailed, f"SetOption {name}")

    def available_settings(self):
        return [s for s in _text(self._lib.GetAvailableSettings()).split(";") if s]

    def setting_options(self, name):
        return _text(self._lib.GetSettingOptions(name.encode()))

    # strip scanning
    def scan_config(self, patch_count, patch_width_mm):
        if not self._lib.ScanConfig(int(patch_count), float(patch_width_mm)):
            _fail(errors.ScanFailed, "ScanConfig")

    def scan_start(self):
        if not self._lib.ScanStart():
            _fail(errors.ScanFailed, "ScanStart")

    def scan_abort(self):
        if not self._lib.ScanAbort():
            _fail(errors.ScanFailed, "ScanAbort")

    def scan_status(self):
        """0 idle, 2 scanning, 3 data ready, 5 aborted, 6 stopped, 7 head not
        home, -1 failed; terminal values are reported once."""
        return self._lib.ScanGetStatus()

    def scan_count(self):
        return self._lib.ScanGetCount()

    def scan_data(self, patch, condition=0):
        """The reflectance values of one scanned patch and condition: percent
        on the track, factors from a hand scan."""
        text = _text(self._lib.ScanGetData(int(patch), int(condition)))
        if not text:
            _fail(errors.ScanFailed, "ScanGetData")
        return [float(v) for v in text.split()]

    def scan_patch_record(self, patch):
        """Track scans: a dict of the patch's header values (sync, delta,
        time_stamp, L, a, b, dE, position, ripple); None when there is none."""
        values = (ctypes.c_double * 9)()
        if self._lib.ScanGetPatchRecord(int(patch), values, 9) != 9:
            return None
        names = ("sync", "delta", "time_stamp", "L", "a", "b", "dE", "position", "ripple")
        return dict(zip(names, list(values)))
