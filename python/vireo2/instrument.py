"""The instrument, driven through libVireo2's exports."""

import ctypes
import socket

from . import _checks, errors
from ._library import library
from .colour import Spectrum
from .reading import Reading

_NO_VALUE = "NO VALUE FOUND"


def _text(raw):
    return (raw or b"").decode("utf-8", "replace")


def _fresh_record():
    """Sets the library's error record to 0 and "<00>" (every Execute line
    starts so, and "IsLaserOn" is answered at once, without the instrument):
    a code read after the next call is then that call's own, and a text left
    from an earlier failure is not mistaken for this one's."""
    library().Execute(b"IsLaserOn")


def _fail(kind, operation):
    lib = library()
    code = lib.GetLastErrorCode()
    # With code 0 nothing was recorded for this call; the text still held is
    # an earlier call's.
    text = _text(lib.GetLastErrorString()) if code != 0 else "the library recorded no reason"
    raise kind(operation, code, text)


def _resolve(address):
    """HOST[:PORT] with the host name resolved to a numeric address, which is
    all the library takes."""
    host, port = _checks.address(address, "tcp")
    if not _checks.numeric_host(host):
        try:
            host = socket.getaddrinfo(host, None, socket.AF_INET)[0][4][0]
        except OSError as error:
            raise ValueError(f"tcp: the host {host!r} cannot be resolved ({error})") from None
    return f"{host}:{port}" if port else host


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
        self._lib = library()
        if settings is not None and not isinstance(settings, dict):
            raise TypeError(f"settings must be a dict, not {type(settings).__name__}")
        if tcp is not None and method is not None and _checks.text(method, "method").upper() != "TCP":
            raise ValueError(f"tcp= names a TCP address; it does not go with method={method!r}")
        self._settings = {}
        if tcp is not None:
            self._settings["connection_method"] = "TCP"
            self._settings["device_ip_address"] = _resolve(tcp)
        elif method is not None:
            self._settings["connection_method"] = _checks.method(method, self._configurations())
        for name, value in (settings or {}).items():
            self._settings[name] = self._checked_option(name, value)

    def _configurations(self):
        options = _text(self._lib.GetSettingOptions(b"connection_method")).split(";")
        return [name for name in options[1:] if name]

    def _checked_option(self, name, value):
        """The value a setting may take, checked as the library does not."""
        _checks.text(name, "the setting name")
        if isinstance(value, bool) or not isinstance(value, (str, int)):
            raise TypeError(f"the value of {name} must be a str or int, not {type(value).__name__}")
        key = name.lower()
        if key == "connection_method":
            return _checks.method(str(value), self._configurations())
        if key == "connection_attempts":
            try:
                count = int(value)
            except ValueError:
                raise ValueError(f"connection_attempts must be a number from 1 to 5, not {value!r}") from None
            return str(_checks.integer(count, "connection_attempts", 1, 5))
        if key == "device_ip_address":
            return _resolve(str(value))
        if key == "tr3_address":
            _checks.address(str(value), key)
        return str(value)

    # connection
    def connect(self):
        """Connects with the settings given to the constructor. A failed
        connection leaves the stored connection settings as they were."""
        stored = {name: self.get_option(name) for name in ("connection_method", "device_ip_address")}
        for name, value in self._settings.items():
            self.set_option(name, value)
        _fresh_record()
        if not self._lib.Connect():
            code = self._lib.GetLastErrorCode()
            text = _text(self._lib.GetLastErrorString()) if code != 0 else "the library recorded no reason"
            tried = self._settings.get("connection_method", stored["connection_method"])
            # The library falls back from USB to the USB network link and
            # stores what it tried last; a failure changes nothing stored.
            for name, value in stored.items():
                self._lib.SetOption(name.encode(), value.encode())
            if tried.upper() == "USB":
                text = f"USB Device not found ({text})"
            raise errors.ConnectionFailed("Connect", code, text)
        return self

    def disconnect(self):
        _fresh_record()
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
        _fresh_record()
        if not self._lib.Calibrate():
            _fail(errors.CalibrationFailed, "Calibrate")

    # measuring
    def measure(self):
        """Measures and returns the `Reading`."""
        _fresh_record()
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
        success without a value). An empty answer, and a command passed to
        the instrument that answered no value, raise CommandFailed; a line
        holding a word Execute answers by itself ("Abort", "GetProgress", ...)
        after another command raises ValueError."""
        _checks.command_line(command_line)
        operation = f"Execute {command_line.split(' ')[0].split(';')[0]}"
        answer = _text(self._lib.Execute(command_line.encode()))
        # Execute sets the error code to 0 when it starts: a code now is this
        # line's own.
        if not answer:
            _fail(errors.CommandFailed, operation)
        if answer == _NO_VALUE:
            raise errors.CommandFailed(operation, 0, "the instrument answered no value (it may not know the command)")
        return answer

    def send_command(self, command, timeout_ms=3000):
        _checks.text(command, "the command")
        _checks.integer(timeout_ms, "timeout_ms", 0, 24 * 3600 * 1000)
        _fresh_record()
        answer = self._lib.SendCommand(command.encode(), timeout_ms)
        if not answer:
            _fail(errors.CommandFailed, "SendCommand")
        return _text(answer)

    # settings
    def get_option(self, name):
        _checks.text(name, "the setting name")
        _fresh_record()
        value = _text(self._lib.GetOption(name.encode()))
        if not value and self._lib.GetLastErrorCode() != 0:
            _fail(errors.SettingsFailed, f"GetOption {name}")
        return value

    def set_option(self, name, value):
        value = self._checked_option(name, value)
        _fresh_record()
        if not self._lib.SetOption(name.encode(), value.encode()):
            _fail(errors.SettingsFailed, f"SetOption {name}")

    def available_settings(self):
        return [s for s in _text(self._lib.GetAvailableSettings()).split(";") if s]

    def setting_options(self, name):
        _checks.text(name, "the setting name")
        return _text(self._lib.GetSettingOptions(name.encode()))

    # strip scanning
    def scan_config(self, patch_count, patch_width_mm):
        _checks.integer(patch_count, "patch_count", 1, 1000)
        width = _checks.number(patch_width_mm, "patch_width_mm", 3.0, 20.0)
        _fresh_record()
        if self._lib.ScanConfig(patch_count, width) != 1:
            _fail(errors.ScanFailed, "ScanConfig")

    def scan_start(self):
        _fresh_record()
        if self._lib.ScanStart() != 1:
            _fail(errors.ScanFailed, "ScanStart")

    def scan_abort(self):
        _fresh_record()
        if self._lib.ScanAbort() != 1:
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
        _checks.integer(patch, "patch", 0, 1 << 30)
        _checks.integer(condition, "condition", 0, 3)
        _fresh_record()
        text = _text(self._lib.ScanGetData(patch, condition))
        if not text:
            if self._lib.GetLastErrorCode() == 0:
                raise errors.ScanFailed("ScanGetData", 0, f"there is no scanned patch {patch} with condition {condition}")
            _fail(errors.ScanFailed, "ScanGetData")
        return [float(v) for v in text.split()]

    def scan_patch_record(self, patch):
        """Track scans: a dict of the patch's header values (sync, delta,
        time_stamp, L, a, b, dE, position, ripple); None when there is none."""
        _checks.integer(patch, "patch", 0, 1 << 30)
        values = (ctypes.c_double * 9)()
        if self._lib.ScanGetPatchRecord(patch, values, 9) != 9:
            return None
        names = ("sync", "delta", "time_stamp", "L", "a", "b", "dE", "position", "ripple")
        return dict(zip(names, list(values)))

    # Quality flags of ScanGetQuality (VIREO2_SCAN_* in vireo2.h).
    SCAN_CORRECTED = 0x01
    SCAN_UNSTEADY = 0x02
    SCAN_UNCERTAIN = 0x04
    SCAN_LIKE_PAPER = 0x08
    SCAN_SHORT = 0x10
    SCAN_WIDTH_MISMATCH = 0x20
    SCAN_SUSPECT = 0x3E

    def scan_quality(self, patch=-1):
        """How far the last scan can be trusted: the flags (SCAN_*) of one
        patch, or of the whole strip when patch is -1; 0 when nothing is in
        doubt. Any of SCAN_SUSPECT means the patches must not be taken as
        they stand."""
        flags = self._lib.ScanGetQuality(int(patch))
        if flags < 0:
            _fail(errors.ScanFailed, "ScanGetQuality")
        return flags
