#pragma once

#include <QString>

namespace vireo2::cli {

// Where the command line asks the library to connect. The choice is stored in
// the library's settings, exactly as a host application would store it, so
// later commands given no option reuse it.
struct ConnectionChoice {
    enum class Kind { Stored, Tcp, Usb };
    Kind kind = Kind::Stored;
    QString address; // "HOST:PORT" or "HOST" for Tcp, the host numeric

    // Checks the form of --tcp's value (HOST alone means the instrument's own
    // port). Returns an empty text when valid, else what is wrong with it.
    static QString validateTcpAddress(const QString& address);

    // The address with its host name resolved to a numeric address, which is
    // all the library takes; an empty text with the reason in `problem`
    // when the name does not resolve.
    static QString resolveTcpAddress(const QString& address, QString* problem);
};

// Checks a value for one of the connection settings before it is stored:
// the method (USB, TCP, USB_TCPIP or a stored wireless configuration),
// the attempts (1 to 5) and the addresses (HOST[:PORT], a host name
// resolved). Sets `value` to what should be stored; returns an empty text
// when it may be stored, else why not. Other settings pass unchanged.
QString checkSettingValue(const QString& name, QString* value);

// Writes the choice into the library's settings ("connection_method" and
// "device_ip_address"). A Stored choice writes nothing. The connection
// stored before is remembered, so that a connection that fails can put it
// back. false: the library refused a setting (its error record tells why).
bool applyConnectionChoice(const ConnectionChoice& choice);

// Remembers the stored connection, once per program run (before the first
// change, or before connecting).
void rememberStoredConnection();

// Puts back the connection that was stored before this program changed it
// (by --tcp/--usb, or the library by its fallback from USB to the USB
// network link): a failed connection does not replace a working one.
void restoreStoredConnection();

// The stored connection method, upper-cased ("USB", "TCP", ...).
QString storedMethod();

// "TCP 127.0.0.1:60001", "USB", ... from the library's current settings. The
// library adds the instrument's port 60001 after the address, and the second
// field of the result is the port it connects to; that field is shown.
QString describeStoredConnection();

} // namespace vireo2::cli
