#pragma once

#include <QString>

namespace vireo2::cli {

// Where the command line asks the library to connect. The choice is stored in
// the library's settings, exactly as a host application would store it, so
// later commands given no option reuse it.
struct ConnectionChoice {
    enum class Kind { Stored, Tcp, Usb };
    Kind kind = Kind::Stored;
    QString address; // "HOST:PORT" or "HOST" for Tcp

    // Parses the value of --tcp. HOST alone means the instrument's own port.
    // Returns an empty text when valid, else what is wrong with it.
    static QString validateTcpAddress(const QString& address);
};

// Writes the choice into the library's settings ("connection_method" and
// "device_ip_address"). A Stored choice writes nothing. false: the library
// refused a setting (its error record tells why).
bool applyConnectionChoice(const ConnectionChoice& choice);

// "TCP 127.0.0.1:60001", "USB", ... from the library's current settings. The
// library adds the instrument's port 60001 after the address, and the second
// field of the result is the port it connects to; that field is shown.
QString describeStoredConnection();

} // namespace vireo2::cli
