"""Exceptions carrying the library's error code and text."""


class Error(Exception):
    """A libVireo2 call failed. `code` and `text` are the library's error
    record (GetLastErrorCode / GetLastErrorString) at the time of failure:
    0x00-0xFF instrument statuses, -1 no usable reply, 20480 and up library
    codes, 21248 and up scanning codes."""

    def __init__(self, operation, code=0, text=""):
        self.operation = operation
        self.code = code
        self.text = text
        super().__init__(f"{operation} failed: {text} (code {code})" if text else f"{operation} failed")


class LibraryNotFound(Error):
    """libVireo2 could not be loaded."""

    def __init__(self, message):
        super().__init__("loading libVireo2")
        self.args = (message,)

    def __str__(self):
        return self.args[0]


class ConnectionFailed(Error):
    """Connect or Disconnect failed, or an operation needed a connection."""


class CalibrationFailed(Error):
    """A calibration step failed."""


class MeasurementFailed(Error):
    """Measure failed or the reading could not be read."""


class CommandFailed(Error):
    """Execute, ExecuteBinary or SendCommand failed."""


class SettingsFailed(Error):
    """An option or configuration could not be read or written."""


class ScanFailed(Error):
    """A strip-scanning call failed."""
