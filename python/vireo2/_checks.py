"""Argument checks shared by the Instrument: what the library would take
unchecked, and would then fail on later (or never report), is refused here
at once with ValueError or TypeError."""

import ipaddress

METHODS = ("USB", "TCP", "USB_TCPIP")

# Execute answers a line that holds any of these (case-sensitive, anywhere)
# by itself, so such a word inside another command's arguments would keep
# that command from ever reaching the instrument.
ANSWERED_BY_THE_LIBRARY = ("Abort", "GetProgress", "IsLaserOn", "IsScanRequested", "IsM0M1Compliant",
                           "Menu Go Home")

def text(value, what):
    if not isinstance(value, str):
        raise TypeError(f"{what} must be a str, not {type(value).__name__}")
    return value


def integer(value, what, low, high):
    if isinstance(value, bool) or not isinstance(value, int):
        raise TypeError(f"{what} must be an int, not {type(value).__name__}")
    if not low <= value <= high:
        raise ValueError(f"{what} must lie within {low} to {high}, not {value}")
    return value


def number(value, what, low, high):
    if isinstance(value, bool) or not isinstance(value, (int, float)):
        raise TypeError(f"{what} must be a number, not {type(value).__name__}")
    if not low <= value <= high:
        raise ValueError(f"{what} must lie within {low} to {high}, not {value}")
    return float(value)


def address(value, what="the address"):
    """HOST or HOST:PORT with a numeric port 1..65535; a host name is
    resolved by the caller (the library takes numeric addresses only)."""
    text(value, what)
    host, _, port = value.partition(":")
    if not host or any(c.isspace() for c in host) or ":" in port:
        raise ValueError(f"{what} must be HOST or HOST:PORT, not {value!r}")
    if port and (not port.isdigit() or not 1 <= int(port) <= 65535):
        raise ValueError(f"{what} has no port number (1 to 65535) after ':': {value!r}")
    return host, port


def numeric_host(host):
    try:
        ipaddress.ip_address(host)
        return True
    except ValueError:
        return False


def method(value, configurations):
    text(value, "method")
    if value.upper() in METHODS:
        return value.upper()
    if value in configurations:
        return value
    known = ", ".join(list(METHODS) + list(configurations))
    raise ValueError(f"method must be one of {known}, not {value!r}")


def command_line(line):
    """A command line whose arguments Execute would cut or answer itself is
    refused: it would not do what it says."""
    text(line, "the command line")
    for word in ANSWERED_BY_THE_LIBRARY:
        if word in line and not line.strip().startswith(word):
            raise ValueError(f"the command line holds {word!r}, which Execute answers by itself: the command "
                             "would never reach the instrument")
    return line
