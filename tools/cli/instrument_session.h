#pragma once

#include <QString>

namespace vireo2::cli {

// One connection to the instrument for the length of a subcommand: connect()
// opens it with a progress message, the destructor disconnects whatever was
// opened, on every path out of the command.
class InstrumentSession {
public:
    explicit InstrumentSession(bool quiet) : quiet_(quiet) {}
    ~InstrumentSession();

    InstrumentSession(const InstrumentSession&) = delete;
    InstrumentSession& operator=(const InstrumentSession&) = delete;

    // false: the library's error record tells why.
    bool connect();

    // Where the session connects, as the settings name it ("TCP 127.0.0.1:5000").
    QString target() const { return target_; }

private:
    bool quiet_;
    bool attempted_ = false;
    QString target_;
};

} // namespace vireo2::cli
