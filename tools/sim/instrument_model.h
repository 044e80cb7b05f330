#pragma once

#include <QByteArray>
#include <QString>

namespace vireo2::sim {

// What the simulated instrument answers. The simulator server frames and
// unframes BCP packets, applies scripted faults, and asks the model for the
// reply payload of every command it receives. Implementations must be
// thread-safe: the server calls reply() from its own thread while tests and
// the control interface change the model's state from others.
class InstrumentModel {
public:
    virtual ~InstrumentModel() = default;

    // Reply payload (no framing) to one command payload.
    virtual QByteArray reply(const QByteArray& command) = 0;

    // A line of the simulator's control interface addressed to the model
    // ("press button", "set calibration expired", ...). Returns the answer
    // text, or an empty text for an unknown control command.
    virtual QString control(const QString& line) { Q_UNUSED(line); return QString(); }
};

} // namespace vireo2::sim
