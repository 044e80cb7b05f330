#pragma once

#include <QString>

#include "library_error.h"

namespace vireo2::cli {

// One connection to the instrument for the length of a subcommand: connect()
// opens it with a progress message, the destructor disconnects whatever was
// opened, on every path out of the command. A connection that fails leaves
// the stored connection settings as they were before this program ran.
class InstrumentSession {
public:
    explicit InstrumentSession(bool quiet) : quiet_(quiet) {}
    ~InstrumentSession();

    InstrumentSession(const InstrumentSession&) = delete;
    InstrumentSession& operator=(const InstrumentSession&) = delete;

    // false: connectFailure() tells why.
    bool connect();

    // Prints why connect() failed, in plain words; returns ExitFailure.
    int connectFailure() const;

    // Where the session connects, as the settings name it ("TCP 127.0.0.1:5000").
    QString target() const { return target_; }

private:
    bool quiet_;
    bool attempted_ = false;
    QString target_;
    QString method_;
    bool usbMissing_ = false;
    LibraryError error_;
};

} // namespace vireo2::cli
